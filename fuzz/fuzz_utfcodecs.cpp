// The UTF-16 and UTF-32 byte converters: decoding in fuzzer-chosen chunks
// through one state must equal a plain reference of the rules (a leading
// mark settles or confirms the byte order and is dropped; UTF-32 values
// that are surrogates or beyond U+10FFFF become U+FFFD; a partial unit
// waits in the state, or becomes U+FFFD without one); and every string must
// survive encoding and decoding in each byte order.
#include "core/text/oxstring.h"
#include "core/text/oxtextcodec.h"
#include "fuzzsupport.h"

#include <string>
#include <vector>

namespace {

const OxByteOrder kOrders[] = {OxDefaultByteOrder, OxBigEndian, OxLittleEndian};

uint32_t unitAt(const uint8_t* p, int width, bool big)
{
    uint32_t v = 0;
    for (int k = 0; k < width; ++k)
        v |= uint32_t(p[big ? width - 1 - k : k]) << (8 * k);
    return v;
}

std::u16string referenceDecode(const uint8_t* s, size_t n, OxByteOrder order, int width, bool stateless)
{
    const size_t w = size_t(width);
    bool big = order == OxBigEndian;
    size_t i = 0;
    if (n >= w) {
        if (order == OxDefaultByteOrder && unitAt(s, width, true) == 0xFEFF)
            big = true, i = w;
        else if (order == OxDefaultByteOrder ? unitAt(s, width, false) == 0xFEFF : unitAt(s, width, big) == 0xFEFF)
            i = w;
    }
    std::u16string out;
    for (; i + w <= n; i += w) {
        const uint32_t v = unitAt(s + i, width, big);
        if (width == 2) {
            out += char16_t(v);
        } else if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) {
            out += u'\xFFFD';
        } else if (v >= 0x10000) {
            out += char16_t(0xD800 + ((v - 0x10000) >> 10));
            out += char16_t(0xDC00 | (v & 0x3FF));
        } else {
            out += char16_t(v);
        }
    }
    if (stateless && n % w)
        out += u'\xFFFD';
    return out;
}

std::u16string units(const COxString& s)
{
    return std::u16string(reinterpret_cast<const char16_t*>(s.constData()), size_t(s.size()));
}

typedef COxString (*Decoder)(const char*, int, SOxConverterState*, OxByteOrder);
typedef COxByteArray (*Encoder)(const COxChar*, int, SOxConverterState*, OxByteOrder);

void checkCodec(int width, Decoder decode, Encoder encode, OxByteOrder order, const std::vector<size_t>& chunks,
                const uint8_t* s, size_t n)
{
    const char* bytes = reinterpret_cast<const char*>(s);
    OXFUZZ_CHECK(units(decode(bytes, int(n), nullptr, order)) == referenceDecode(s, n, order, width, true));

    SOxConverterState state;
    std::u16string streamed;
    size_t at = 0;
    for (size_t c : chunks) {
        c = std::min(c, n - at);
        streamed += units(decode(bytes + at, int(c), &state, order));
        at += c;
    }
    streamed += units(decode(bytes + at, int(n - at), &state, order));
    OXFUZZ_CHECK(streamed == referenceDecode(s, n, order, width, false));
    OXFUZZ_CHECK(size_t(state.pendingCount) == n % size_t(width));
    OXFUZZ_CHECK(n % size_t(width) == 0 || memcmp(state.pending, s + n - n % size_t(width), n % size_t(width)) == 0);

    // Round trip of the bytes taken as UTF-16 units; UTF-32 has no room for
    // a lone surrogate, which the UCS-4 conversion replaces likewise.
    const COxString text(reinterpret_cast<const COxChar*>(s), int(n / 2));
    const COxByteArray encoded = encode(text.constData(), text.size(), nullptr, order);
    const COxString back = decode(encoded.constData(), encoded.size(), nullptr, order);
    if (width == 2) {
        OXFUZZ_CHECK(back == text);
    } else {
        const std::vector<uint> ucs4 = text.toUcs4();
        OXFUZZ_CHECK(back == COxString::fromUcs4(ucs4.data(), int(ucs4.size())));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);
    const OxByteOrder order = kOrders[in.range(0, 2)];
    std::vector<size_t> chunks(in.range(0, 6));
    for (size_t& c : chunks)
        c = in.range(0, 9);
    std::vector<uint8_t> text(in.data(), in.data() + in.remaining()); // aligned for the units
    checkCodec(2, OxUtf16ToUnicode, OxUtf16FromUnicode, order, chunks, text.data(), text.size());
    checkCodec(4, OxUtf32ToUnicode, OxUtf32FromUnicode, order, chunks, text.data(), text.size());
    return 0;
}
