#include "core/text/oxtextconvert.h"

#include "core/oxneon.h"
#include "core/text/oxchar.h"

namespace {

constexpr ushort kQuestionMark = '?';

// Number of leading lanes whose mask byte is zero, for an 8-lane byte mask
// holding 0x00 or 0xff per lane (lane 0 first).
inline int leadingClearLanes(uint8x8_t mask)
{
    const uint64_t bits = vget_lane_u64(vreinterpret_u64_u8(mask), 0);
    return bits ? __builtin_ctzll(bits) / 8 : 8;
}

inline uchar* putUtf8(uchar* out, uint cp)
{
    if (cp < 0x80) {
        *out++ = uchar(cp);
    } else if (cp < 0x800) {
        *out++ = uchar(0xc0 | (cp >> 6));
        *out++ = uchar(0x80 | (cp & 0x3f));
    } else if (cp < 0x10000) {
        *out++ = uchar(0xe0 | (cp >> 12));
        *out++ = uchar(0x80 | ((cp >> 6) & 0x3f));
        *out++ = uchar(0x80 | (cp & 0x3f));
    } else {
        *out++ = uchar(0xf0 | (cp >> 18));
        *out++ = uchar(0x80 | ((cp >> 12) & 0x3f));
        *out++ = uchar(0x80 | ((cp >> 6) & 0x3f));
        *out++ = uchar(0x80 | (cp & 0x3f));
    }
    return out;
}

// One multi-byte sequence starting at a non-ASCII lead byte.
enum class Utf8Step { Valid, Invalid, Incomplete };

struct Utf8Sequence {
    Utf8Step step;
    int length;   // bytes of a valid sequence
    uint value;   // its code point
};

Utf8Sequence decodeSequence(const uchar* p, const uchar* end)
{
    const uchar lead = *p;
    int extra;
    uint value;
    uint minimum;
    if (lead >= 0xc2 && lead <= 0xdf) {
        extra = 1; value = lead & 0x1f; minimum = 0x80;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        extra = 2; value = lead & 0x0f; minimum = 0x800;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        extra = 3; value = lead & 0x07; minimum = 0x10000;
    } else {
        return { Utf8Step::Invalid, 1, 0 };
    }

    const int available = int(end - p) - 1;
    const int present = available < extra ? available : extra;
    for (int k = 1; k <= present; ++k) {
        if ((p[k] & 0xc0) != 0x80)
            return { Utf8Step::Invalid, 1, 0 };
        value = (value << 6) | (p[k] & 0x3f);
    }
    if (present < extra) {
        // Cut off by the end of the input. The prefix may already rule the
        // sequence out: overlong, surrogate or beyond U+10FFFF.
        if (present >= 1) {
            const uchar second = p[1];
            if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f)
                || (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second > 0x8f))
                return { Utf8Step::Invalid, 1, 0 };
        }
        return { Utf8Step::Incomplete, 1, 0 };
    }
    if (value < minimum || COxChar::isSurrogate(value) || value > 0x10ffff)
        return { Utf8Step::Invalid, 1, 0 };
    return { Utf8Step::Valid, extra + 1, value };
}


} // namespace

void OxLatin1ToUtf16(ushort* dst, const uchar* src, int len)
{
    int i = 0;
    for (; i + 16 <= len; i += 16) {
        const uint8x16_t bytes = vld1q_u8(src + i);
        vst1q_u16(dst + i, vmovl_u8(vget_low_u8(bytes)));
        vst1q_u16(dst + i + 8, vmovl_u8(vget_high_u8(bytes)));
    }
    if (i + 8 <= len) {
        vst1q_u16(dst + i, vmovl_u8(vld1_u8(src + i)));
        i += 8;
    }
    for (; i < len; ++i)
        dst[i] = src[i];
}

void OxUtf16ToLatin1(uchar* dst, const ushort* src, int len)
{
    // Both halves are loaded before anything is stored, and the store ends
    // before the next load begins, so dst may alias the start of src.
    const uint16x8_t latin1Max = vdupq_n_u16(0xff);
    const uint16x8_t question = vdupq_n_u16(kQuestionMark);
    int i = 0;
    for (; i + 16 <= len; i += 16) {
        uint16x8_t lo = vld1q_u16(src + i);
        uint16x8_t hi = vld1q_u16(src + i + 8);
        lo = vbslq_u16(vcgtq_u16(lo, latin1Max), question, lo);
        hi = vbslq_u16(vcgtq_u16(hi, latin1Max), question, hi);
        vst1q_u8(dst + i, vcombine_u8(vmovn_u16(lo), vmovn_u16(hi)));
    }
    if (i + 8 <= len) {
        uint16x8_t v = vld1q_u16(src + i);
        v = vbslq_u16(vcgtq_u16(v, latin1Max), question, v);
        vst1_u8(dst + i, vmovn_u16(v));
        i += 8;
    }
    for (; i < len; ++i)
        dst[i] = src[i] > 0xff ? uchar(kQuestionMark) : uchar(src[i]);
}

