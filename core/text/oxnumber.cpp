#include "core/text/oxnumber_p.h"

#include "core/text/oxbytearray.h"

#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static_assert(sizeof(long) == 8 && sizeof(long long) == 8, "the number members assume 64-bit long");

namespace {

// Restores the caller's errno when the parser is done with it.
class ErrnoGuard {
public:
    ErrnoGuard() : m_saved(errno) { errno = 0; }
    ~ErrnoGuard() { errno = m_saved; }
    ErrnoGuard(const ErrnoGuard&) = delete;
    ErrnoGuard& operator=(const ErrnoGuard&) = delete;

private:
    int m_saved;
};

inline const char* skipSpace(const char* p, const char* end)
{
    while (p < end && COxByteArray::isSpace(uchar(*p)))
        ++p;
    return p;
}

inline bool onlySpaceLeft(const char* p, const char* end) { return skipSpace(p, end) == end; }

inline void setOk(bool* ok, bool value)
{
    if (ok)
        *ok = value;
}

// The conversions snprintf accepts for a double.
char floatConversion(char format)
{
    switch (format) {
    case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
        return format;
    default:
        return 'g';
    }
}

} // namespace

int OxFormatUnsigned(char* out, uint64_t n, int base)
{
    // Digits are made from the least significant end, right to left, into a
    // scratch buffer. The digit count is bounded by the buffer, so base 1
    // (which never shrinks n) ends with the buffer instead of looping.
    constexpr int kDigits = SOxNumberText::IntegerBufferSize - 2;
    char scratch[kDigits];
    const uint64_t b = base == 0 ? 10u : uint64_t(int64_t(base));
    int i = kDigits;
    do {
        const uint64_t v = n % b;
        scratch[--i] = char(v < 10 ? '0' + v : 'a' + (v - 10));
        n /= b;
    } while (n != 0 && i > 0);
    const int len = kDigits - i;
    std::memcpy(out, scratch + i, size_t(len));
    out[len] = '\0';
    return len;
}

int OxFormatSigned(char* out, int64_t n, int base)
{
    if (n < 0 && base == 10) {
        out[0] = '-';
        return 1 + OxFormatUnsigned(out + 1, 0u - uint64_t(n), 10);
    }
    return OxFormatUnsigned(out, uint64_t(n), base);
}

int OxFormatDouble(char* out, double n, char format, int precision)
{
    // No double has more than 1074 digits after the point (767 significant
    // ones), so a larger precision adds only zeros: capping it changes no
    // output but spares the C library from preparing gigabytes of them.
    constexpr int kMaxPrecision = 1100;
    if (precision > kMaxPrecision)
        precision = kMaxPrecision;
    char pattern[SOxNumberText::FormatBufferSize];
    const char conversion = floatConversion(format);
    if (precision >= 0)
        std::snprintf(pattern, sizeof pattern, "%%.%d%c", precision, conversion);
    else
        std::snprintf(pattern, sizeof pattern, "%%%c", conversion);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    int len = std::snprintf(out, SOxNumberText::FloatBufferSize, pattern, n);
#pragma GCC diagnostic pop
    if (len < 0) {
        out[0] = '\0';
        return 0;
    }
    if (len > SOxNumberText::FloatBufferSize - 1)
        len = SOxNumberText::FloatBufferSize - 1;
    return len;
}

int64_t OxParseSigned(const char* text, int len, bool* ok, int base)
{
    const char* const end = text + len;
    const char* const begin = skipSpace(text, end);
    ErrnoGuard guard;
    char* stop = nullptr;
    const long long v = std::strtoll(begin, &stop, base);
    const bool failed = (v == 0 || v == LLONG_MIN || v == LLONG_MAX) && (errno != 0 || stop == begin);
    if (failed || !onlySpaceLeft(stop, end)) {
        setOk(ok, false);
        return 0;
    }
    setOk(ok, true);
    return v;
}

uint64_t OxParseUnsigned(const char* text, int len, bool* ok, int base)
{
    const char* const end = text + len;
    const char* const begin = skipSpace(text, end);
    ErrnoGuard guard;
    char* stop = nullptr;
    const unsigned long long v = std::strtoull(begin, &stop, base);
    const bool failed = (v == 0 || v == ULLONG_MAX) && (errno != 0 || stop == begin);
    if (failed || !onlySpaceLeft(stop, end)) {
        setOk(ok, false);
        return 0;
    }
    setOk(ok, true);
    return v;
}

