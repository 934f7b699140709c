#include "core/io/oxiodevice.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A device over a string, random-access or sequential. It keeps its own idea
// of where it stands, so a base class that forgets to seek it reads the wrong
// bytes, and it records the size of every read request.
class MemoryDevice : public COxIODevice {
public:
    explicit MemoryDevice(std::string content = std::string(), bool sequential = false)
        : bytes(std::move(content))
        , sequential(sequential)
    {
    }

    bool isSequential() const override { return sequential; }
    int64_t size() const override { return sequential ? COxIODevice::size() : int64_t(bytes.size()); }
    bool seek(int64_t pos) override
    {
        ++seeks;
        if (!COxIODevice::seek(pos))
            return false;
        at = pos;
        return true;
    }

    std::string bytes;
    bool sequential;
    int64_t at = 0;
    int seeks = 0;
    bool directLines = false; // readLineData reads the line itself
    std::vector<int64_t> asked;

protected:
    int64_t readData(char* data, int64_t maxSize) override
    {
        asked.push_back(maxSize);
        const int64_t n = std::max<int64_t>(0, std::min<int64_t>(maxSize, int64_t(bytes.size()) - at));
        std::memcpy(data, bytes.data() + at, size_t(n));
        at += n;
        return n;
    }
    int64_t readLineData(char* data, int64_t maxSize) override
    {
        if (!directLines)
            return COxIODevice::readLineData(data, maxSize);
        int64_t n = 0;
        while (n < maxSize && at < size()) {
            data[n] = bytes[size_t(at++)];
            if (data[n++] == '\n')
                break;
        }
        return n;
    }
    int64_t writeData(const char* data, int64_t size) override
    {
        if (bytes.size() < size_t(at))
            bytes.resize(size_t(at));
        bytes.replace(size_t(at), size_t(size), data, size_t(size));
        at += size;
        return size;
    }
};

std::string pattern(size_t n)
{
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i)
        s[i] = char('a' + (i * 7 + i / 251) % 26);
    return s;
}

TEST(OxIODevice, TextModeDropsCarriageReturnsInReadAndReadLine)
{
    MemoryDevice device("a\r\nb\r\r\nc");
    ASSERT_TRUE(device.open(COxIODevice::ReadOnly | COxIODevice::Text));
    char buf[16] = {};
    EXPECT_EQ(device.read(buf, 16), 5);
    EXPECT_EQ(std::string(buf, 5), "a\nb\nc");
    EXPECT_EQ(device.pos(), 8); // the position counts the bytes of the device
    ASSERT_TRUE(device.reset()); // one byte at a time takes a path of its own
    std::string bytes;
    char c;
    while (device.read(&c, 1) == 1)
        bytes += c;
    EXPECT_EQ(bytes, "a\nb\nc");

    // The room left by dropped carriage returns is filled by reading on.
    MemoryDevice leading("\r\r\rxyz");
    ASSERT_TRUE(leading.open(COxIODevice::ReadOnly | COxIODevice::Text));
    EXPECT_EQ(leading.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "xyz");

    MemoryDevice lines("a\r\nb");
    ASSERT_TRUE(lines.open(COxIODevice::ReadOnly | COxIODevice::Text));
    EXPECT_EQ(lines.readLine(buf, 16), 2);
    EXPECT_STREQ(buf, "a\n");
    EXPECT_EQ(lines.readLine(buf, 16), 1);
    EXPECT_EQ(lines.readLine(buf, 16), -1); // end of a random-access device
    EXPECT_STREQ(buf, "");

    // Without text mode the bytes come through untouched.
    ASSERT_TRUE(lines.reset());
    lines.setTextModeEnabled(false);
    EXPECT_EQ(lines.readLine(buf, 16), 3);
    EXPECT_STREQ(buf, "a\r\n");
}

TEST(OxIODevice, DeviceLineReaderMovesPositionAndForcesSeek)
{
    MemoryDevice device("one\r\ntwo\nthree");
    device.directLines = true;
    ASSERT_TRUE(device.open(COxIODevice::ReadOnly | COxIODevice::Text));
    char buf[32];
    EXPECT_EQ(device.readLine(buf, 32), 4); // CR LF turned into LF
    EXPECT_STREQ(buf, "one\n");
    EXPECT_EQ(device.pos(), 5);

    // The device position is unknown now: the next read seeks first.
    const int seeks = device.seeks;
    EXPECT_EQ(device.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "two");
    EXPECT_EQ(device.seeks, seeks + 1);

    // A line longer than the buffer is cut, zero-terminated.
    device.directLines = false;
    ASSERT_TRUE(device.seek(9));
    EXPECT_EQ(device.readLine(buf, 4), 3);
    EXPECT_STREQ(buf, "thr");
}

TEST(OxIODevice, PeekAndWriteKeepTheLogicalPosition)
{
    MemoryDevice device("hello world");
    ASSERT_TRUE(device.open(COxIODevice::ReadWrite));
    EXPECT_EQ(str(device.peek(5)), "hello");
    EXPECT_EQ(str(device.read(5)), "hello"); // the device is moved back first

    // After a peek the write lands at the logical position.
    ASSERT_TRUE(device.seek(0));
    EXPECT_EQ(str(device.peek(3)), "hel");
    EXPECT_EQ(device.write("J", 1), 1);
    EXPECT_EQ(device.pos(), 1);
    EXPECT_EQ(device.bytes, "Jello world");
    EXPECT_EQ(str(device.readAll()), "ello world");

    // Writing past the end grows the device; bytesAvailable never goes
    // negative when the position is beyond the size.
    ASSERT_TRUE(device.seek(20));
    EXPECT_EQ(device.bytesAvailable(), 0);
    EXPECT_EQ(device.write(COxByteArray("!")), 1);
    EXPECT_EQ(device.size(), 21);
}

