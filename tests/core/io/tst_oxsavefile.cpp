#include "core/io/oxsavefile.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <csignal>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

typedef COxIODevice Io;

class OxSaveFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    // The one name in the directory besides the target's, or "".
    std::string temporaryBeside(const std::string& target, const std::string& subdirectory = std::string()) const
    {
        std::string found;
        for (const std::string& name : dir.entries(subdirectory))
            if (name != target)
                found = found.empty() ? name : "<several>";
        return found;
    }

    OxTempDir dir;
};

mode_t modeOf(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
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
        EXPECT_EQ(file.write("new content", 11), 11);
        ASSERT_TRUE(file.flush());
        // The data sits in a.txt.XXXXXX; close() refuses to decide.
        const std::string temporary = temporaryBeside("a.txt");
        ASSERT_EQ(temporary.size(), 12u);
        EXPECT_EQ(temporary.substr(0, 6), "a.txt.");
        EXPECT_EQ(readBytes(dir.file(temporary)), "new content");
        file.close();
        EXPECT_TRUE(file.isOpen());
        ASSERT_EQ(capture.count("COxSaveFile::close called"), 1u);
        EXPECT_EQ(capture.lines()[0].level, 3u);
        EXPECT_EQ(readBytes(target), "old");
        EXPECT_EQ(str(file.fileName()), target);

        EXPECT_TRUE(file.commit());
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(readBytes(target), "new content");
        EXPECT_EQ(modeOf(target), 0640u); // the target's permissions, not 0600
        EXPECT_EQ(dir.entries().size(), 1u);
        EXPECT_FALSE(file.commit()); // nothing left to commit
    }

    // Dropped without commit: the target stays, the temporary file goes.
    {
        COxSaveFile file(dir.name("a.txt"));
        ASSERT_TRUE(file.open(Io::WriteOnly));
        EXPECT_EQ(file.write("abandoned", 9), 9);
    }
    EXPECT_EQ(readBytes(target), "new content");
    EXPECT_EQ(dir.entries().size(), 1u);

    // A new file gets the usual mode, the umask applied.
    const mode_t umaskBefore = ::umask(027);
    COxSaveFile fresh(dir.name("b.txt"));
    ASSERT_TRUE(fresh.open(Io::WriteOnly | Io::Truncate));
    EXPECT_EQ(fresh.write("b", 1), 1);
    EXPECT_TRUE(fresh.commit());
    ::umask(umaskBefore);
    EXPECT_EQ(readBytes(dir.file("b.txt")), "b");
    EXPECT_EQ(modeOf(dir.file("b.txt")), 0640u);
    EXPECT_EQ(capture.size(), 1u);
}

TEST_F(OxSaveFileTest, OpenRefusals)
{
    OxLogCapture capture;
    COxSaveFile file(dir.name("t"));
    EXPECT_FALSE(file.open(Io::ReadWrite));
    EXPECT_FALSE(file.open(Io::WriteOnly | Io::Append));
    EXPECT_FALSE(file.open(Io::Text));
    EXPECT_EQ(capture.count("COxSaveFile::open: Unsupported open mode 0x3"), 1u);
    EXPECT_EQ(capture.count("COxSaveFile::open: Unsupported open mode 0x6"), 1u);
    EXPECT_EQ(capture.count("COxSaveFile::open: Open mode not specified"), 1u);
    ASSERT_TRUE(file.open(Io::WriteOnly));
    EXPECT_FALSE(file.open(Io::WriteOnly));
    EXPECT_EQ(capture.count("COxSaveFile::open: File (" + dir.file("t") + ") already open"), 1u);
    EXPECT_FALSE(COxSaveFile(COxString()).open(Io::WriteOnly));
    EXPECT_EQ(capture.count("COxSaveFile::open: No file name specified"), 1u);

    COxSaveFile directory(oxName(dir.path()));
    EXPECT_FALSE(directory.open(Io::WriteOnly));
    EXPECT_EQ(directory.error(), COxFileDevice::WriteError);
    EXPECT_EQ(str(directory.errorString()), "Filename refers to a directory");

    COxSaveFile nowhere(dir.name("missing/t"));
    EXPECT_FALSE(nowhere.open(Io::WriteOnly));
    EXPECT_EQ(nowhere.error(), COxFileDevice::OpenError);
    EXPECT_EQ(str(nowhere.errorString()), "No such file or directory");
    EXPECT_EQ(capture.count("commit"), 0u);

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
        int bits = !readOnly.open(Io::WriteOnly) && readOnly.error() == COxFileDevice::WriteError &&
                   str(readOnly.errorString()) == "Existing file is not writable";
        COxSaveFile inLocked(dir.name("locked/rw"));
        bits |= (!inLocked.open(Io::WriteOnly) && str(inLocked.errorString()) == "Permission denied") << 1;
        return bits;
    });
    EXPECT_EQ(result, 3);
    EXPECT_EQ(readBytes(dir.file("ro")), "kept");
    EXPECT_EQ(dir.entries("locked").size(), 1u);
    ::chmod(dir.file("locked").c_str(), 0777);
}

