#include "core/io/oxsavefile.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/resource.h>

namespace {

typedef COxIODevice Io;

class OxSaveFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    // The names in the directory other than the target's.
    std::string othersThan(const std::string& target, const std::string& subdirectory = std::string()) const
    {
        std::string others;
        for (const std::string& name : dir.entries(subdirectory))
            others += name != target ? name : "";
        return others;
    }

    OxTempDir dir;
};

mode_t modeOf(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? st.st_mode & 0777 : 0;
}

TEST_F(OxSaveFileTest, TargetChangesOnlyAtCommit)
{
    OxLogCapture capture;
    const std::string target = dir.file("a.txt");
    writeBytes(target, "old");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    {
        COxSaveFile file(dir.name("a.txt"));
        ASSERT_TRUE(file.open(Io::WriteOnly));
        EXPECT_EQ(file.write("new", 3), 3);
        ASSERT_TRUE(file.flush());
        const std::string temporary = othersThan("a.txt"); // a.txt. and six letters
        EXPECT_TRUE(temporary.size() == 12 && temporary.compare(0, 6, "a.txt.") == 0) << temporary;
        EXPECT_EQ(readBytes(dir.file(temporary)), "new");
        file.close(); // refused
        EXPECT_TRUE(file.isOpen());
        EXPECT_EQ(capture.count("COxSaveFile::close called"), 1u);
        EXPECT_EQ(capture.lines().at(0).level, 3u);
        EXPECT_EQ(readBytes(target), "old");

        EXPECT_TRUE(file.commit());
        EXPECT_EQ(readBytes(target), "new");
        EXPECT_EQ(modeOf(target), 0640u);
        EXPECT_EQ(othersThan("a.txt"), "");
        EXPECT_FALSE(file.commit());
    }
    {
        COxSaveFile dropped(dir.name("a.txt"));
        ASSERT_TRUE(dropped.open(Io::WriteOnly));
        EXPECT_EQ(dropped.write("dropped", 7), 7);
    }
    EXPECT_EQ(readBytes(target), "new");
    EXPECT_EQ(othersThan("a.txt"), "");

    const mode_t umaskBefore = ::umask(027); // a new file: 0666 less the umask
    COxSaveFile fresh(dir.name("b.txt"));
    EXPECT_TRUE(fresh.open(Io::WriteOnly) && fresh.commit());
    ::umask(umaskBefore);
    EXPECT_EQ(modeOf(dir.file("b.txt")), 0640u);
}

TEST_F(OxSaveFileTest, OpenRefusals)
{
    OxLogCapture capture;
    COxSaveFile file(dir.name("t"));
    for (Io::OpenMode mode : {Io::OpenMode(Io::ReadWrite), Io::WriteOnly | Io::Append, Io::OpenMode(Io::Text)})
        EXPECT_FALSE(file.open(mode));
    EXPECT_EQ(capture.count("COxSaveFile::open: Unsupported open mode 0x3"), 1u);
    EXPECT_EQ(capture.count("COxSaveFile::open: Unsupported open mode 0x6"), 1u);
    EXPECT_EQ(capture.count("COxSaveFile::open: Open mode not specified"), 1u);

    COxSaveFile directory(oxName(dir.path()));
    EXPECT_FALSE(directory.open(Io::WriteOnly));
    EXPECT_EQ(directory.error(), COxFileDevice::WriteError);
    EXPECT_EQ(str(directory.errorString()), "Filename refers to a directory");

    // Permissions count for an ordinary user: a read-only file is refused
    // before anything is made, and so is a file in a read-only directory.
    ::chmod(dir.path().c_str(), 0777);
    ASSERT_EQ(::mkdir(dir.file("locked").c_str(), 0777), 0);
    writeBytes(dir.file("ro"), "kept");
    writeBytes(dir.file("locked/rw"), "kept");
    ::chmod(dir.file("ro").c_str(), 0444);
    ::chmod(dir.file("locked/rw").c_str(), 0666);
    ::chmod(dir.file("locked").c_str(), 0555);
    const int result = asOrdinaryUser([&dir = dir] {
        COxSaveFile readOnly(dir.name("ro"));
        COxSaveFile inLocked(dir.name("locked/rw"));
        return int(!readOnly.open(Io::WriteOnly) && str(readOnly.errorString()) == "Existing file is not writable") |
               int(!inLocked.open(Io::WriteOnly) && str(inLocked.errorString()) == "Permission denied") << 1;
    });
    EXPECT_EQ(result, 3);
    EXPECT_EQ(readBytes(dir.file("ro")), "kept");
    EXPECT_EQ(othersThan("rw", "locked"), "");
    ::chmod(dir.file("locked").c_str(), 0777);
}