TEST(OxIODevice, ReadLineArrayForms)
{
    std::string longLine = pattern(40000);
    MemoryDevice device("first\nsecond line\n" + longLine + "\nlast");
    ASSERT_TRUE(device.open(COxIODevice::ReadOnly));
    EXPECT_EQ(str(device.readLine()), "first\n");
    // maxSize counts the terminating zero, as in the raw form.
    EXPECT_EQ(str(device.readLine(3)), "se");
    EXPECT_EQ(device.pos(), 8);
    {
        OxLogCapture capture;
        EXPECT_TRUE(device.readLine(1).isEmpty());
        EXPECT_EQ(capture.count("Called with maxSize < 2"), 1u);
        EXPECT_EQ(device.pos(), 8);
    }
    EXPECT_EQ(str(device.readLine(0)), "cond line\n");
    EXPECT_EQ(str(device.readLine()), longLine + "\n"); // several 16384-byte steps
    EXPECT_EQ(str(device.readLine()), "last");
    EXPECT_TRUE(device.readLine().isEmpty());
}

TEST(OxIODevice, MisuseWarnsAndFails)
{
    OxLogCapture capture;
    MemoryDevice device("abc");
    char buf[8];

    // Closed.
    EXPECT_EQ(device.errorString(), COxString("Unknown error"));
    EXPECT_EQ(device.read(buf, 2), -1);
    EXPECT_EQ(device.write("x", 1), -1);
    EXPECT_EQ(capture.count("device not open"), 2u);
    EXPECT_FALSE(device.seek(1));
    device.setTextModeEnabled(true);
    EXPECT_EQ(capture.count("The device is not open"), 2u);
    EXPECT_FALSE(device.isTextModeEnabled());

    // Wrong direction.
    ASSERT_TRUE(device.open(COxIODevice::ReadOnly));
    EXPECT_EQ(device.write("x", 1), -1);
    EXPECT_EQ(capture.count("ReadOnly device"), 1u);
    device.close();
    ASSERT_TRUE(device.open(COxIODevice::WriteOnly));
    EXPECT_EQ(device.read(buf, 2), -1);
    EXPECT_EQ(capture.count("WriteOnly device"), 1u);
    device.close();

    // Bad sizes and positions.
    ASSERT_TRUE(device.open(COxIODevice::ReadWrite));
    capture.clear();
    EXPECT_EQ(device.read(buf, 0), 0);
    EXPECT_EQ(capture.size(), 0u);
    EXPECT_EQ(device.read(buf, -1), -1);
    EXPECT_TRUE(device.read(-5).isEmpty());
    EXPECT_EQ(device.peek(buf, -1), -1);
    EXPECT_TRUE(device.readLine(-1).isEmpty());
    EXPECT_EQ(device.write(buf, -1), -1);
    EXPECT_EQ(capture.count("Called with maxSize < 0"), 5u);
    EXPECT_EQ(device.readLine(buf, 1), -1);
    EXPECT_EQ(capture.count("Called with maxSize < 2"), 1u);
    ASSERT_TRUE(device.seek(2));
    EXPECT_FALSE(device.seek(-1));
    EXPECT_EQ(capture.count("COxIODevice::seek: Invalid pos: -1"), 1u);
    EXPECT_EQ(device.pos(), 2);
    EXPECT_EQ(device.read(nullptr, 4), -1);
    EXPECT_EQ(device.write(nullptr, 4), -1);

    // A request beyond the array limit is clamped, and reads what there is.
    EXPECT_EQ(str(device.read(int64_t(3) << 30)), "c");
    EXPECT_EQ(capture.count("maxSize argument exceeds COxByteArray size limit"), 1u);

    device.close();
    EXPECT_EQ(device.pos(), 0);
}

TEST(OxIODevice, SequentialDeviceReadsInChunksAndRefusesSeekAndPeek)
{
    OxLogCapture capture;
    const std::string content = pattern(50000);
    MemoryDevice device(content, true);
    ASSERT_TRUE(device.open(COxIODevice::ReadOnly));

    char buf[4];
    EXPECT_FALSE(device.seek(0));
    EXPECT_EQ(capture.count("Cannot call seek on a sequential device"), 1u);
    EXPECT_EQ(device.peek(buf, 4), -1);
    EXPECT_EQ(capture.count("Peeking data for sequential device is not supported!"), 1u);
    EXPECT_EQ(device.size(), 0);

    EXPECT_EQ(str(device.readAll()), content);
    ASSERT_FALSE(device.asked.empty());
    for (int64_t asked : device.asked)
        EXPECT_EQ(asked, 16384);

    // At the end a sequential line read gives the device's 0, not -1.
    EXPECT_EQ(device.readLine(buf, 4), 0);
    EXPECT_TRUE(device.readAll().isEmpty());
}

} // namespace
