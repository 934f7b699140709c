#include "core/log/oxdebug.h"
#include "core/log/oxlogfile.h"
#include "core/log/oxlogsink.h"

#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <unistd.h>

namespace {

struct ThresholdGuard {
    uint32_t saved = OxLogThreshold();
    ~ThresholdGuard() { OxLogSetThreshold(saved); }
};

// Debug (0) to error (3) pass from threshold 4 - level on, other levels from
// threshold 4 on; a stream holds a record exactly when its level passes.
TEST(OxDebug, ThresholdPerLevel)
{
    ThresholdGuard guard;
    OxLogCapture capture;
    const SOxLogContext noFile{false, 0, nullptr, nullptr};
    for (uint32_t t = 0; t < 6; ++t) {
        OxLogSetThreshold(t);
        for (uint32_t level : {0u, 1u, 2u, 3u, 4u, 7u}) {
            const bool passes = t >= (level <= 3 ? 4 - level : 4);
            EXPECT_EQ(OxLogLevelPasses(level), passes) << "threshold " << t << " level " << level;
            EXPECT_EQ(COxDebug(level, noFile).hasRecord(), passes) << "threshold " << t << " level " << level;
        }
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

    // A formatted message longer than 1023 bytes is cut to 1023 bytes; so is
    // a prefix, and then the text follows it.
    capture.clear();
    std::string big(3000, 'y');
    OxLogError(noFile, "%s", big.c_str());
    std::string longName(2000, 'f');
    SOxLogContext longFile{false, 1, longName.c_str(), "g"};
    OxLogEmit(OxMsgError, longFile, "tail");
    lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, std::string(1023, 'y'));
    EXPECT_EQ(lines[1].text, std::string(1023, 'f') + "tail");
}

} // namespace

namespace {

const SOxLogContext kNoFile{false, 0, nullptr, nullptr};

TEST(OxDebugStream, QuietStreamsTakeNothing)
{
    ThresholdGuard guard;
    OxLogCapture capture;
    // The default threshold: a debug stream allocates nothing and takes no
    // item; a warning stream does.
    OxLogSetThreshold(3);
    COxDebug quiet = oxDebug();
    quiet << "ignored" << COxString("too") << nullptr;
    COxDebug copy(quiet);
    EXPECT_FALSE(copy.hasRecord());
    EXPECT_TRUE(oxWarning().hasRecord());
    EXPECT_EQ(capture.size(), 1u); // only the warning, with its prefix
    EXPECT_NE(capture.lines()[0].text.find("tst_oxdebug.cpp("), std::string::npos);
}

TEST(OxDebugStream, ItemsAreAppendedWithoutSeparators)
{
    OxLogCapture capture;
    COxString name = COxString::fromUtf8("n\xc3\xa4me");
    const COxString sentence("one two three");
    COxDebug(OxMsgError, kNoFile)
        << COxChar(0x263a) << u'\x00e9' << 'c' << false << nullptr << "|"
        << short(-3) << ushort(65535) << -7 << 4000000000u << -9000000000L << 18446744073709551615UL << "|"
        << 1.5f << 0.1 + 0.2 << 1e20 << 1.0 / 3.0 << "|"
        << "\xc3\xbc" << name << COxByteArray("b\xc3\xbf") << sentence.midRef(4, 3);

    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "\xe2\x98\xba\xc3\xa9" "cfalse(nullptr)|-365535-74000000000-900000000018446744073709551615|"
                             "1.50.31e+200.333333|\xc3\xbcn\xc3\xa4meb\xc3\xbftwo");
    EXPECT_EQ(lines[0].level, uint32_t(OxMsgError));
}