TEST_F(OxSaveFileTest, LinksAreFollowedAndKept)
{
    ASSERT_EQ(::mkdir(dir.file("data").c_str(), 0777), 0);
    writeBytes(dir.file("data/real"), "old");
    ASSERT_EQ(::symlink("data/real", dir.file("link").c_str()), 0);
    ASSERT_EQ(::symlink(dir.file("link").c_str(), dir.file("chain").c_str()), 0);
    ASSERT_EQ(::symlink("data/later", dir.file("ahead").c_str()), 0); // to a file not made yet
    for (const auto& names : {std::make_pair("chain", "real"), std::make_pair("ahead", "later")}) {
        const std::string link = names.first;
        COxSaveFile file(dir.name(link));
        ASSERT_TRUE(file.open(Io::WriteOnly));
        EXPECT_EQ(str(file.fileName()), dir.path() + "/data/" + names.second);
        const std::string temporary = othersThan("real", "data"); // beside the file
        EXPECT_EQ(temporary.substr(0, temporary.size() - 6), std::string(names.second) + ".");
        EXPECT_EQ(file.write(link.data(), 5), 5);
        EXPECT_TRUE(file.commit());
        EXPECT_EQ(readBytes(dir.file(link)), link);
        struct stat st;
        EXPECT_TRUE(::lstat(dir.file(link).c_str(), &st) == 0 && S_ISLNK(st.st_mode));
    }
    EXPECT_EQ(dir.entries("data").size(), 2u);

    ASSERT_EQ(::symlink("loop2", dir.file("loop1").c_str()), 0);
    ASSERT_EQ(::symlink("loop1", dir.file("loop2").c_str()), 0);
    COxSaveFile loop(dir.name("loop1"));
    EXPECT_FALSE(loop.open(Io::WriteOnly));
    EXPECT_EQ(str(loop.errorString()), "Too many levels of symbolic links");
}

// Real write failures: a child limits the size of the files it may write.
// Each case leaves the target as it was and no temporary file.
TEST_F(OxSaveFileTest, FailedWritesDiscardEverything)
{
    writeBytes(dir.file("t"), "old");
    const int result = inChild([this] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const std::string big(1 << 20, 'x');
        int bits = 0;
        for (int failing = 0; failing < 3; ++failing) {
            COxSaveFile file(dir.name("t"));
            file.open(Io::WriteOnly);
            if (failing == 0) // at once; later writes that would fit are refused too
                bits |= file.write(big.data(), int64_t(big.size())) == -1 && file.write("x", 1) == -1;
            if (failing > 0) // buffered data that cannot go out
                bits |= (file.write(big.data(), 4000) == 4000 && file.write(big.data(), 200) == 200) << failing;
            if (failing == 2) // a flush on the way (in size()) lost it for good
                bits |= (file.size() >= 0 && file.write("x", 1) == -1) << 3;
            bits |= (!file.commit() && str(file.errorString()) == "File too large") << (4 + failing);
        }
        return bits;
    });
    EXPECT_EQ(result, 127);
    EXPECT_EQ(readBytes(dir.file("t")), "old");
    EXPECT_EQ(othersThan("t"), "");
}

// A writer killed in the middle of a save leaves the old file whole; only
// its temporary file stays behind, and does not disturb later saves.
TEST_F(OxSaveFileTest, KilledWriterLeavesTheOldTarget)
{
    const std::string old(100000, 'o');
    writeBytes(dir.file("t"), old);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        COxSaveFile file(dir.name("t"));
        const std::string part(300000, 'n');
        if (file.open(Io::WriteOnly) && file.write(part.data(), int64_t(part.size())) > 0 && file.flush())
            (void)!::write(ready[1], "x", 1);
        for (;;)
            ::pause();
    }
    ::close(ready[1]);
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    EXPECT_EQ(readBytes(dir.file("t")), old);
    const std::string stale = othersThan("t");
    EXPECT_EQ(readBytes(dir.file(stale)).size(), 300000u);

    COxSaveFile file(dir.name("t"));
    EXPECT_TRUE(file.open(Io::WriteOnly) && file.write("new", 3) == 3 && file.commit());
    EXPECT_EQ(readBytes(dir.file("t")), "new");
    EXPECT_EQ(othersThan("t"), stale);
}

} // namespace