double OxParseDouble(const char* text, int len, bool* ok)
{
    const char* const end = text + len;
    const char* const begin = skipSpace(text, end);
    if (begin == end) {
        setOk(ok, false);
        return 0.0;
    }
    ErrnoGuard guard;
    char* stop = nullptr;
    const double v = std::strtod(begin, &stop);
    // The one range error kept is a gradual underflow: the C library may
    // flag a denormal result although it is the nearest value.
    const bool denormal = v != 0.0 && std::isfinite(v) && std::fabs(v) < DBL_MIN;
    if ((errno != 0 && !(errno == ERANGE && denormal)) || !onlySpaceLeft(stop, end)) {
        setOk(ok, false);
        return 0.0;
    }
    setOk(ok, true);
    return v;
}

float OxNarrowFloat(double value, bool* ok)
{
    if (std::isfinite(value) && std::fabs(value) > double(FLT_MAX)) {
        setOk(ok, false);
        return 0.0f;
    }
    return float(value);
}

// ---------------------------------------------------------------------------
// COxByteArray numbers

COxByteArray& COxByteArray::setNum(long n, int base)
{
    char buf[SOxNumberText::IntegerBufferSize];
    return *this = COxByteArray(buf, OxFormatSigned(buf, n, base));
}

COxByteArray& COxByteArray::setNum(ulong n, int base)
{
    char buf[SOxNumberText::IntegerBufferSize];
    return *this = COxByteArray(buf, OxFormatUnsigned(buf, n, base));
}

COxByteArray& COxByteArray::setNum(double n, char format, int precision)
{
    char buf[SOxNumberText::FloatBufferSize];
    return *this = COxByteArray(buf, OxFormatDouble(buf, n, format, precision));
}

COxByteArray COxByteArray::number(long n, int base)
{
    COxByteArray s;
    return s.setNum(n, base);
}

COxByteArray COxByteArray::number(ulong n, int base)
{
    COxByteArray s;
    return s.setNum(n, base);
}

COxByteArray COxByteArray::number(double n, char format, int precision)
{
    COxByteArray s;
    return s.setNum(n, format, precision);
}

const char* COxByteArray::terminatedData(COxByteArray* holder) const
{
    // Raw data carries no terminator of its own: parse a copy.
    if (!d->isRawData())
        return constData();
    *holder = COxByteArray(constData(), d->size);
    return holder->constData();
}

long long COxByteArray::toLongLong(bool* ok, int base) const
{
    COxByteArray holder;
    return OxParseSigned(terminatedData(&holder), d->size, ok, base);
}

unsigned long long COxByteArray::toULongLong(bool* ok, int base) const
{
    COxByteArray holder;
    return OxParseUnsigned(terminatedData(&holder), d->size, ok, base);
}

long COxByteArray::toLong(bool* ok, int base) const { return toLongLong(ok, base); }

ulong COxByteArray::toULong(bool* ok, int base) const { return toULongLong(ok, base); }

int COxByteArray::toInt(bool* ok, int base) const
{
    return OxNarrowInteger<int, long long>(toLongLong(ok, base), INT_MIN, INT_MAX, ok);
}

uint COxByteArray::toUInt(bool* ok, int base) const
{
    return OxNarrowInteger<uint, unsigned long long>(toULongLong(ok, base), 0, UINT_MAX, ok);
}

short COxByteArray::toShort(bool* ok, int base) const
{
    return OxNarrowInteger<short, long long>(toLongLong(ok, base), SHRT_MIN, SHRT_MAX, ok);
}

ushort COxByteArray::toUShort(bool* ok, int base) const
{
    return OxNarrowInteger<ushort, unsigned long long>(toULongLong(ok, base), 0, USHRT_MAX, ok);
}

double COxByteArray::toDouble(bool* ok) const
{
    COxByteArray holder;
    return OxParseDouble(terminatedData(&holder), d->size, ok);
}

float COxByteArray::toFloat(bool* ok) const { return OxNarrowFloat(toDouble(ok), ok); }
