// UTF-8 decoding, one-shot and streaming with chunk borders chosen by the
// fuzzer, against a plain reference decoder of the string's rules; and the
// encoder, which must give back every input that decoded cleanly.
#include "core/text/oxstring.h"
#include "core/text/oxtextcodec.h"
#include "fuzzsupport.h"

#include <string>
#include <vector>

namespace {

// One replacement unit for the lead byte of an invalid or cut-off sequence;
// decoding resumes at the byte after it.
std::u16string referenceDecode(const uint8_t* s, size_t n, char16_t replacement)
{
    std::u16string out;
    size_t i = (n >= 3 && s[0] == 0xEF && s[1] == 0xBB && s[2] == 0xBF) ? 3 : 0;
    while (i < n) {
        const uint8_t lead = s[i];
        int length = 0;
        uint32_t value = 0, minimum = 0;
        if (lead < 0x80) {
            out += char16_t(lead);
            ++i;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2, value = lead & 0x1F, minimum = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3, value = lead & 0x0F, minimum = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4, value = lead & 0x07, minimum = 0x10000;
        }
        bool valid = length != 0 && i + size_t(length) <= n;
        for (int k = 1; valid && k < length; ++k) {
            valid = (s[i + size_t(k)] & 0xC0) == 0x80;
            value = (value << 6) | (s[i + size_t(k)] & 0x3F);
        }
        valid = valid && value >= minimum && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
        if (!valid) {
            out += replacement;
            ++i;
        } else if (value >= 0x10000) {
            out += char16_t(0xD800 + ((value - 0x10000) >> 10));
            out += char16_t(0xDC00 | (value & 0x3FF));
            i += size_t(length);
        } else {
            out += char16_t(value);
            i += size_t(length);
        }
    }
    return out;
}

std::u16string units(const COxString& s)
{
    return std::u16string(reinterpret_cast<const char16_t*>(s.constData()), size_t(s.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);
    const bool invalidToNull = in.flag();
    std::vector<size_t> chunks(in.range(0, 6));
    for (size_t& c : chunks)
        c = in.range(0, 9);
    const char* text = reinterpret_cast<const char*>(in.data());
    const size_t n = in.remaining();

    // One shot.
    bool hadInvalid = false;
    const COxString once = COxString::fromUtf8_helper(text, int(n), &hadInvalid);
    const std::u16string expected = referenceDecode(in.data(), n, u'\xFFFD');
    OXFUZZ_CHECK(units(once) == expected);

    // Streaming: the chunks the fuzzer chose, then the rest; bytes still
    // pending at the end decode alone as a cut-off sequence.
    std::unique_ptr<SOxConverterState> state =
        OxTextCodecCreateState("UTF-8", invalidToNull ? SOxConverterState::ConvertInvalidToNull : 0);
    OXFUZZ_CHECK(state && state->mib == OxMibUtf8);
    std::u16string streamed;
    size_t at = 0;
    for (size_t c : chunks) {
        c = std::min(c, n - at);
        streamed += units(OxTextCodecToUnicode(state.get(), text + at, int(c)));
        at += c;
    }
    streamed += units(OxTextCodecToUnicode(state.get(), text + at, int(n - at)));
    OXFUZZ_CHECK(state->pendingCount >= 0 && state->pendingCount <= SOxConverterState::MaxPending);
    const std::string tail(reinterpret_cast<const char*>(state->pending), size_t(state->pendingCount));
    streamed += referenceDecode(reinterpret_cast<const uint8_t*>(tail.data()), tail.size(),
                                invalidToNull ? u'\0' : u'\xFFFD');
    OXFUZZ_CHECK(streamed == referenceDecode(in.data(), n, invalidToNull ? u'\0' : u'\xFFFD'));

    // Encoding gives back clean input (less a leading byte order mark), and
    // any decoded text survives a round trip.
    const COxByteArray encoded = once.toUtf8();
    const bool bom = n >= 3 && memcmp(text, "\xEF\xBB\xBF", 3) == 0;
    if (!hadInvalid)
        OXFUZZ_CHECK(std::string(encoded.constData(), size_t(encoded.size())) == std::string(text + (bom ? 3 : 0), n - (bom ? 3 : 0)));
    OXFUZZ_CHECK(hadInvalid == (expected.find(u'\xFFFD') != std::u16string::npos &&
                                referenceDecode(in.data(), n, u'\0') != expected));
    const COxString again = COxString::fromUtf8(encoded);
    if (!(encoded.size() >= 3 && memcmp(encoded.constData(), "\xEF\xBB\xBF", 3) == 0))
        OXFUZZ_CHECK(again == once);
    return 0;
}
