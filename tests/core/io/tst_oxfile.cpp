#include "core/io/oxfile.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

typedef COxIODevice Io;

class OxFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    OxTempDir dir;
};

// The descriptor this process holds on path, or -1.
int descriptorOf(const std::string& path)
{
    DIR* fds = opendir("/proc/self/fd");
    if (!fds)
        return -1;
    int found = -1;
    while (dirent* entry = readdir(fds)) {
        char target[PATH_MAX];
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
        if (n > 0 && std::string(target, size_t(n)) == path)
            found = atoi(entry->d_name);
    }
    closedir(fds);
    return found;
}

TEST_F(OxFileTest, OpenModesOnDisk)
{
    const std::string path = dir.file("modes");
    COxFile file(oxName(path));

    EXPECT_FALSE(file.open(Io::ReadOnly));
    EXPECT_EQ(file.error(), COxFile::OpenError);
    EXPECT_EQ(str(file.errorString()), "No such file or directory");

    // WriteOnly creates, and truncates what is there.
    writeBytes(path, "old content");
    ASSERT_TRUE(file.open(Io::WriteOnly));
    EXPECT_EQ(file.error(), COxFile::NoError);
    EXPECT_EQ(file.write("new", 3), 3);
    file.close();
    EXPECT_EQ(readBytes(path), "new");

    // ReadWrite keeps the content and can read it.
    ASSERT_TRUE(file.open(Io::ReadWrite));
    EXPECT_EQ(str(file.read(2)), "ne");
    EXPECT_EQ(file.write("W!", 2), 2);
    file.close();
    EXPECT_EQ(readBytes(path), "neW!");

    // ReadWrite | Truncate empties it but stays readable.
    ASSERT_TRUE(file.open(Io::ReadWrite | Io::Truncate));
    EXPECT_EQ(file.write("abc", 3), 3);
    ASSERT_TRUE(file.seek(0));
    EXPECT_EQ(str(file.readAll()), "abc");
    file.close();

    // Append alone writes at the end: WriteOnly is implied.
    ASSERT_TRUE(file.open(Io::Append));
    EXPECT_EQ(file.openMode(), uint32_t(Io::Append | Io::WriteOnly));
    EXPECT_EQ(file.pos(), 3);
    EXPECT_EQ(file.write("de", 2), 2);
    file.close();
    EXPECT_EQ(readBytes(path), "abcde");

    // ReadWrite | Append reads anywhere, writes at the end.
    ASSERT_TRUE(file.open(Io::ReadWrite | Io::Append));
    ASSERT_TRUE(file.seek(1));
    EXPECT_EQ(str(file.read(2)), "bc");
    EXPECT_EQ(file.write("f", 1), 1);
    file.close();
    EXPECT_EQ(readBytes(path), "abcdef");

    // ReadWrite on a missing file creates it; reading and truncating
    // together is not a mode a stream can open.
    COxFile fresh(dir.name("fresh"));
    ASSERT_TRUE(fresh.open(Io::ReadWrite));
    fresh.close();
    EXPECT_FALSE(fresh.open(Io::ReadOnly | Io::Truncate));
    EXPECT_EQ(fresh.error(), COxFile::OpenError);
    EXPECT_TRUE(pathExists(dir.file("fresh")));
}

TEST_F(OxFileTest, OpenRefusals)
{
    OxLogCapture capture;
    COxFile directory(oxName(dir.path()));
    EXPECT_FALSE(directory.open(Io::ReadOnly));
    EXPECT_EQ(directory.error(), COxFile::OpenError);
    EXPECT_EQ(str(directory.errorString()), "file to open is a directory");
    EXPECT_FALSE(directory.open(Io::WriteOnly));
    EXPECT_EQ(str(directory.errorString()), "Is a directory");

    COxFile file(dir.name("a"));
    EXPECT_FALSE(file.open(0));
    EXPECT_FALSE(file.open(Io::Text | Io::Truncate));
    EXPECT_EQ(capture.count("COxIODevice::open: File access not specified"), 2u);
    EXPECT_FALSE(pathExists(dir.file("a")));

    ASSERT_TRUE(file.open(Io::WriteOnly));
    EXPECT_FALSE(file.open(Io::ReadOnly));
    EXPECT_EQ(capture.count("COxFile::open: File (" + dir.file("a") + ") already open"), 1u);

    // The descriptor is not inherited by programs the process starts.
    const int fd = descriptorOf(dir.file("a"));
    ASSERT_NE(fd, -1);
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);

    // A new name closes the open file.
    file.setFileName(dir.name("b"));
    EXPECT_EQ(capture.count("COxFile::setFileName: File (" + dir.file("a") + ") is already opened"), 1u);
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(descriptorOf(dir.file("a")), -1);

    COxFile unnamed;
    EXPECT_FALSE(unnamed.open(Io::ReadOnly));
    EXPECT_EQ(capture.count("COxGenericFileEngine::open: No file name specified"), 1u);
}

