// arg() with hostile format strings, widths and fill characters, for every
// argument type, against a plain reference of the substitution rules:
// escapes are '%' and one or two digits, the lowest number present is
// replaced everywhere, the argument is padded to |width| and never cut, a
// negative number padded with '0' takes its zeros after the sign, and a
// string without escapes comes back unchanged with a warning.
#include "core/text/oxstring.h"
#include "fuzzsupport.h"

#include <climits>
#include <string>

namespace {

const char kFormats[] = {'e', 'E', 'f', 'g', 'G'};

bool isDigit(char16_t c) { return c >= '0' && c <= '9'; }

// Length of the escape at i (0, 2 or 3) and its number.
size_t escapeAt(const std::u16string& s, size_t i, int* number)
{
    if (s[i] != '%' || i + 1 >= s.size() || !isDigit(s[i + 1]))
        return 0;
    if (i + 2 < s.size() && isDigit(s[i + 2])) {
        *number = (s[i + 1] - '0') * 10 + (s[i + 2] - '0');
        return 3;
    }
    *number = s[i + 1] - '0';
    return 2;
}

struct Expected {
    bool missing = false;  // no escape: unchanged, with a warning
    bool overflow = false; // longer than any string: the null string
    bool huge = false;     // possible, but too large to build here: not called
    std::u16string text;
    bool call() const { return !huge; }
};

// argLength is a's length, or longer for a zero-padded number too long to
// build here (such a result is never built either).
Expected substitute(const std::u16string& s, const std::u16string& a, int fieldWidth, char16_t fill,
                    long long argLength = -1)
{
    if (argLength < 0)
        argLength = (long long)a.size();
    Expected e;
    int lowest = 100, number = 0;
    long long occurrences = 0, spanned = 0;
    for (size_t i = 0; i < s.size();) {
        const size_t length = escapeAt(s, i, &number);
        if (length && number < lowest)
            lowest = number, occurrences = 0, spanned = 0;
        if (length && number == lowest)
            ++occurrences, spanned += (long long)length;
        i += length ? length : 1;
    }
    if (lowest == 100) {
        e.missing = true;
        e.text = s;
        return e;
    }
    const long long width = fieldWidth < 0 ? -(long long)fieldWidth : fieldWidth;
    const long long piece = std::max(width, argLength);
    const long long total = (long long)s.size() - spanned + occurrences * piece;
    e.overflow = total > INT_MAX;
    e.huge = !e.overflow && total > (1 << 22);
    if (e.overflow || e.huge)
        return e;
    const std::u16string pad(size_t(piece) - a.size(), fill);
    for (size_t i = 0; i < s.size();) {
        const size_t length = escapeAt(s, i, &number);
        if (length && number == lowest) {
            e.text += fieldWidth > 0 ? pad + a : a + pad;
            i += length;
        } else {
            const size_t step = length ? length : 1;
            e.text.append(s, i, step);
            i += step;
        }
    }
    return e;
}

// The number argument: zeros after the minus sign when asked for.
Expected substituteNumber(const std::u16string& s, std::u16string n, int fieldWidth, char16_t fill)
{
    if (n.empty() || n[0] != '-' || fill != '0' || fieldWidth <= int(n.size()))
        return substitute(s, n, fieldWidth, fill);
    if (fieldWidth > (1 << 22))
        return substitute(s, n, fieldWidth, fill, fieldWidth);
    n.insert(1, size_t(fieldWidth) - n.size(), u'0');
    return substitute(s, n, fieldWidth, fill);
}

std::u16string units(const COxString& s)
{
    return std::u16string(reinterpret_cast<const char16_t*>(s.constData()), size_t(s.size()));
}

int hostileWidth(oxfuzz::Input& in)
{
    switch (in.range(0, 7)) {
    case 0: return INT_MIN;
    case 1: return INT_MAX;
    case 2: return (1 << 30) + int(in.range(0, 3));
    case 3: return -(1 << 30) - int(in.range(0, 3));
    default: return int(in.range(0, 160)) - 80;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);
    const uint32_t kind = in.range(0, 4);
    const int width = hostileWidth(in);
    const char16_t fill = in.flag() ? u'0' : char16_t(in.range(0, 0xffff));
    const COxChar fillChar{ushort(fill)};

    std::u16string argument;
    COxString result;
    const size_t before = oxfuzz::QuietLog::lines();
    const uint32_t argLength = in.range(0, 12);
    std::u16string format;
    // The format: bytes as Latin-1, with the fuzzer's pick of wide units.
    for (size_t taken = 0, n = in.range(0, 64); taken < n && in.remaining(); ++taken)
        format += in.flag() ? char16_t(in.range(0, 0xffff)) : char16_t(in.byte());
    const COxString s(reinterpret_cast<const COxChar*>(format.data()), int(format.size()));

    Expected e;
    switch (kind) {
    case 0: { // a string
        for (uint32_t k = 0; k < argLength; ++k)
            argument += char16_t(in.range(0, 0xffff));
        e = substitute(format, argument, width, fill);
        if (e.call())
            result = s.arg(COxString(reinterpret_cast<const COxChar*>(argument.data()), int(argument.size())), width,
                           fillChar);
        break;
    }
    case 1:
    case 2: { // a signed or unsigned integer in some base
        const uint64_t v = uint64_t(in.u32()) << 32 | in.u32();
        const int base = int(in.range(2, 36));
        argument = kind == 1 ? units(COxString::number((long)v, base)) : units(COxString::number((ulong)v, base));
        e = substituteNumber(format, argument, width, fill);
        if (e.call())
            result = kind == 1 ? s.arg((long)v, width, base, fillChar) : s.arg((ulong)v, width, base, fillChar);
        break;
    }
    case 3: { // a double
        const uint64_t bits = uint64_t(in.u32()) << 32 | in.u32();
        double d;
        memcpy(&d, &bits, sizeof d);
        const char f = kFormats[in.range(0, 4)];
        const int precision = int(in.range(0, 30)) - 1;
        argument = units(COxString::number(d, f, precision));
        e = substituteNumber(format, argument, width, fill);
        if (e.call())
            result = s.arg(d, width, f, precision, fillChar);
        break;
    }
    default: { // one character
        const char c = char(in.byte());
        e = substitute(format, std::u16string(1, char16_t(uchar(c))), width, fill);
        if (e.call())
            result = s.arg(c, width, fillChar);
        break;
    }
    }
    if (e.huge)
        return 0;
    OXFUZZ_CHECK(e.overflow ? result.isNull() : units(result) == e.text);
    OXFUZZ_CHECK(oxfuzz::QuietLog::lines() - before == (e.missing ? 1u : 0u));
    return 0;
}
