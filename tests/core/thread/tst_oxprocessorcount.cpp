#include "core/thread/oxprocessorcount.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

uint32_t parse(const char* text) { return OxParseProcessorList(text, std::strlen(text)); }

TEST(OxProcessorCount, ParsesListsAndStopsAtTheFirstBadItem)
{
    EXPECT_EQ(parse("0,2-3"), 0x0du);
    EXPECT_EQ(parse("1,3,5-6\n9"), 0x6au); // nothing after the line feed
    // Numbers of 32 and above are not counted, also inside ranges.
    EXPECT_EQ(parse("0,32,40-50"), 0x1u);
    EXPECT_EQ(parse("30-40"), 0xc0000000u);
    EXPECT_EQ(parse("31"), 0x80000000u);
    EXPECT_EQ(parse("99999999999999999999,1"), 0x2u);
    // Empty and leading line feed.
    EXPECT_EQ(parse(""), 0u);
    EXPECT_EQ(parse("\n0-7"), 0u);
    // Malformed items end the list, keeping what came before them.
    EXPECT_EQ(parse("0-1,3x,4"), 0x3u);
    EXPECT_EQ(parse("0,,4"), 0x1u);
    EXPECT_EQ(parse("2-"), 0u);
    EXPECT_EQ(parse("1,5-2,7"), 0x2u);
    EXPECT_EQ(parse(" 1"), 0u);
    // The length bounds the text: no terminator is needed.
    EXPECT_EQ(OxParseProcessorList("12", 1), 0x2u);
}

// Processor list files in a scratch directory.
class ListFiles : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(mkdtemp(m_dir), nullptr); }
    void TearDown() override
    {
        for (const std::string& f : m_files)
            unlink(f.c_str());
        rmdir(m_dir);
    }
    std::string write(const char* name, const std::string& text)
    {
        m_files.push_back(std::string(m_dir) + "/" + name);
        std::ofstream(m_files.back(), std::ios::binary) << text;
        return m_files.back();
    }

    char m_dir[17] = "/tmp/oxcpuXXXXXX";
    std::vector<std::string> m_files;
};

TEST_F(ListFiles, PresentCountIsPresentAndPossibleNeverBelowOne)
{
    std::string p07 = write("p07", "0-7\n");
    std::string p03 = write("p03", "0-3\n");
    std::string odd = write("odd", "0,2-3\n");
    std::string big = write("big", "0-63\n");
    std::string none = write("none", "\n");
    EXPECT_EQ(OxPresentProcessorCountFrom(p07.c_str(), p03.c_str()), 4);
    EXPECT_EQ(OxPresentProcessorCountFrom(odd.c_str(), p07.c_str()), 3);
    EXPECT_EQ(OxPresentProcessorCountFrom(big.c_str(), big.c_str()), 32);
    EXPECT_EQ(OxPresentProcessorCountFrom(none.c_str(), p07.c_str()), 1);
    EXPECT_EQ(OxPresentProcessorCountFrom((std::string(m_dir) + "/missing").c_str(), p07.c_str()), 1);

    // Only the first 64 bytes are read: "0," 32 times fills them, so the
    // processor after them is lost.
    std::string longList;
    for (int i = 0; i < 32; ++i)
        longList += "0,";
    std::string cut = write("cut", longList + "5\n");
    std::string whole = write("whole", longList.substr(2) + "5\n");
    EXPECT_EQ(OxReadProcessorList(whole.c_str()), 0x21u);
    EXPECT_EQ(OxReadProcessorList(cut.c_str()), 0x1u);
}

TEST(OxProcessorCount, SystemCountsArePositiveAndCached)
{
    EXPECT_GE(OxOnlineProcessorCount(), 1);
    const int present = OxPresentProcessorCount();
    EXPECT_TRUE(present >= 1 && present <= 32);
    EXPECT_EQ(OxPresentProcessorCount(), present);
}

} // namespace
