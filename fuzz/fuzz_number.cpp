// Number parsing and formatting. Text from the fuzzer is parsed in every
// base by the string and the byte array, which must agree, and the narrow
// types must accept exactly the 64-bit values that fit them; whatever
// parses must format back to text that parses to the same value. Binary
// values from the fuzzer are formatted in every base and format and parsed
// back.
#include "core/text/oxbytearray.h"
#include "core/text/oxstring.h"
#include "fuzzsupport.h"

#include <climits>
#include <cmath>
#include <cstring>

namespace {

const char kFormats[] = {'e', 'E', 'f', 'g', 'G'};

template <typename Narrow, typename Wide>
void checkNarrowing(Narrow narrow, bool narrowOk, Wide wide, bool wideOk, Wide lo, Wide hi)
{
    const bool fits = wideOk && wide >= lo && wide <= hi;
    OXFUZZ_CHECK(narrowOk == fits);
    OXFUZZ_CHECK(Wide(narrow) == (fits ? wide : 0));
}

void checkParse(const COxString& s, const COxByteArray& bytes, int base)
{
    bool ok = false, okBytes = false, narrowOk = false;
    const long long v = s.toLongLong(&ok, base);
    OXFUZZ_CHECK(v == bytes.toLongLong(&okBytes, base) && ok == okBytes);
    OXFUZZ_CHECK(ok || v == 0);
    const int i = s.toInt(&narrowOk, base);
    checkNarrowing(i, narrowOk, v, ok, (long long)INT_MIN, (long long)INT_MAX);
    const short h = s.toShort(&narrowOk, base);
    checkNarrowing(h, narrowOk, v, ok, (long long)SHRT_MIN, (long long)SHRT_MAX);
    if (ok && base >= 2)
        OXFUZZ_CHECK(COxString::number(v, base).toULongLong(nullptr, base) == (unsigned long long)v);
    if (ok && base == 10)
        OXFUZZ_CHECK(COxString::number(v, 10).toLongLong(nullptr, 10) == v);

    const unsigned long long u = s.toULongLong(&ok, base);
    OXFUZZ_CHECK(u == bytes.toULongLong(&okBytes, base) && ok == okBytes);
    OXFUZZ_CHECK(ok || u == 0);
    const uint ui = s.toUInt(&narrowOk, base);
    checkNarrowing(ui, narrowOk, u, ok, 0ull, (unsigned long long)UINT_MAX);
    const ushort uh = s.toUShort(&narrowOk, base);
    checkNarrowing(uh, narrowOk, u, ok, 0ull, (unsigned long long)USHRT_MAX);
    if (ok && base >= 2)
        OXFUZZ_CHECK(COxString::number(u, base).toULongLong(nullptr, base) == u);
}

void checkDouble(const COxString& s, const COxByteArray& bytes)
{
    bool ok = false, okBytes = false;
    const double d = s.toDouble(&ok);
    const double db = bytes.toDouble(&okBytes);
    OXFUZZ_CHECK(ok == okBytes && memcmp(&d, &db, sizeof d) == 0);
    OXFUZZ_CHECK(ok ? std::isfinite(d) : d == 0.0);
    if (ok) {
        bool back = false;
        OXFUZZ_CHECK(COxString::number(d, 'g', 17).toDouble(&back) == d && back);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);

    // Binary values formatted and parsed back.
    uint64_t bits = uint64_t(in.u32()) << 32 | in.u32();
    const int base = int(in.range(2, 36));
    OXFUZZ_CHECK(COxString::number((unsigned long long)bits, base).toULongLong(nullptr, base) == bits);
    OXFUZZ_CHECK(COxString::number((long long)bits, 10).toLongLong(nullptr, 10) == (long long)bits);
    double d;
    memcpy(&d, &bits, sizeof d);
    const char format = kFormats[in.range(0, 4)];
    const int precision = int(in.range(0, 40)) - 1;
    const COxString text = COxString::number(d, format, precision);
    OXFUZZ_CHECK(text.size() <= 127 && text == COxString::fromLatin1(COxByteArray::number(d, format, precision)));
    if (std::isfinite(d)) {
        bool ok = false;
        const double back = COxString::number(d, 'g', 17).toDouble(&ok);
        OXFUZZ_CHECK(ok && back == d); // subnormals pass as a gradual underflow
    }

    // Text parsed in a base the fuzzer picks, and in base 0 and 10.
    const int textBase = int(in.range(0, 36));
    const COxByteArray bytes(reinterpret_cast<const char*>(in.data()), int(in.remaining()));
    const COxString s = COxString::fromLatin1(bytes);
    for (int b : {textBase, 0, 10, 16})
        checkParse(s, bytes, b);
    checkDouble(s, bytes);
    return 0;
}