// Text mode belongs to the device base class; the file only passes it on.
TEST_F(OxFileTest, TextModeIsPassedOn)
{
    writeBytes(dir.file("text"), "l1\r\nend\r");
    COxFile file(dir.name("text"));
    ASSERT_TRUE(file.open(Io::ReadOnly | Io::Text));
    EXPECT_EQ(str(file.readAll()), "l1\nend");
}

TEST_F(OxFileTest, PositionFollowsMixedReadsAndWrites)
{
    writeBytes(dir.file("mixed"), "0123456789");
    COxFile file(dir.name("mixed"));
    ASSERT_TRUE(file.open(Io::ReadWrite));
    EXPECT_EQ(str(file.read(3)), "012");
    EXPECT_EQ(file.write("ab", 2), 2);
    EXPECT_EQ(str(file.read(2)), "56"); // a read straight after a write
    ASSERT_TRUE(file.seek(1));
    EXPECT_EQ(str(file.read(2)), "12");
    EXPECT_EQ(file.write("Z", 1), 1);
    EXPECT_EQ(str(file.peek(3)), "b56");
    EXPECT_EQ(file.pos(), 4);
    EXPECT_EQ(file.write("Y", 1), 1); // lands after the peeked-at position

    // Writing past the end leaves a gap of zero bytes.
    ASSERT_TRUE(file.seek(12));
    EXPECT_EQ(file.write("E", 1), 1);
    EXPECT_EQ(file.size(), 13);
    ASSERT_TRUE(file.seek(9));
    EXPECT_EQ(str(file.readAll()), std::string("9\0\0E", 4));
    file.close();
    EXPECT_EQ(readBytes(dir.file("mixed")), std::string("012ZY56789\0\0E", 13));
}

TEST_F(OxFileTest, WriteFaultsReportNoSpace)
{
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "/dev/full is not available";
    COxFile full(oxName("/dev/full"));
    ASSERT_TRUE(full.open(Io::WriteOnly));
    // A small write only reaches the stream's buffer; flushing it fails.
    EXPECT_EQ(full.write("abc", 3), 3);
    EXPECT_FALSE(full.flush());
    EXPECT_EQ(full.error(), COxFile::ResourceError);
    EXPECT_EQ(str(full.errorString()), "No space left on device");

    // A seek that has to flush first fails.
    EXPECT_EQ(full.write("def", 3), 3);
    EXPECT_FALSE(full.seek(0));
    EXPECT_EQ(full.error(), COxFile::ResourceError);

    // A write too large for the buffer fails outright, and the position
    // does not count bytes that went nowhere.
    const std::string big(1 << 20, 'x');
    const int64_t before = full.pos();
    EXPECT_EQ(full.write(big.data(), int64_t(big.size())), -1);
    EXPECT_EQ(full.error(), COxFile::ResourceError);
    EXPECT_LE(full.pos(), before);
#if defined(__GLIBC__)
    EXPECT_EQ(full.pos(), 0); // this C library drops what it could not write
#endif
    full.close();
    EXPECT_NE(full.error(), COxFile::NoError);
}

TEST_F(OxFileTest, RenameRules)
{
    OxLogCapture capture;
    writeBytes(dir.file("src"), "source");
    writeBytes(dir.file("dst"), "destination");
    COxFile file(dir.name("src"));

    EXPECT_FALSE(file.rename(dir.name("dst")));
    EXPECT_EQ(file.error(), COxFile::RenameError);
    EXPECT_EQ(str(file.errorString()), "Destination file exists");
    EXPECT_EQ(readBytes(dir.file("dst")), "destination");

    EXPECT_FALSE(file.rename(dir.name("src")));
    EXPECT_EQ(str(file.errorString()), "Destination file is the same file.");

    COxFile missing(dir.name("missing"));
    EXPECT_FALSE(missing.rename(dir.name("other")));
    EXPECT_EQ(str(missing.errorString()), "Source file does not exist.");

    COxFile unnamed;
    EXPECT_FALSE(unnamed.rename(dir.name("other")));
    EXPECT_EQ(capture.count("COxFile::rename: Empty or null file name"), 1u);

    // An open file is closed and keeps its content under the new name.
    ASSERT_TRUE(file.open(Io::ReadWrite));
    EXPECT_EQ(file.write("S", 1), 1);
    EXPECT_TRUE(file.rename(dir.name("moved")));
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(str(file.fileName()), dir.file("moved"));
    EXPECT_EQ(readBytes(dir.file("moved")), "Source");

    // When the system cannot rename, the copy fallback reports the failing
    // side and leaves the source alone.
    EXPECT_FALSE(file.rename(dir.name("no/such/dir")));
    EXPECT_EQ(file.error(), COxFile::RenameError);
    EXPECT_EQ(str(file.errorString()), "No such file or directory");
    EXPECT_EQ(readBytes(dir.file("moved")), "Source");
}

