#include "core/io/oxdir.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

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

TEST(OxDir, RemoveRecursively)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    ::chmod(dir.path().c_str(), 0777);
    // Root can make an entry the ordinary user cannot remove: a directory of
    // root's inside the user's tree.
    const bool root = ::geteuid() == 0;
    // Entries are listed in no set order: blocked and removable ones are
    // mixed, so that some of each follow the other.
    std::vector<std::string> blocked;
    if (root) {
        for (int i = 0; i < 10; ++i) {
            blocked.push_back("root-owned" + std::to_string(i));
            ASSERT_TRUE(COxDir::mkpath(dir.name("blocking/" + blocked.back())));
            writeBytes(dir.file("blocking/" + blocked.back() + "/file"), "x");
        }
        ASSERT_EQ(::chown(dir.file("blocking").c_str(), 65534, 65534), 0);
    }
    const int result = asOrdinaryUser([&dir, &blocked, root] {
        // Read-only files and directories, hidden ones, and a link that leads
        // out of the tree.
        COxDir::mkpath(dir.name("tree/sub/locked"));
        COxDir::mkpath(dir.name("outside"));
        for (const char* file : {"tree/.hidden", "tree/ro", "tree/sub/ro", "tree/sub/locked/ro", "outside/keep"}) {
            writeBytes(dir.file(file), "x");
            ::chmod(dir.file(file).c_str(), 0444);
        }
        ::symlink(dir.file("outside").c_str(), dir.file("tree/sub/link").c_str());
        ::chmod(dir.file("tree/sub/locked").c_str(), 0);
        ::chmod(dir.file("tree/sub").c_str(), 0555);
        int bits = COxDir::removeRecursively(dir.name("tree")) ? 1 : 0;
        bits |= !pathExists(dir.file("tree")) && pathExists(dir.file("outside/keep")) ? 2 : 0;
        if (root) {
            for (int i = 0; i < 20; ++i)
                writeBytes(dir.file("blocking/mine" + std::to_string(i)), "x");
            bits |= !COxDir::removeRecursively(dir.name("blocking")) ? 4 : 0;
            std::vector<std::string> left = dir.entries("blocking");
            std::sort(left.begin(), left.end());
            bits |= left == blocked ? 8 : 0;
        }
        return bits;
    });
    EXPECT_EQ(result, root ? 15 : 3);

    // What is no directory is left alone.
    OxLogCapture capture;
    ASSERT_EQ(::symlink(dir.file("outside").c_str(), dir.file("link").c_str()), 0);
    for (const char* name : {"link", "outside/keep", "missing"})
        EXPECT_FALSE(COxDir::removeRecursively(dir.name(name))) << name;
    EXPECT_TRUE(pathExists(dir.file("outside/keep")));
    EXPECT_FALSE(COxDir::removeRecursively(COxString("relative/dir")));
    EXPECT_FALSE(COxDir::rmdir(dir.name("outside")));
    EXPECT_FALSE(COxDir::rmdir(COxString("relative")));
    EXPECT_FALSE(COxDir::rmdir(COxString()));
    ASSERT_TRUE(COxDir::mkpath(dir.name("empty")));
    EXPECT_TRUE(COxDir::rmdir(dir.name("empty")));
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].text.find("COxDir::removeRecursively: only accept absolute dir path!"), std::string::npos);
    EXPECT_NE(lines[1].text.find("COxDir::rmdir: only accept absolute dir path!"), std::string::npos);
    EXPECT_NE(lines[2].text.find("COxDir::rmdir: Empty or null path name"), std::string::npos);
}

TEST(OxDir, CleanAndTemporaryPaths)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {"/", "/"}, {"//a//b/", "/a/b"}, {"/../a/./b/..", "/a"}, {"a/..", "."},
        {"a/../..", ".."}, {"../x/../../y", "../../y"}, {"./a/b/", "a/b"}, {"/a/b/c/../../d", "/a/d"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(str(COxDir::cleanPath(COxString(c.first))), c.second) << c.first;

    const char* saved = std::getenv("TMPDIR");
    const std::string keep = saved ? saved : "";
    const std::pair<const char*, const char*> temporary[] = {
        {"/var/tmp/", "/var/tmp"}, {"", "/tmp"}, {"/", "/"}, {"/x//y/./z/..", "/x/y"}};
    for (const auto& c : temporary) {
        ::setenv("TMPDIR", c.first, 1);
        EXPECT_EQ(str(COxDir::tempPath()), c.second) << c.first;
    }
    ::unsetenv("TMPDIR");
    EXPECT_EQ(str(COxDir::tempPath()), "/tmp");
    if (saved)
        ::setenv("TMPDIR", keep.c_str(), 1);
}

} // namespace
