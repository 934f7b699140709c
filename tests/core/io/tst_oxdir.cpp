#include "core/io/oxdir.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>

namespace {

bool isDirectory(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

TEST(OxDir, Mkpath)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    OxLogCapture capture;
    EXPECT_TRUE(COxDir::mkpath(dir.name("a/b/c/")));
    EXPECT_TRUE(isDirectory(dir.file("a/b/c")));
    // Existing directories, with or without trailing slashes.
    for (const COxString& existing : {dir.name("a/b/c"), dir.name("a//"), COxString("/"), COxString("//")})
        EXPECT_TRUE(COxDir::mkpath(existing)) << existing.toUtf8().constData();
    // Non-ASCII names go to the file system as UTF-8.
    EXPECT_TRUE(COxDir::mkpath(dir.name("\xc3\xa9t\xc3\xa9/x")));
    EXPECT_TRUE(isDirectory(dir.file("\xc3\xa9t\xc3\xa9/x")));

    // A file in the way fails quietly.
    writeBytes(dir.file("plain"), "");
    EXPECT_FALSE(COxDir::mkpath(dir.name("plain/")));
    EXPECT_FALSE(COxDir::mkpath(dir.name("plain/sub/deeper")));
    EXPECT_EQ(capture.size(), 0u);

    EXPECT_FALSE(COxDir::mkpath(COxString("a/b")));
    EXPECT_FALSE(COxDir::mkpath(COxString()));
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].text.find("COxDir::mkpath: only accept absolute dir path!"), std::string::npos);
    EXPECT_NE(lines[1].text.find("COxDir::mkpath: Empty or null path name"), std::string::npos);
    EXPECT_EQ(lines[0].level, 2u);
}

} // namespace