// A new name that differs only in letter case and already leads to the same
// file is what a file system that ignores case shows; here another link to
// the file stands in for it. The rename goes through an intermediate name
// and leaves only the new one, with the data.
TEST_F(OxFileTest, RenameChangingOnlyCase)
{
    writeBytes(dir.file("name"), "data");
    COxFile file(dir.name("name"));
    EXPECT_TRUE(file.rename(dir.name("Name"))); // a plain rename here
    EXPECT_EQ(readBytes(dir.file("Name")), "data");

    ASSERT_EQ(::link(dir.file("Name").c_str(), dir.file("NAME").c_str()), 0);
    EXPECT_TRUE(file.rename(dir.name("NAME")));
    EXPECT_EQ(str(file.fileName()), dir.file("NAME"));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"NAME"});
    EXPECT_EQ(readBytes(dir.file("NAME")), "data");

    ASSERT_EQ(::symlink("NAME", dir.file("name").c_str()), 0);
    EXPECT_TRUE(file.rename(dir.name("name")));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"name"});
    struct stat st;
    ASSERT_EQ(::lstat(dir.file("name").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(readBytes(dir.file("name")), "data");

    // Without room for the intermediate name nothing moves.
    ASSERT_EQ(::link(dir.file("name").c_str(), dir.file("NAME").c_str()), 0);
    ::chmod(dir.path().c_str(), 0777);
    ::chmod(dir.file("name").c_str(), 0666);
    ASSERT_EQ(::mkdir(dir.file("locked").c_str(), 0777), 0);
    ASSERT_EQ(::rename(dir.file("name").c_str(), dir.file("locked/name").c_str()), 0);
    ASSERT_EQ(::rename(dir.file("NAME").c_str(), dir.file("locked/NAME").c_str()), 0);
    ::chmod(dir.file("locked").c_str(), 0555);
    const int result = asOrdinaryUser([&dir = dir] {
        COxFile locked(dir.name("locked/name"));
        return !locked.rename(dir.name("locked/NAME")) && str(locked.errorString()) == "Error while renaming." &&
               dir.entries("locked").size() == 2;
    });
    EXPECT_EQ(result, 1);
    ::chmod(dir.file("locked").c_str(), 0777);
}

TEST_F(OxFileTest, RenameAcrossFileSystemsCopiesBlocks)
{
    OxTempDir shm("/dev/shm");
    struct stat here;
    struct stat there;
    if (!shm.isValid() || stat(dir.path().c_str(), &here) != 0 || stat(shm.path().c_str(), &there) != 0)
        GTEST_SKIP() << "no second file system at /dev/shm";
    if (here.st_dev == there.st_dev)
        GTEST_SKIP() << "/dev/shm and " << dir.path() << " are on the same file system";

    std::string content(3 * 4096 + 123, '\0');
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = char(i * 31 + 7);
    writeBytes(dir.file("big"), content);
    ASSERT_EQ(chmod(dir.file("big").c_str(), 0640), 0);

    COxFile file(dir.name("big"));
    EXPECT_TRUE(file.rename(shm.name("big")));
    EXPECT_FALSE(pathExists(dir.file("big")));
    EXPECT_EQ(readBytes(shm.file("big")), content);
    EXPECT_EQ(file.permissions(), 0x640u);
}

TEST_F(OxFileTest, RemoveExistsResizeAndPermissions)
{
    OxLogCapture capture;
    writeBytes(dir.file("f"), "0123456789");
    COxFile file(dir.name("f"));
    EXPECT_TRUE(file.exists() && COxFile::exists(dir.name("f")));

    EXPECT_TRUE(file.resize(4));
    EXPECT_EQ(readBytes(dir.file("f")), "0123");
    EXPECT_FALSE(file.resize(-1));
    EXPECT_EQ(file.error(), COxFile::ResizeError);
    ASSERT_TRUE(file.open(Io::ReadWrite));
    EXPECT_EQ(file.write("abcdef", 6), 6);
    EXPECT_TRUE(file.resize(2)); // buffered data goes out before the cut
    file.close();
    EXPECT_EQ(readBytes(dir.file("f")), "ab");

    EXPECT_TRUE(file.setPermissions(COxFile::ReadOwner | COxFile::WriteOwner | COxFile::ReadOther));
    struct stat st;
    ASSERT_EQ(stat(dir.file("f").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0604u);

    ASSERT_TRUE(file.open(Io::ReadOnly));
    EXPECT_TRUE(file.remove()); // closes first
    EXPECT_FALSE(file.isOpen() || pathExists(dir.file("f")));
    EXPECT_FALSE(file.remove());
    EXPECT_EQ(file.error(), COxFile::RemoveError);
    EXPECT_EQ(str(file.errorString()), "No such file or directory");
    EXPECT_FALSE(file.setPermissions(COxFile::ReadOwner));
    EXPECT_EQ(file.error(), COxFile::PermissionsError);

    capture.clear();
    EXPECT_FALSE(file.exists());
    EXPECT_EQ(capture.count("stat() failed for '" + dir.file("f") + "'"), 1u);

    COxFile unnamed;
    EXPECT_FALSE(unnamed.remove());
    EXPECT_FALSE(COxFile::remove(COxString()));
    EXPECT_EQ(capture.count("COxFile::remove: Empty or null file name"), 2u);
}

TEST_F(OxFileTest, MapAndUnmap)
{
    OxLogCapture capture;
    const long page = sysconf(_SC_PAGESIZE);
    std::string content(size_t(3 * page + 500), '\0');
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = char(i % 253);
    writeBytes(dir.file("m"), content);

    COxFile file(dir.name("m"));
    EXPECT_EQ(file.map(0, 10), nullptr); // never opened: no engine yet
    EXPECT_EQ(file.error(), COxFile::UnspecifiedError);
    EXPECT_EQ(str(file.errorString()), "No file engine available or engine does not support MapExtension");
    EXPECT_FALSE(file.unmap(nullptr));
    EXPECT_EQ(str(file.errorString()), "No file engine available or engine does not support UnMapExtension");

    ASSERT_TRUE(file.open(Io::ReadWrite));
    const int64_t offset = page + 77; // not on a page boundary
    uchar* region = file.map(offset, 1000);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(std::memcmp(region, content.data() + offset, 1000), 0);
    region[0] = 'M'; // shared with the file
    EXPECT_EQ(capture.count("Mapping a file beyond its size"), 0u);

    uchar* second = file.map(0, 16);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(file.unmap(region));
    EXPECT_FALSE(file.unmap(region)); // no longer mapped
    EXPECT_EQ(file.error(), COxFile::PermissionsError);
    EXPECT_EQ(str(file.errorString()), "Permission denied");
    EXPECT_FALSE(file.unmap(second + 1));
    EXPECT_TRUE(file.unmap(second));

    for (const auto& bad : {std::make_pair(int64_t(-1), int64_t(10)), {0, -10}, {0, 0}, {INT64_MAX, 2}})
        EXPECT_EQ(file.map(bad.first, bad.second), nullptr) << bad.first << " " << bad.second;
    uchar* tail = file.map(int64_t(content.size()) - 10, 20);
    EXPECT_NE(tail, nullptr);
    EXPECT_EQ(capture.count("COxGenericFileEngine::map: Mapping a file beyond its size is not portable"), 1u);
    file.close();
    std::string after = readBytes(dir.file("m"));
    ASSERT_EQ(after.size(), content.size());
    EXPECT_EQ(after[size_t(offset)], 'M');
}

TEST_F(OxFileTest, ClosedAndUnnamedFilesRefuseQuietly)
{
    OxLogCapture capture;
    COxFile file(dir.name("never"));
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(capture.count("COxFileDevice::flush: No file engine. Is IODevice open?"), 1u);
    EXPECT_FALSE(file.seek(0));
    EXPECT_EQ(capture.count("COxFileDevice::seek: IODevice is not open"), 1u);
    file.close(); // nothing to close
    EXPECT_FALSE(pathExists(dir.file("never")));
}

} // namespace
