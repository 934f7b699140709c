#include "core/io/oxcompress.h"
#include "core/io/oxcompress_p.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

const uchar* bytes(const COxByteArray& a)
{
    return reinterpret_cast<const uchar*>(a.constData());
}

COxByteArray withStoredLength(COxByteArray packed, uint32_t length)
{
    for (int i = 0; i < 4; ++i)
        packed[i] = char(length >> (24 - 8 * i));
    return packed;
}

// The fake zlib calls record the capacities asked for and give the queued
// answers, then zlib's own.
std::vector<uLong> g_capacities;
std::vector<int> g_answers;

int fakeAnswer(uLongf* destLen)
{
    g_capacities.push_back(*destLen);
    if (g_answers.empty())
        return Z_OK;
    const int answer = g_answers.front();
    g_answers.erase(g_answers.begin());
    return answer;
}

int fakeCompress(Bytef* dest, uLongf* destLen, const Bytef* source, uLong sourceLen, int level)
{
    const int answer = fakeAnswer(destLen);
    return answer == Z_OK ? compress2(dest, destLen, source, sourceLen, level) : answer;
}

int fakeUncompress(Bytef* dest, uLongf* destLen, const Bytef* source, uLong sourceLen)
{
    const int answer = fakeAnswer(destLen);
    return answer == Z_OK ? uncompress(dest, destLen, source, sourceLen) : answer;
}

TEST(OxCompress, RoundTrips)
{
    OxLogCapture capture;
    const COxByteArray empty = OxCompress(nullptr, 0);
    EXPECT_EQ(str(empty), std::string(4, '\0'));
    EXPECT_TRUE(OxUncompress(empty).isEmpty() && !OxUncompress(empty).isNull());

    const COxByteArray small(300, 'x');
    COxByteArray packed = OxCompress(small);
    EXPECT_EQ(packed.left(4).toHex(), "0000012c");
    EXPECT_EQ(OxCompress(small, 42), packed); // an unknown level is the default
    EXPECT_EQ(OxUncompress(packed), small);

    std::mt19937 random(7);
    COxByteArray noise(1 << 20, Ox::Uninitialized);
    for (char& c : noise)
        c = char(random());
    for (const COxByteArray& input : {noise, COxByteArray(1 << 20, '\0')}) {
        packed = OxCompress(input, 9);
        const COxByteArray back = OxUncompress(packed);
        EXPECT_EQ(back, input);
        EXPECT_EQ(back.constData()[back.size()], '\0');
    }
    EXPECT_LT(packed.size(), 2000); // the zeros
    EXPECT_EQ(capture.size(), 0u);
}

TEST(OxCompress, StoredLengthOnlySizesTheFirstAttempt)
{
    const COxByteArray text = COxByteArray("resource ").repeated(1000);
    const COxByteArray packed = OxCompress(text);
    for (uint32_t stored : {0u, 1u, 4000u, 9000u, 1u << 30})
        EXPECT_EQ(OxUncompress(withStoredLength(packed, stored)), text) << stored;

    // Too small: the buffer doubles until the stream fits.
    g_capacities.clear();
    EXPECT_EQ(OxUncompress_helper(bytes(withStoredLength(packed, 2000)), packed.size(), fakeUncompress), text);
    EXPECT_EQ(g_capacities, (std::vector<uLong>{2000, 4000, 8000, 16000}));
    // Beyond what the stream can reach: that much is never asked for.
    g_capacities.clear();
    EXPECT_EQ(OxUncompress_helper(bytes(withStoredLength(packed, 0x7fff0000)), packed.size(), fakeUncompress), text);
    EXPECT_EQ(g_capacities, std::vector<uLong>{uLong(OxInflateBound(packed.size() - 4))});
}

TEST(OxCompress, FailuresWarnAndGiveNothing)
{
    const COxByteArray text("some text, some text, some text");
    const COxByteArray packed = OxCompress(text);
    COxByteArray flipped = packed;
    flipped[6] = char(flipped[6] ^ 0x55);
    const std::pair<COxByteArray, const char*> cases[] = {
        {COxByteArray("abc"), "OxUncompress: Input data is corrupted"},
        {COxByteArray("\1\0\0\0", 4), "OxUncompress: Input data is corrupted"},
        {withStoredLength(packed, 0x7fffffe7), "OxUncompress: Input data is corrupted"},
        {flipped, "OxUncompress: Z_DATA_ERROR: Input data is corrupted"},
        {packed.left(packed.size() - 3), "OxUncompress: Z_DATA_ERROR: Input data is corrupted"},
    };
    for (const auto& c : cases) {
        OxLogCapture capture;
        EXPECT_TRUE(OxUncompress(c.first).isNull());
        EXPECT_EQ(capture.size(), 1u);
        EXPECT_EQ(capture.count(c.second), 1u) << c.second;
    }

    OxLogCapture capture;
    EXPECT_TRUE(OxUncompress(nullptr, 10).isNull() && OxCompress(nullptr, 10).isNull());
    // What zlib rarely answers. compress2: a full buffer doubles it, no
    // memory gives up, anything else returns the buffer as it stands.
    const COxByteArray input(1000, 'a');
    const uchar* in = bytes(input);
    g_capacities.clear();
    g_answers = {Z_BUF_ERROR, Z_BUF_ERROR};
    EXPECT_EQ(OxUncompress(OxCompress_helper(in, input.size(), 5, fakeCompress)), input);
    EXPECT_EQ(g_capacities, (std::vector<uLong>{1023, 2046, 4092}));
    g_answers = {Z_MEM_ERROR};
    EXPECT_TRUE(OxCompress_helper(in, input.size(), 5, fakeCompress).isNull());
    g_answers = {Z_STREAM_ERROR};
    EXPECT_EQ(OxCompress_helper(in, input.size(), 5, fakeCompress).size(), 1027);
    // uncompress: an odd answer is tried again with the same buffer, but not
    // for ever.
    g_capacities.clear();
    g_answers = {Z_STREAM_ERROR, Z_VERSION_ERROR};
    EXPECT_EQ(OxUncompress_helper(bytes(packed), packed.size(), fakeUncompress), text);
    EXPECT_EQ(g_capacities, std::vector<uLong>(3, 31));
    g_answers = std::vector<int>(100, Z_STREAM_ERROR);
    EXPECT_TRUE(OxUncompress_helper(bytes(packed), packed.size(), fakeUncompress).isNull());
    g_answers = {Z_MEM_ERROR};
    EXPECT_TRUE(OxUncompress_helper(bytes(packed), packed.size(), fakeUncompress).isNull());
    g_answers.clear();
    for (const char* warning : {"OxUncompress: Data is null", "OxCompress: Data is null",
                                "OxCompress: Z_MEM_ERROR: Not enough memory", "OxUncompress: Input data is corrupted",
                                "OxUncompress: Z_MEM_ERROR: Not enough memory"})
        EXPECT_EQ(capture.count(warning), 1u) << warning;
}

} // namespace