TEST_F(OxSaveFileTest, LinksAreFollowedAndKept)
{
    ASSERT_EQ(::mkdir(dir.file("data").c_str(), 0777), 0);
    writeBytes(dir.file("data/real"), "old");
    ASSERT_EQ(::symlink("data/real", dir.file("link").c_str()), 0);
    ASSERT_EQ(::symlink(dir.file("link").c_str(), dir.file("chain").c_str()), 0);
    COxSaveFile file(dir.name("chain"));
    ASSERT_TRUE(file.open(Io::WriteOnly));
    EXPECT_EQ(str(file.fileName()), dir.path() + "/data/real");
    EXPECT_EQ(temporaryBeside("real", "data").substr(0, 5), "real."); // beside the real file
    EXPECT_EQ(file.write("new", 3), 3);
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readBytes(dir.file("chain")), "new");
    char target[64] = {};
    EXPECT_EQ(::readlink(dir.file("link").c_str(), target, sizeof target - 1), 9);
    EXPECT_STREQ(target, "data/real");
    EXPECT_EQ(dir.entries("data").size(), 1u);

    // A link to a file not made yet leads to that file.
    ASSERT_EQ(::symlink("data/later", dir.file("ahead").c_str()), 0);
    COxSaveFile ahead(dir.name("ahead"));
    ASSERT_TRUE(ahead.open(Io::WriteOnly));
    EXPECT_EQ(ahead.write("later", 5), 5);
    ASSERT_TRUE(ahead.commit());
    EXPECT_EQ(readBytes(dir.file("data/later")), "later");

    ASSERT_EQ(::symlink("loop2", dir.file("loop1").c_str()), 0);
    ASSERT_EQ(::symlink("loop1", dir.file("loop2").c_str()), 0);
    COxSaveFile loop(dir.name("loop1"));
    EXPECT_FALSE(loop.open(Io::WriteOnly));
    EXPECT_EQ(str(loop.errorString()), "Too many levels of symbolic links");
}

// Write failures are real ones: a child limits the size of the files it
// may write. Each case leaves the target as it was and no temporary file.
TEST_F(OxSaveFileTest, FailedWritesDiscardEverything)
{
    const std::string target = dir.file("t");
    writeBytes(target, "old");
    const int result = inChild([&target] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const std::string big(1 << 20, 'x');
        int bits = 0;
        {
            // A write that fails outright; later writes are refused, even
            // ones that would fit.
            COxSaveFile file(oxName(target));
            file.open(Io::WriteOnly);
            bits |= file.write(big.data(), int64_t(big.size())) == -1 && file.error() == COxFileDevice::WriteError;
            bits |= (file.write("x", 1) == -1) << 1;
            bits |= (!file.commit() && str(file.errorString()) == "File too large") << 2;
        }
        {
            // Buffered data that cannot go out when commit() flushes it.
            COxSaveFile file(oxName(target));
            file.open(Io::WriteOnly);
            bits |= (file.write(big.data(), 4000) == 4000 && file.write(big.data(), 200) == 200) << 3;
            bits |= !file.commit() << 4;
        }
        {
            // A flush that failed on the way (here inside size()) spoils
            // the file for good, however well later writes would go.
            COxSaveFile file(oxName(target));
            file.open(Io::WriteOnly);
            file.write(big.data(), 4000);
            file.write(big.data(), 200);
            file.size();
            bits |= (file.write("x", 1) == -1 && !file.commit()) << 5;
        }
        return bits;
    });
    EXPECT_EQ(result, 63);
    EXPECT_EQ(readBytes(target), "old");
    EXPECT_EQ(dir.entries().size(), 1u);
}

// A process killed in the middle of a save leaves the old file whole; only
// its temporary file stays behind, and later saves are not disturbed by it.
TEST_F(OxSaveFileTest, KilledSaverLeavesTheOldTarget)
{
    const std::string target = dir.file("t");
    const std::string old(100000, 'o');
    writeBytes(target, old);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        COxSaveFile file(oxName(target));
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
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(readBytes(target), old);
    const std::string stale = temporaryBeside("t");
    EXPECT_EQ(readBytes(dir.file(stale)).size(), 300000u);

    COxSaveFile file(oxName(target));
    ASSERT_TRUE(file.open(Io::WriteOnly));
    EXPECT_EQ(file.write("new", 3), 3);
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(readBytes(target), "new");
    EXPECT_EQ(readBytes(dir.file(stale)).size(), 300000u);
}

} // namespace
