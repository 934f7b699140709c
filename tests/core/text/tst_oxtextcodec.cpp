#include "core/text/oxtextcodec.h"

#include "oxlogcapture.h"
#include "texttestsupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The bytes of a literal, embedded zeros included.
template <size_t N>
COxByteArray raw(const char (&s)[N])
{
    return COxByteArray(s, int(N - 1));
}

std::unique_ptr<SOxConverterState> utf8State(uint32_t flags = 0)
{
    return OxTextCodecCreateState("UTF-8", flags);
}

// Feeds data to a fresh UTF-8 state in chunks cut at the given positions.
COxString decodeInChunks(const COxByteArray& data, const std::vector<int>& cuts, SOxConverterState* state)
{
    COxString text;
    int from = 0;
    for (size_t k = 0; k <= cuts.size(); ++k) {
        const int to = k < cuts.size() ? cuts[k] : data.size();
        text += OxTextCodecToUnicode(state, data.constData() + from, to - from);
        from = to;
    }
    return text;
}

TEST(OxTextCodec, NamesAndStates)
{
    EXPECT_EQ(OxTextCodecMibForName("utf-8"), 106);
    for (const char* name : {"ISO-8859-1", "iso8859-1", "cp819", "ibm819", "iso-ir-100", "CsIsoLatin1"})
        EXPECT_EQ(OxTextCodecMibForName(name), 4) << name;
    for (const char* name : {"latin1", "utf8", "utf-8 ", "", "utf-16", "iso-8859-15"})
        EXPECT_EQ(OxTextCodecMibForName(name), 0) << name;
    EXPECT_EQ(OxTextCodecMibForName(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(OxTextCodecMibForName(COxByteArray()), 0);

    EXPECT_EQ(OxTextCodecCreateState("latin1"), nullptr);
    const auto state = OxTextCodecCreateState("IBM819", 0x80000000u);
    ASSERT_NE(state, nullptr);
    EXPECT_TRUE(state->mib == 4 && state->flags == 0x80000000u && state->pendingCount == 0);
}

TEST(OxTextCodec, Latin1AndUnsupportedIdentifiers)
{
    const auto latin1 = OxTextCodecCreateState("iso-8859-1");
    EXPECT_EQ(OxTextCodecToUnicode(latin1.get(), "caf\xe9\xff", 5), units(u"caf\u00e9\u00ff"));
    EXPECT_FALSE(OxTextCodecToUnicode(latin1.get(), "", 0).isNull());

    OxLogCapture log;
    SOxConverterState other;
    other.mib = 2252;
    EXPECT_TRUE(OxTextCodecToUnicode(&other, "abc", 3).isNull());
    EXPECT_EQ(log.count("Unsupported mib!"), 1u);
    EXPECT_TRUE(OxTextCodecToUnicode(nullptr, "abc", 3).isNull());
}

// Split at every byte position (and fed byte by byte), UTF-8 decodes exactly
// as in one go: BOM at the start, sequences of every length, invalid bytes.
TEST(OxTextCodec, Utf8StreamingMatchesOneShot)
{
    const COxByteArray samples[] = {
        raw("\xef\xbb\xbf" "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80z"),
        raw("\xc3\xa9\xef\xbb\xbfy\xf4\x8f\xbf\xbf\xdf\xbf\xe0\xa0\x80"),
        raw("\xc0\x80\xed\xa0\x80\xf4\x90\x80\x80\x80\xe2\x82 \xf0\x9f\x98|\xff\xc3\xa9"),
        raw("0123456789abcdef\xe2\x82\xac" "0123456789abcdef\xf0\x9f\x98\x80"),
    };
    for (const COxByteArray& data : samples) {
        const COxString expected = COxString::fromUtf8(data);
        for (int cut = 0; cut <= data.size(); ++cut) {
            for (int cut2 = cut; cut2 <= data.size(); ++cut2) {
                const auto state3 = utf8State();
                ASSERT_EQ(decodeInChunks(data, {cut, cut2}, state3.get()), expected) << cut << ", " << cut2;
            }
        }
        std::vector<int> every;
        for (int i = 1; i < data.size(); ++i)
            every.push_back(i);
        const auto state = utf8State();
        EXPECT_EQ(decodeInChunks(data, every, state.get()), expected);
    }

    // A cut-off tail waits in the state, three bytes at most.
    const auto state = utf8State();
    EXPECT_TRUE(OxTextCodecToUnicode(state.get(), "\xf0\x9f\x98", 3).isEmpty());
    EXPECT_EQ(state->pendingCount, 3);
    EXPECT_EQ(OxTextCodecToUnicode(state.get(), "\x80!", 2), units(u"\U0001F600!"));
    EXPECT_EQ(state->pendingCount, 0);
    // A byte order mark after the start of the stream is a character.
    EXPECT_EQ(OxTextCodecToUnicode(state.get(), "\xef\xbb\xbf", 3), units(u"\ufeff"));
}

TEST(OxTextCodec, Utf8ReplacementFlag)
{
    const auto plain = utf8State();
    EXPECT_EQ(OxTextCodecToUnicode(plain.get(), "a\xff\xc0\x80", 4), units(u"a\ufffd\ufffd\ufffd"));
    const auto nulls = utf8State(SOxConverterState::ConvertInvalidToNull);
    EXPECT_EQ(OxTextCodecToUnicode(nulls.get(), "a\xff\xc0\x80", 4), units(std::u16string(u"a\0\0\0", 4)));
    // A held sequence that turns out invalid is replaced the same way.
    EXPECT_TRUE(OxTextCodecToUnicode(nulls.get(), "\xe2\x82", 2).isEmpty());
    EXPECT_EQ(OxTextCodecToUnicode(nulls.get(), "b", 1), units(std::u16string(u"\0\0b", 3)));
}

TEST(OxTextCodec, Utf16BytesAndByteOrderMarks)
{
    const COxString text = units(u"A\u20ac\U0001F600");
    SOxConverterState state;
    EXPECT_EQ(OxUtf16FromUnicode(text.constData(), text.size(), &state), raw("\xff\xfe" "A\0\xac\x20\x3d\xd8\x00\xde"));
    EXPECT_TRUE(state.flags & SOxConverterState::HeaderDone);
    // The mark is written once per state.
    EXPECT_EQ(OxUtf16FromUnicode(text.constData(), 1, &state), raw("A\0"));
    SOxConverterState big;
    EXPECT_EQ(OxUtf16FromUnicode(text.constData(), 2, &big, OxBigEndian), raw("\xfe\xff\0A\x20\xac"));
    // Without a state every call starts a stream.
    EXPECT_EQ(OxUtf16FromUnicode(text.constData(), 1, nullptr, OxLittleEndian), raw("\xff\xfe" "A\0"));
    EXPECT_EQ(OxUtf16FromUnicode(text.constData(), 0, nullptr), raw("\xff\xfe"));

    // Reading: a leading mark settles the order and is dropped.
    EXPECT_EQ(OxUtf16ToUnicode("\xfe\xff\0A\x20\xac", 6, nullptr), units(u"A\u20ac"));
    EXPECT_EQ(OxUtf16ToUnicode("A\0", 2, nullptr), units(u"A"));
    EXPECT_EQ(OxUtf16ToUnicode(std::string("\0A", 2).data(), 2, nullptr, OxBigEndian), units(u"A"));
    // A mark of the other order than the one asked for is a character.
    EXPECT_EQ(OxUtf16ToUnicode("\xff\xfe" "A\0", 4, nullptr, OxBigEndian), units(u"\ufffe\u4100"));
    // Without a state an odd byte becomes a replacement.
    EXPECT_EQ(OxUtf16ToUnicode("A\0B", 3, nullptr), units(u"A\ufffd"));
}

// Round trips through UTF-16 and UTF-32 bytes, read back in chunks of odd
// sizes, in both byte orders, with the marks written once.
TEST(OxTextCodec, Utf16AndUtf32RoundTrips)
{
    const COxString text = units(u"plain \u00e9\u20ac \U0001F600\U0010FFFF end");
    for (OxByteOrder order : {OxDefaultByteOrder, OxBigEndian, OxLittleEndian}) {
        for (int width : {2, 4}) {
            SOxConverterState writer;
            COxByteArray data;
            for (int from = 0; from < text.size();) {
                // Never split a surrogate pair between UTF-32 writes.
                int n = from + 5 < text.size() ? 5 : text.size() - from;
                if (text.at(from + n - 1).isHighSurrogate())
                    ++n;
                data += width == 2 ? OxUtf16FromUnicode(text.constData() + from, n, &writer, order)
                                   : OxUtf32FromUnicode(text.constData() + from, n, &writer, order);
                from += n;
            }
            const int unitsOut = width == 2 ? text.size() : int(text.toUcs4().size());
            ASSERT_EQ(data.size(), (unitsOut + 1) * width);
            for (int chunk : {1, 2, 3, 5, 7}) {
                SOxConverterState reader;
                COxString back;
                for (int from = 0; from < data.size(); from += chunk) {
                    const int n = from + chunk < data.size() ? chunk : data.size() - from;
                    back += width == 2 ? OxUtf16ToUnicode(data.constData() + from, n, &reader, order)
                                       : OxUtf32ToUnicode(data.constData() + from, n, &reader, order);
                    ASSERT_LT(reader.pendingCount, width);
                }
                EXPECT_EQ(back, text) << "width " << width << " order " << order << " chunk " << chunk;
                EXPECT_EQ(reader.pendingCount, 0);
            }
        }
    }
}

TEST(OxTextCodec, Utf32Values)
{
    const COxString pair = units(u"\U0001F600");
    EXPECT_EQ(OxUtf32FromUnicode(pair.constData(), 2, nullptr), raw("\xff\xfe\0\0\0\xf6\x01\0"));
    SOxConverterState big;
    EXPECT_EQ(OxUtf32FromUnicode(pair.constData(), 2, &big, OxBigEndian),
              raw("\0\0\xfe\xff\0\x01\xf6\0"));
    EXPECT_EQ(OxUtf32FromUnicode(pair.constData(), 1, &big, OxBigEndian), raw("\0\0\xff\xfd"));

    const std::string invalid("\0\0\x11\0\0\xd8\0\0A\0\0\0", 12); // 0x110000, U+D800, 'A'
    EXPECT_EQ(OxUtf32ToUnicode(invalid.data(), 12, nullptr, OxLittleEndian), units(u"\ufffd\ufffdA"));
    SOxConverterState nulls;
    nulls.flags = SOxConverterState::ConvertInvalidToNull;
    EXPECT_EQ(OxUtf32ToUnicode(invalid.data(), 12, &nulls, OxLittleEndian), units(std::u16string(u"\0\0A", 3)));
    EXPECT_EQ(OxUtf32ToUnicode("\0\0\xfe\xff\0\x01\xf6\0", 8, nullptr), pair);
    EXPECT_EQ(OxUtf32ToUnicode("A\0\0\0B", 5, nullptr), units(u"A\ufffd"));
}

// Arbitrary bytes in arbitrary chunks never crash a decoder. For UTF-8 the
// stream plus whatever is still held equals the one-shot decoding.
TEST(OxTextCodec, ArbitraryBytesAreSafe)
{
    Lcg rng{0x12345678u};
    auto next = [&rng] { return rng.next(); };
    for (int round = 0; round < 2000; ++round) {
        const int len = int(next() % 40);
        COxByteArray data(len, Ox::Uninitialized);
        for (int i = 0; i < len; ++i) {
            // Lean towards bytes that start or continue sequences.
            const uint32_t r = next();
            data[i] = char((r & 1) ? 0x80 | ((r >> 8) & 0x7f) : (r >> 8));
        }
        std::vector<int> cuts;
        for (int at = int(next() % 5); at < len; at += 1 + int(next() % 6))
            cuts.push_back(at);

        const auto state = utf8State();
        COxString streamed = decodeInChunks(data, cuts, state.get());
        ASSERT_LE(state->pendingCount, 3);
        streamed += COxString::fromUtf8(reinterpret_cast<const char*>(state->pending), state->pendingCount);
        ASSERT_EQ(streamed, COxString::fromUtf8(data)) << data.toHex(' ').constData();

        SOxConverterState s16;
        SOxConverterState s32;
        const OxByteOrder order = OxByteOrder(next() % 3);
        int from = 0;
        for (size_t k = 0; k <= cuts.size(); ++k) {
            const int to = k < cuts.size() ? cuts[k] : len;
            const COxString a = OxUtf16ToUnicode(data.constData() + from, to - from, &s16, order);
            const COxString b = OxUtf32ToUnicode(data.constData() + from, to - from, &s32, order);
            ASSERT_LE(a.size(), (to - from + 1) / 2 + 1);
            ASSERT_LE(b.size(), 2 * ((to - from + 3) / 4 + 1));
            from = to;
        }
        ASSERT_LE(s16.pendingCount, 1);
        ASSERT_LE(s32.pendingCount, 3);
        ASSERT_EQ(s16.pendingCount, len % 2);
        ASSERT_EQ(s32.pendingCount, len % 4);
        const COxString whole = OxUtf16ToUnicode(data.constData(), len, nullptr, order);
        const uchar b0 = len >= 2 ? uchar(data[0]) : 0;
        const uchar b1 = len >= 2 ? uchar(data[1]) : 0;
        const bool mark = (b0 == 0xfe && b1 == 0xff && order != OxLittleEndian)
                       || (b0 == 0xff && b1 == 0xfe && order != OxBigEndian);
        ASSERT_EQ(whole.size(), len / 2 - (mark ? 1 : 0) + len % 2);
    }
}

} // namespace
