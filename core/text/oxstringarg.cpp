// COxString::arg(): placeholder substitution.
#include "core/text/oxstring.h"

#include "core/log/oxdebug.h"
#include "core/text/oxnumber_p.h"
#include "core/text/oxstringarg_p.h"
#include "core/text/oxtextconvert.h"

#include <climits>

void OxStringArgMissing(const char* text)
{
    oxWarning() << text;
}

namespace {

// The escapes of one string: the lowest escape number present, how often it
// occurs and how many units those occurrences span.
struct ArgEscapes {
    int lowest = 100;
    int occurrences = 0;
    int spanned = 0;
};

inline bool isDecimalDigit(ushort u) { return u >= '0' && u <= '9'; }

// The length of the escape starting at p (2 or 3 units) with its number in
// *number, or 0 when p starts none. "%L1" starts none: the 'L' is not a
// digit, so such text is copied as it stands.
inline int escapeAt(const ushort* p, const ushort* end, int* number)
{
    if (p[0] != '%' || end - p < 2 || !isDecimalDigit(p[1]))
        return 0;
    if (end - p >= 3 && isDecimalDigit(p[2])) {
        *number = (p[1] - '0') * 10 + (p[2] - '0');
        return 3;
    }
    *number = p[1] - '0';
    return 2;
}

ArgEscapes findArgEscapes(const COxString& s)
{
    ArgEscapes e;
    const ushort* p = reinterpret_cast<const ushort*>(s.constData());
    const ushort* const end = p + s.size();
    while (p < end) {
        int number = 0;
        const int length = escapeAt(p, end, &number);
        if (!length) {
            ++p;
            continue;
        }
        if (number < e.lowest)
            e = ArgEscapes{number, 0, 0};
        if (number == e.lowest) {
            ++e.occurrences;
            e.spanned += length;
        }
        p += length;
    }
    return e;
}

// Replaces every escape numbered e.lowest with a, padded with fill to
// |fieldWidth| units. The finder and this walk read escapes with the same
// escapeAt, so the result length computed up front is exact.
COxString substitute(const COxString& s, const ArgEscapes& e, int fieldWidth, const COxString& a, COxChar fill)
{
    const int64_t width = fieldWidth < 0 ? -int64_t(fieldWidth) : int64_t(fieldWidth);
    const int64_t piece = width > a.size() ? width : int64_t(a.size());
    const int64_t total = int64_t(s.size()) - e.spanned + int64_t(e.occurrences) * piece;
    if (total > INT_MAX)
        return COxString();
    COxString result(int(total), Ox::Uninitialized);
    if (result.size() != total)
        return COxString();
    if (total == 0)
        return result;

    const int pad = int(piece - a.size());
    const ushort* const argUnits = reinterpret_cast<const ushort*>(a.constData());
    const ushort fillUnit = fill.unicode();
    const ushort* p = reinterpret_cast<const ushort*>(s.constData());
    const ushort* const end = p + s.size();
    ushort* out = reinterpret_cast<ushort*>(result.data());
    while (p < end) {
        int number = 0;
        const int length = escapeAt(p, end, &number);
        if (!length || number != e.lowest) {
            // Copy up to the next '%' (an escape of another number is
            // copied whole).
            const int step = length ? length : 1;
            for (int k = 0; k < step; ++k)
                *out++ = *p++;
            continue;
        }
        if (fieldWidth > 0)
            for (int k = 0; k < pad; ++k)
                *out++ = fillUnit;
        for (int k = 0; k < a.size(); ++k)
            *out++ = argUnits[k];
        if (fieldWidth < 0)
            for (int k = 0; k < pad; ++k)
                *out++ = fillUnit;
        p += length;
    }
    return result;
}

// A formatted number as the argument. A negative number padded with '0' to
// a wider positive width takes its zeros after the minus sign.
COxString numberArgument(const char* text, int len, int fieldWidth, COxChar fill)
{
    if (len < 1 || text[0] != '-' || fill != COxChar('0') || fieldWidth <= len)
        return COxString::fromLatin1_helper(text, len);
    COxString padded(fieldWidth, COxChar('0'));
    if (padded.size() != fieldWidth)
        return COxString();
    ushort* out = reinterpret_cast<ushort*>(padded.data());
    out[0] = '-';
    OxLatin1ToUtf16(out + fieldWidth - (len - 1), reinterpret_cast<const uchar*>(text + 1), len - 1);
    return padded;
}

void warnMissing(const char* head, const COxString& s, const char* separator, const COxByteArray& argument)
{
    COxByteArray message(head);
    message += s.toLocal8Bit();
    message += separator;
    message += argument;
    OxStringArgMissing(message.constData());
}

} // namespace

COxString COxString::arg(const COxString& a, int fieldWidth, COxChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(*this);
    if (!e.occurrences) {
        warnMissing("COxString::arg: Argument missing: ", *this, ", ", a.toLocal8Bit());
        return *this;
    }
    return substitute(*this, e, fieldWidth, a, fillChar);
}

COxString COxString::arg(long a, int fieldWidth, int base, COxChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(*this);
    if (!e.occurrences) {
        warnMissing("COxString::arg: Argument missing:", *this, ",", COxByteArray::number(a));
        return *this;
    }
    char text[SOxNumberText::IntegerBufferSize];
    const int len = OxFormatSigned(text, a, base);
    return substitute(*this, e, fieldWidth, numberArgument(text, len, fieldWidth, fillChar), fillChar);
}

COxString COxString::arg(ulong a, int fieldWidth, int base, COxChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(*this);
    if (!e.occurrences) {
        warnMissing("COxString::arg: Argument missing:", *this, ",", COxByteArray::number(a));
        return *this;
    }
    char text[SOxNumberText::IntegerBufferSize];
    const int len = OxFormatUnsigned(text, a, base);
    return substitute(*this, e, fieldWidth, fromLatin1_helper(text, len), fillChar);
}

COxString COxString::arg(double a, int fieldWidth, char format, int precision, COxChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(*this);
    if (!e.occurrences) {
        warnMissing("COxString::arg: Argument missing: ", *this, ", ", COxByteArray::number(a, 'g', -1));
        return *this;
    }
    char text[SOxNumberText::FloatBufferSize];
    const int len = OxFormatDouble(text, a, format, precision);
    return substitute(*this, e, fieldWidth, numberArgument(text, len, fieldWidth, fillChar), fillChar);
}

COxString COxString::arg(COxChar a, int fieldWidth, COxChar fillChar) const
{
    return arg(COxString(a), fieldWidth, fillChar);
}

COxString COxString::arg(char a, int fieldWidth, COxChar fillChar) const
{
    return arg(COxString(COxChar(a)), fieldWidth, fillChar);
}