TEST(OxDebugStream, CopiesShareOneMessageEmittedByTheLastOwner)
{
    ThresholdGuard guard;
    OxLogCapture capture;
    const SOxLogContext where{false, 12, "a.cpp", "run"};
    {
        COxDebug first(OxMsgWarning, where);
        first << "x";
        {
            COxDebug second = first;
            second << "y";
        }
        EXPECT_EQ(capture.size(), 0u);
        first << "z";
    }
    ASSERT_EQ(capture.size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "a.cpp(12), run: xyz");

    // Assignment lets go of the old message first: as its last owner, the
    // holder emits it right there.
    capture.clear();
    {
        COxDebug target(OxMsgError, kNoFile);
        target << "old";
        COxDebug source(OxMsgError, kNoFile);
        source << "new";
        target = source;
        ASSERT_EQ(capture.size(), 1u);
        EXPECT_EQ(capture.lines()[0].text, "old");
        target << "+";
    }
    ASSERT_EQ(capture.size(), 2u);
    EXPECT_EQ(capture.lines()[1].text, "new+");

    // A disabled holder ignores items, a discarded message never comes out,
    // and the threshold is applied again at emission.
    capture.clear();
    {
        COxDebug a(OxMsgError, kNoFile);
        COxDebug b(a);
        b.setEnabled(false);
        a << "kept";
        b << "ignored";
        COxDebug dropped(OxMsgError, kNoFile);
        dropped << "dropped";
        dropped.discard();
        COxDebug late(OxMsgWarning, kNoFile);
        late << "late";
        OxLogSetThreshold(1);
    }
    ASSERT_EQ(capture.size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "kept");
}

TEST(OxDebugStream, ConsoleSinkByLevelAndSwitch)
{
    ThresholdGuard guard;
    OxLogSetThreshold(4);
    testing::internal::CaptureStderr();
    COxDebug(OxMsgDebug, kNoFile) << "verbose";
    COxDebug(OxMsgInfo, kNoFile) << "info";
    COxDebug(OxMsgWarning, kNoFile) << "warn";
    OxLogError(kNoFile, "err");
    OxLogSetStderrOutputEnabled(true);
    COxDebug(OxMsgWarning, kNoFile) << "plain";
    OxLogSetStderrOutputEnabled(false);
    const std::string out = testing::internal::GetCapturedStderr();
#if !defined(__ANDROID__)
    const std::string pid = std::to_string(getpid());
    const std::string tag = "/orvato(" + std::string(5 - std::min<size_t>(5, pid.size()), ' ') + pid + "): ";
    EXPECT_EQ(out, "V" + tag + "verbose\nI" + tag + "info\nW" + tag + "warn\nE" + tag + "err\nplain\n");
#else
    EXPECT_EQ(out, "plain\n");
#endif
}

TEST(OxDebugStream, LinesReachTheLogFileWhenForcedOrSwitchedOn)
{
    ThresholdGuard guard;
    OxLogCapture capture; // the console side, and the sink's own warnings
    COxLogFile* sink = COxLogFile::instance();
    ASSERT_NE(sink, nullptr);
    const uint64_t start = sink->acceptedLines();

    oxWarning() << "console only";
    EXPECT_EQ(sink->acceptedLines(), start);

    OxMessageLogger forced(OX_LOG_FILE, __LINE__, __func__, true);
    forced.warning() << "forced";
    forced.error("forced %d", 2);
    forced.debug() << "below the threshold";
    EXPECT_EQ(sink->acceptedLines(), start + 2);

    // The direct writer ignores levels and switches.
    OxLogSetThreshold(0);
    OxLogWriteFile("direct");
    OxLogWriteFile(nullptr);
    EXPECT_EQ(sink->acceptedLines(), start + 3);

    OxLogSetThreshold(3);
    OxLogSetFileOutputEnabled(true);
    oxInfo() << "switched on";
    oxDebug() << "below the threshold";
    OxLogSetFileOutputEnabled(false);
    EXPECT_EQ(sink->acceptedLines(), start + 4);
    EXPECT_EQ(capture.count("switched on"), 1u);
    sink->sync(); // its warning about the missing directory stays in the capture
}

} // namespace
