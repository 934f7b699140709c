#include "core/log/oxdebug.h"
#include "core/log/oxlogsink.h"

#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct ThresholdGuard {
    uint32_t saved = OxLogThreshold();
    ~ThresholdGuard() { OxLogSetThreshold(saved); }
};

TEST(OxDebug, ThresholdTablePerLevel)
{
    ThresholdGuard guard;
    // threshold -> which of debug, info, warning, error pass
    const bool expected[6][4] = {
        {false, false, false, false}, // 0
        {false, false, false, true},  // 1
        {false, false, true, true},   // 2
        {false, true, true, true},    // 3 (default)
        {true, true, true, true},     // 4
        {true, true, true, true},     // 5
    };
    for (uint32_t t = 0; t < 6; ++t) {
        OxLogSetThreshold(t);
        for (uint32_t level = 0; level < 4; ++level)
            EXPECT_EQ(OxLogLevelPasses(level), expected[t][level]) << "threshold " << t << " level " << level;
        // Levels outside 0..3 pass only from threshold 4 on.
        EXPECT_EQ(OxLogLevelPasses(7), t >= 4);
    }
}

TEST(OxDebug, PrintfFunctionsFormatPrefixAndCut)
{
    ThresholdGuard guard;
    OxLogCapture capture;
    OxLogSetThreshold(3);

    oxDebug("hidden %d", 1); // below the default threshold
    oxWarning("value %d of %s", 42, "x");
    SOxLogContext noFile{false, 7, nullptr, "fn"};
    OxLogError(noFile, "plain");
    SOxLogContext withFile{false, 12, "a.cpp", "run"};
    OxLogInfo(withFile, "text");

    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].level, uint32_t(OxMsgWarning));
    EXPECT_NE(lines[0].text.find("tst_oxdebug.cpp("), std::string::npos);
    EXPECT_NE(lines[0].text.find("), TestBody: value 42 of x"), std::string::npos);
    EXPECT_EQ(lines[1].text, "plain");
    EXPECT_EQ(lines[2].text, "a.cpp(12), run: text");

    // A formatted message longer than 1023 bytes is cut to 1023 bytes.
    capture.clear();
    std::string big(3000, 'y');
    OxLogError(noFile, "%s", big.c_str());
    lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, std::string(1023, 'y'));

    // A prefix longer than 1023 bytes is cut too, then the text follows.
    capture.clear();
    std::string longName(2000, 'f');
    SOxLogContext longFile{false, 1, longName.c_str(), "g"};
    OxLogEmit(OxMsgError, longFile, "tail");
    lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, std::string(1023, 'f') + "tail");

    // Debug messages pass from threshold 4 on.
    capture.clear();
    OxLogSetThreshold(4);
    oxDebug("shown");
    EXPECT_EQ(capture.count("shown"), 1u);
    OxLogSetThreshold(0);
    oxError("never");
    EXPECT_EQ(capture.count("never"), 0u);
}

} // namespace
