#include "core/io/oxfile.h"
#include "core/io/oxfiledevice_p.h"
#include "core/io/oxfileengine_p.h"
#include "core/io/oxgenericfileengine.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

typedef COxIODevice Io;
typedef COxFileEngine Engine;

// A read-only engine over a string, standing in for engines that serve
// names other than plain files. Its seek fails with a chosen code.
class StringEngine : public COxFileEngine {
public:
    explicit StringEngine(std::string content)
        : COxFileEngine(*new COxFileEnginePrivate)
        , bytes(std::move(content))
    {
    }

    bool open(Io::OpenMode) override { return true; }
    bool close() override { return true; }
    int64_t size() override { return int64_t(bytes.size()); }
    int64_t pos() override { return at; }
    bool seek(int64_t pos) override
    {
        unsetError();
        if (seekFailure != COxFileDevice::NoError) {
            setError(seekFailure, COxString("cannot seek"));
            return false;
        }
        at = pos;
        return true;
    }
    int64_t read(char* data, int64_t maxSize) override
    {
        const int64_t n = std::min<int64_t>(maxSize, int64_t(bytes.size()) - at);
        std::memcpy(data, bytes.data() + at, size_t(n));
        at += n;
        return n;
    }
    FileFlags fileFlags(FileFlags mask) override { return mask & (ExistsFlag | FileType | ReadOwnerPerm); }

    std::string bytes;
    int64_t at = 0;
    COxFileDevice::FileError seekFailure = COxFileDevice::NoError;
};

class EngineDevice : public COxFileDevice {
public:
    explicit EngineDevice(COxFileEngine* engine)
        : COxFileDevice(*new COxFileDevicePrivate)
    {
        static_cast<COxFileDevicePrivate*>(d_ptr)->fileEngine = engine;
    }
    bool open(OpenMode mode) override
    {
        return static_cast<COxFileDevicePrivate*>(d_ptr)->fileEngine->open(mode) && COxFileDevice::open(mode);
    }
};

TEST(OxFileEngine, FactoryGivesEveryNameTheGenericEngine)
{
    std::unique_ptr<Engine> engine(Engine::create(oxName("/some/where")));
    ASSERT_NE(dynamic_cast<COxGenericFileEngine*>(engine.get()), nullptr);
    EXPECT_EQ(str(engine->fileName()), "/some/where");
}

TEST(OxFileEngine, FileFlagsComeFromACachedStat)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    OxLogCapture capture;
    writeBytes(dir.file("f"), "x");
    ASSERT_EQ(chmod(dir.file("f").c_str(), 0640), 0);

    COxGenericFileEngine file(dir.name("f"));
    const Engine::FileFlags all = Engine::FlagsMask;
    EXPECT_EQ(file.fileFlags(all), Engine::FileType | Engine::ExistsFlag | 0x640u);
    EXPECT_EQ(file.fileFlags(Engine::DirectoryType | Engine::WriteOwnerPerm), Engine::WriteOwnerPerm);

    // A change behind the engine's back shows only on refresh.
    ASSERT_EQ(chmod(dir.file("f").c_str(), 0600), 0);
    EXPECT_EQ(file.fileFlags(Engine::PermsMask), 0x640u);
    EXPECT_EQ(file.fileFlags(Engine::PermsMask | Engine::Refresh), 0x600u);
    // A change made through the engine drops the cache.
    ASSERT_TRUE(file.setPermissions(0x400));
    EXPECT_EQ(file.fileFlags(Engine::PermsMask), 0x400u);

    COxGenericFileEngine directory(oxName(dir.path()));
    EXPECT_EQ(directory.fileFlags(Engine::TypesMask | Engine::ExistsFlag), Engine::DirectoryType | Engine::ExistsFlag);

    ASSERT_EQ(symlink("f", dir.file("link").c_str()), 0);
    COxGenericFileEngine link(dir.name("link"));
    EXPECT_EQ(link.fileFlags(Engine::TypesMask), Engine::FileType | Engine::LinkType);

    // A dangling link is a link to nothing; the failed stat is reported.
    ASSERT_EQ(symlink("nowhere", dir.file("dangling").c_str()), 0);
    COxGenericFileEngine dangling(dir.name("dangling"));
    EXPECT_EQ(dangling.fileFlags(all), Engine::LinkType);
    EXPECT_EQ(capture.count("stat() failed for '" + dir.file("dangling") + "'"), 1u);
}

TEST(OxFileEngine, AnotherEngineServesTheFileDevice)
{
    auto* engine = new StringEngine("line one\nline two\n");
    EngineDevice device(engine);
    ASSERT_TRUE(device.open(Io::ReadOnly));
    EXPECT_EQ(device.size(), 18);
    EXPECT_EQ(str(device.readLine()), "line one\n");
    EXPECT_EQ(device.pos(), 9);

    // Optional operations fail with the system's text for "not supported".
    EXPECT_FALSE(device.resize(3));
    EXPECT_EQ(device.error(), COxFileDevice::ResizeError);
    EXPECT_EQ(str(device.errorString()), str(OxErrnoText(ENOTSUP)));
    EXPECT_EQ(device.map(0, 4), nullptr);
    EXPECT_EQ(device.error(), COxFileDevice::UnspecifiedError);
    EXPECT_EQ(device.permissions(), uint32_t(COxFileDevice::ReadOwner));

    // An engine that cannot tell a position gives a position error; other
    // seek failures keep their code. A good seek clears the error.
    engine->seekFailure = COxFileDevice::UnspecifiedError;
    EXPECT_FALSE(device.seek(2));
    EXPECT_EQ(device.error(), COxFileDevice::PositionError);
    EXPECT_EQ(str(device.errorString()), "cannot seek");
    engine->seekFailure = COxFileDevice::ReadError;
    EXPECT_FALSE(device.seek(2));
    EXPECT_EQ(device.error(), COxFileDevice::ReadError);
    engine->seekFailure = COxFileDevice::NoError;
    EXPECT_TRUE(device.seek(14));
    EXPECT_EQ(device.error(), COxFileDevice::NoError);
    EXPECT_EQ(str(device.readAll()), "two\n");
}

TEST(OxFileEngine, FifoIsSequential)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    OxLogCapture capture;
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);

    COxFile fifo(dir.name("fifo"));
    EXPECT_TRUE(fifo.isSequential()); // known from the type while closed
    // Opened for reading and writing, a FIFO does not wait for a partner.
    ASSERT_TRUE(fifo.open(Io::ReadWrite));
    EXPECT_EQ(fifo.write("hello", 5), 5);
    EXPECT_TRUE(fifo.flush());
    EXPECT_EQ(str(fifo.read(5)), "hello");
    EXPECT_FALSE(fifo.seek(0));
    EXPECT_EQ(fifo.size(), 0);
    fifo.close();

    // The block copy does not apply to sequential files.
    OxTempDir shm("/dev/shm");
    struct stat here;
    struct stat there;
    if (!shm.isValid() || stat(dir.path().c_str(), &here) != 0 || stat(shm.path().c_str(), &there) != 0
        || here.st_dev == there.st_dev)
        GTEST_SKIP() << "no second file system at /dev/shm";
    EXPECT_FALSE(fifo.rename(shm.name("fifo")));
    EXPECT_EQ(fifo.error(), COxFileDevice::RenameError);
    EXPECT_EQ(str(fifo.errorString()), "Will not rename sequential file using block copy");
    EXPECT_TRUE(pathExists(dir.file("fifo")));
}

} // namespace
