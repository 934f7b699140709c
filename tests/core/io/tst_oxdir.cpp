#include "core/io/oxdir.h"
#include "core/text/oxstring.h"

#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ftw.h>
#include <string>
#include <sys/stat.h>

namespace {

class TempDir {
public:
    TempDir()
    {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/oxdirtest.XXXXXX";
        if (mkdtemp(&pattern[0]))
            m_path = pattern;
    }
    ~TempDir()
    {
        if (!m_path.empty())
            nftw(m_path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& path() const { return m_path; }

private:
    static int removeEntry(const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }
    std::string m_path;
};

bool isDirectory(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

COxString str(const std::string& s) { return COxString::fromLocal8Bit(s.c_str()); }

TEST(OxDir, MkpathCreatesMissingParents)
{
    TempDir dir;
    ASSERT_FALSE(dir.path().empty());
    OxLogCapture capture;

    EXPECT_TRUE(COxDir::mkpath(str(dir.path() + "/a/b/c/")));
    EXPECT_TRUE(isDirectory(dir.path() + "/a/b"));
    EXPECT_TRUE(isDirectory(dir.path() + "/a/b/c"));
    // Existing directories, with or without trailing slashes.
    EXPECT_TRUE(COxDir::mkpath(str(dir.path() + "/a/b/c")));
    EXPECT_TRUE(COxDir::mkpath(str(dir.path() + "/a//")));
    EXPECT_TRUE(COxDir::mkpath(COxString("/")));
    EXPECT_TRUE(COxDir::mkpath(COxString("//")));

    // Non-ASCII names go to the file system as UTF-8.
    EXPECT_TRUE(COxDir::mkpath(str(dir.path() + "/\xc3\xa9t\xc3\xa9/x")));
    EXPECT_TRUE(isDirectory(dir.path() + "/\xc3\xa9t\xc3\xa9/x"));
    EXPECT_EQ(capture.size(), 0u);
}

TEST(OxDir, MkpathRefusesFilesAndRelativePaths)
{
    TempDir dir;
    OxLogCapture capture;
    const std::string file = dir.path() + "/plain";
    std::fclose(std::fopen(file.c_str(), "w"));

    EXPECT_FALSE(COxDir::mkpath(str(file)));
    EXPECT_FALSE(COxDir::mkpath(str(file + "/")));
    EXPECT_FALSE(COxDir::mkpath(str(file + "/sub/deeper")));
    EXPECT_EQ(capture.size(), 0u);

    EXPECT_FALSE(COxDir::mkpath(COxString("a/b")));
    EXPECT_FALSE(COxDir::mkpath(COxString()));
    EXPECT_FALSE(COxDir::mkpath(COxString("")));
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].text.find("COxDir::mkpath: only accept absolute dir path!"), std::string::npos);
    EXPECT_NE(lines[1].text.find("COxDir::mkpath: Empty or null path name"), std::string::npos);
    EXPECT_NE(lines[2].text.find("COxDir::mkpath: Empty or null path name"), std::string::npos);
    EXPECT_EQ(lines[0].level, 2u);
}

} // namespace