OxUtf8DecodeResult OxUtf8ToUtf16(ushort* dst, const uchar* src, int len, int flags, ushort replacement)
{
    OxUtf8DecodeResult result;
    if (!src || len <= 0)
        return result;
    const uchar* p = src;
    const uchar* const end = src + len;
    ushort* out = dst;
    if ((flags & OxUtf8SkipByteOrderMark) && len >= 3 && p[0] == 0xef && p[1] == 0xbb && p[2] == 0xbf)
        p += 3;

    const uint8x8_t highBit = vdup_n_u8(0x80);
    while (p < end) {
        // ASCII runs, 8 bytes at a time. A block with a non-ASCII byte is
        // still widened whole (there is room: every byte has its unit), but
        // only its ASCII prefix counts.
        while (end - p >= 8 && *p < 0x80) {
            const uint8x8_t bytes = vld1_u8(p);
            vst1q_u16(out, vmovl_u8(bytes));
            const int ascii = leadingClearLanes(vtst_u8(bytes, highBit));
            p += ascii;
            out += ascii;
            if (ascii < 8)
                break;
        }
        if (p == end)
            break;
        if (*p < 0x80) {
            *out++ = *p++;
            continue;
        }
        const Utf8Sequence seq = decodeSequence(p, end);
        if (seq.step == Utf8Step::Valid) {
            if (seq.value >= 0x10000) {
                *out++ = COxChar::highSurrogate(seq.value);
                *out++ = COxChar::lowSurrogate(seq.value);
            } else {
                *out++ = ushort(seq.value);
            }
            p += seq.length;
            continue;
        }
        if (seq.step == Utf8Step::Incomplete && (flags & OxUtf8StopAtIncompleteTail))
            break;
        *out++ = replacement;
        result.invalid = true;
        ++p;
    }
    result.written = int(out - dst);
    result.consumed = int(p - src);
    return result;
}

int OxUtf16ToUtf8(uchar* dst, const ushort* src, int len)
{
    if (!src || len <= 0)
        return 0;
    const ushort* p = src;
    const ushort* const end = src + len;
    uchar* out = dst;
    const uint16x8_t asciiMax = vdupq_n_u16(0x7f);
    while (p < end) {
        // ASCII runs, 8 units at a time. Every unit still to come needs at
        // least one byte, so a whole block may be stored even when only its
        // prefix is ASCII.
        while (end - p >= 8 && *p < 0x80) {
            const uint16x8_t units = vld1q_u16(p);
            vst1_u8(out, vmovn_u16(units));
            const int ascii = leadingClearLanes(vmovn_u16(vcgtq_u16(units, asciiMax)));
            p += ascii;
            out += ascii;
            if (ascii < 8)
                break;
        }
        if (p == end)
            break;
        const ushort u = *p++;
        if (!COxChar::isSurrogate(u)) {
            out = putUtf8(out, u);
        } else if (COxChar::isHighSurrogate(u) && p < end && COxChar::isLowSurrogate(*p)) {
            out = putUtf8(out, COxChar::surrogateToUcs4(u, *p));
            ++p;
        } else {
            *out++ = uchar(kQuestionMark);
        }
    }
    return int(out - dst);
}

int64_t OxUtf8Length(const ushort* src, int len)
{
    int64_t bytes = 0;
    for (int i = 0; i < len; ++i) {
        const ushort u = src[i];
        if (u < 0x80)
            bytes += 1;
        else if (u < 0x800)
            bytes += 2;
        else if (!COxChar::isSurrogate(u))
            bytes += 3;
        else if (COxChar::isHighSurrogate(u) && i + 1 < len && COxChar::isLowSurrogate(src[i + 1])) {
            bytes += 4;
            ++i;
        } else {
            bytes += 1;
        }
    }
    return bytes;
}

int OxUtf16ToUcs4(uint* dst, const ushort* src, int len)
{
    int count = 0;
    for (int i = 0; i < len; ++i) {
        const ushort u = src[i];
        if (!COxChar::isSurrogate(u)) {
            dst[count++] = u;
        } else if (COxChar::isHighSurrogate(u) && i + 1 < len && COxChar::isLowSurrogate(src[i + 1])) {
            dst[count++] = COxChar::surrogateToUcs4(u, src[i + 1]);
            ++i;
        } else {
            // A high surrogate followed by anything else: the next unit is
            // read normally on the next round.
            dst[count++] = 0xfffd;
        }
    }
    return count;
}
