// COxString numbers: formatting and parsing on 8-bit text (the routines
// behind the byte array's number members), widened or narrowed as Latin-1.
#include "core/text/oxstring.h"

#include "core/text/oxnumber_p.h"
#include "core/text/oxtextconvert.h"

#include <climits>

namespace {

// The Latin-1 narrowing of a unit range, zero-terminated as the parsers
// need it. Short text stays on the stack; longer text goes through a byte
// array.
class Latin1Text {
public:
    Latin1Text(const COxChar* data, int len)
    {
        if (!data || len <= 0) {
            m_local[0] = '\0';
            return;
        }
        if (len < int(sizeof m_local)) {
            OxUtf16ToLatin1(reinterpret_cast<uchar*>(m_local), reinterpret_cast<const ushort*>(data), len);
            m_local[len] = '\0';
            m_size = len;
            return;
        }
        m_heap = COxString::toLatin1_helper(data, len);
        if (m_heap.size() == len) {
            m_data = m_heap.constData();
            m_size = len;
        } else {
            m_local[0] = '\0'; // allocation failed: parse as empty text
        }
    }
    Latin1Text(const Latin1Text&) = delete;
    Latin1Text& operator=(const Latin1Text&) = delete;

    const char* data() const { return m_data; }
    int size() const { return m_size; }

private:
    char m_local[128];
    COxByteArray m_heap;
    const char* m_data = m_local;
    int m_size = 0;
};

} // namespace

COxString& COxString::setNum(long n, int base)
{
    char buf[SOxNumberText::IntegerBufferSize];
    return *this = fromLatin1_helper(buf, OxFormatSigned(buf, n, base));
}

COxString& COxString::setNum(ulong n, int base)
{
    char buf[SOxNumberText::IntegerBufferSize];
    return *this = fromLatin1_helper(buf, OxFormatUnsigned(buf, n, base));
}

COxString& COxString::setNum(double n, char format, int precision)
{
    char buf[SOxNumberText::FloatBufferSize];
    return *this = fromLatin1_helper(buf, OxFormatDouble(buf, n, format, precision));
}

COxString COxString::number(int n, int base)
{
    return number(long(n), base);
}

COxString COxString::number(uint n, int base)
{
    return number(ulong(n), base);
}

COxString COxString::number(long n, int base)
{
    COxString s;
    return s.setNum(n, base);
}

COxString COxString::number(ulong n, int base)
{
    COxString s;
    return s.setNum(n, base);
}

COxString COxString::number(double n, char format, int precision)
{
    COxString s;
    return s.setNum(n, format, precision);
}

long long COxString::toIntegral_helper(const COxChar* data, int len, bool* ok, int base)
{
    const Latin1Text text(data, len);
    return OxParseSigned(text.data(), text.size(), ok, base);
}

unsigned long long COxString::toIntegral_helper(const COxChar* data, uint len, bool* ok, int base)
{
    const Latin1Text text(data, len > uint(INT_MAX) ? 0 : int(len));
    return OxParseUnsigned(text.data(), text.size(), ok, base);
}

long long COxString::toLongLong(bool* ok, int base) const
{
    return toIntegral_helper(constData(), size(), ok, base);
}

unsigned long long COxString::toULongLong(bool* ok, int base) const
{
    return toIntegral_helper(constData(), uint(size()), ok, base);
}

long COxString::toLong(bool* ok, int base) const
{
    return toLongLong(ok, base);
}

ulong COxString::toULong(bool* ok, int base) const
{
    return toULongLong(ok, base);
}

int COxString::toInt(bool* ok, int base) const
{
    return OxNarrowInteger<int, long long>(toLongLong(ok, base), INT_MIN, INT_MAX, ok);
}

uint COxString::toUInt(bool* ok, int base) const
{
    return OxNarrowInteger<uint, unsigned long long>(toULongLong(ok, base), 0, UINT_MAX, ok);
}

short COxString::toShort(bool* ok, int base) const
{
    return OxNarrowInteger<short, long long>(toLongLong(ok, base), SHRT_MIN, SHRT_MAX, ok);
}

ushort COxString::toUShort(bool* ok, int base) const
{
    return OxNarrowInteger<ushort, unsigned long long>(toULongLong(ok, base), 0, USHRT_MAX, ok);
}

double COxString::toDouble(bool* ok) const
{
    const Latin1Text text(constData(), size());
    return OxParseDouble(text.data(), text.size(), ok);
}

float COxString::toFloat(bool* ok) const
{
    return OxNarrowFloat(toDouble(ok), ok);
}
