#include "core/text/oxtextcodec.h"

#include "core/log/oxdebug.h"
#include "core/text/oxchar.h"
#include "core/text/oxtextconvert.h"

#include <climits>
#include <cstring>
#include <new>

namespace {

const char* const kLatin1Names[] = {"iso-8859-1", "iso8859-1", "cp819", "ibm819", "iso-ir-100", "csisolatin1"};

constexpr ushort kByteOrderMark = 0xfeff;
constexpr ushort kReplacement = 0xfffd;

inline ushort replacementFor(const SOxConverterState* state)
{
    return state && (state->flags & SOxConverterState::ConvertInvalidToNull) ? 0 : kReplacement;
}

inline int pendingOf(const SOxConverterState* state)
{
    if (!state || state->pendingCount <= 0)
        return 0;
    return state->pendingCount < SOxConverterState::MaxPending ? state->pendingCount : SOxConverterState::MaxPending;
}

// A string of capacity units to decode into; finished() cuts it to what was
// written (the empty string when nothing was).
class DecodeBuffer {
public:
    explicit DecodeBuffer(int64_t capacity)
    {
        if (capacity > 0 && capacity <= INT_MAX) {
            COxString s(int(capacity), Ox::Uninitialized);
            if (s.size() == capacity) {
                m_string = s;
                m_units = reinterpret_cast<ushort*>(m_string.data());
            }
        }
    }
    // False when the room could not be had (or none was asked for).
    bool isValid() const { return m_units != nullptr; }
    ushort* units() { return m_units; }
    COxString finished(int written)
    {
        if (written <= 0)
            return COxString("");
        m_string.resize(written);
        return m_string;
    }

private:
    COxString m_string;
    ushort* m_units = nullptr;
};

// The bytes of one stream chunk after those still waiting in the state.
class ChunkBytes {
public:
    ChunkBytes(const SOxConverterState* state, const uchar* bytes, int len)
        : m_held(pendingOf(state)), m_bytes(bytes), m_len(len)
    {
        if (m_held)
            std::memcpy(m_pending, state->pending, size_t(m_held));
    }
    int size() const { return m_held + m_len; }
    uchar operator[](int i) const { return i < m_held ? m_pending[i] : m_bytes[i - m_held]; }
    // Leaves the bytes from position from on waiting in the state.
    void keepFrom(int from, SOxConverterState* state) const
    {
        int count = size() - from;
        if (count > SOxConverterState::MaxPending)
            count = SOxConverterState::MaxPending;
        for (int k = 0; k < count; ++k)
            state->pending[k] = (*this)[from + k];
        state->pendingCount = count;
    }

private:
    int m_held;
    uchar m_pending[SOxConverterState::MaxPending] = {};
    const uchar* m_bytes;
    int m_len;
};

// UTF-8 in streaming form. A cut-off tail waits in the state. Pending bytes
// are completed from the head of the new chunk in a small buffer; after
// that the chunk itself is decoded in place.
COxString decodeUtf8(SOxConverterState* state, const uchar* src, int len)
{
    const int held = pendingOf(state);
    DecodeBuffer out(int64_t(held) + len);
    if (!out.isValid())
        return held + len == 0 ? COxString("") : COxString();
    const ushort replacement = replacementFor(state);
    int flags = OxUtf8StopAtIncompleteTail;
    if (!(state->flags & SOxConverterState::HeaderDone))
        flags |= OxUtf8SkipByteOrderMark;

    int written = 0;
    int from = 0; // bytes of src already decoded
    if (held) {
        // A sequence is at most four bytes, so four bytes settle the held
        // one; what follows it in the small buffer is decoded as well.
        uchar head[4];
        const int take = len < 4 - held ? len : 4 - held;
        std::memcpy(head, state->pending, size_t(held));
        std::memcpy(head + held, src, size_t(take));
        const OxUtf8DecodeResult r = OxUtf8ToUtf16(out.units(), head, held + take, flags, replacement);
        if (r.consumed == 0) {
            // Still cut off: the whole chunk was too short to finish it.
            std::memcpy(state->pending, head, size_t(held + take));
            state->pendingCount = held + take;
            return out.finished(0);
        }
        written = r.written;
        from = r.consumed > held ? r.consumed - held : 0;
        flags &= ~OxUtf8SkipByteOrderMark;
        state->flags |= SOxConverterState::HeaderDone;
    }
    const OxUtf8DecodeResult r = OxUtf8ToUtf16(out.units() + written, src + from, len - from, flags, replacement);
    written += r.written;
    if (r.consumed > 0)
        state->flags |= SOxConverterState::HeaderDone;
    int rest = len - from - r.consumed;
    if (rest > SOxConverterState::MaxPending)
        rest = SOxConverterState::MaxPending;
    std::memcpy(state->pending, src + len - rest, size_t(rest));
    state->pendingCount = rest;
    return out.finished(written);
}

inline uchar* putUnit16(uchar* p, ushort u, bool big)
{
    p[big ? 0 : 1] = uchar(u >> 8);
    p[big ? 1 : 0] = uchar(u);
    return p + 2;
}

inline uchar* putUnit32(uchar* p, uint v, bool big)
{
    for (int k = 0; k < 4; ++k)
        p[big ? 3 - k : k] = uchar(v >> (8 * k));
    return p + 4;
}

inline uint unitAt(const ChunkBytes& bytes, int i, int width, bool big)
{
    uint v = 0;
    for (int k = 0; k < width; ++k)
        v |= uint(bytes[i + (big ? width - 1 - k : k)]) << (8 * k);
    return v;
}

// The byte order for input, settled by a leading mark at the start of the
// stream. Returns how many bytes the mark takes (0 when there is none).
int readByteOrderMark(const ChunkBytes& bytes, int width, SOxConverterState* state, OxByteOrder order, bool* big)
{
    *big = order == OxBigEndian
        || (order == OxDefaultByteOrder && state && (state->flags & SOxConverterState::BigEndianInput));
    if (bytes.size() < width || (state && (state->flags & SOxConverterState::HeaderDone)))
        return 0;
    int skip = 0;
    if (order == OxDefaultByteOrder) {
        if (unitAt(bytes, 0, width, true) == kByteOrderMark) {
            *big = true;
            skip = width;
        } else if (unitAt(bytes, 0, width, false) == kByteOrderMark) {
            *big = false;
            skip = width;
        }
    } else if (unitAt(bytes, 0, width, *big) == kByteOrderMark) {
        skip = width;
    }
    if (state) {
        state->flags |= SOxConverterState::HeaderDone;
        if (*big && order == OxDefaultByteOrder)
            state->flags |= SOxConverterState::BigEndianInput;
    }
    return skip;
}

// UTF-16 and UTF-32 input: whole units from the held and new bytes, the
// rest waiting in the state (or one replacement without a state).
COxString decodeUnits(const char* bytes, int len, SOxConverterState* state, OxByteOrder order, int width)
{
    if (!bytes || len < 0)
        len = 0;
    const ChunkBytes chunk(state, reinterpret_cast<const uchar*>(bytes), len);
    const int whole = chunk.size() / width;
    const bool tail = chunk.size() % width != 0;
    const int64_t capacity = int64_t(whole) * (width == 4 ? 2 : 1) + (tail && !state ? 1 : 0);
    if (capacity == 0) {
        if (state)
            chunk.keepFrom(0, state);
        return COxString("");
    }
    DecodeBuffer out(capacity);
    if (!out.isValid())
        return COxString();
    const ushort replacement = replacementFor(state);
    bool big = false;
    int i = readByteOrderMark(chunk, width, state, order, &big);
    ushort* p = out.units();
    for (; i + width <= chunk.size(); i += width) {
        const uint v = unitAt(chunk, i, width, big);
        if (width == 2) {
            *p++ = ushort(v);
        } else if (v > 0x10ffff || COxChar::isSurrogate(v)) {
            *p++ = replacement;
        } else if (COxChar::requiresSurrogates(v)) {
            *p++ = COxChar::highSurrogate(v);
            *p++ = COxChar::lowSurrogate(v);
        } else {
            *p++ = ushort(v);
        }
    }
    if (state)
        chunk.keepFrom(i, state);
    else if (tail)
        *p++ = replacement;
    return out.finished(int(p - out.units()));
}

// Room for the output of an encoder: mark plus perUnit bytes per unit.
bool prepareOutput(COxByteArray* out, int len, int perUnit, int mark)
{
    const int64_t total = int64_t(len) * perUnit + mark;
    if (total > COxByteArray::MaxSize)
        return false;
    *out = COxByteArray(int(total), Ox::Uninitialized);
    return out->size() == total;
}

// Starts a UTF-16 (perUnit 2) or UTF-32 (perUnit 4) encoding of len units:
// sizes the output and writes a byte order mark unless state says one has
// been written. *p receives where the units go, or null when the returned
// array is the whole result already (nothing to encode, or no memory).
COxByteArray startEncoding(int len, SOxConverterState* state, int perUnit, bool big, uchar** p)
{
    *p = nullptr;
    const bool mark = !state || !(state->flags & SOxConverterState::HeaderDone);
    if (state)
        state->flags |= SOxConverterState::HeaderDone;
    if (len == 0 && !mark)
        return COxByteArray("", 0);
    COxByteArray out;
    if (!prepareOutput(&out, len, perUnit, mark ? perUnit : 0))
        return COxByteArray();
    uchar* at = reinterpret_cast<uchar*>(out.data());
    if (mark)
        at = perUnit == 2 ? putUnit16(at, kByteOrderMark, big) : putUnit32(at, kByteOrderMark, big);
    *p = at;
    return out;
}

} // namespace

int OxTextCodecMibForName(const COxByteArray& name)
{
    const COxByteArray lower = name.toLower();
    if (lower == "utf-8")
        return OxMibUtf8;
    for (const char* latin1 : kLatin1Names)
        if (lower == latin1)
            return OxMibLatin1;
    return OxMibUnknown;
}

int OxTextCodecMibForName(const char* name)
{
    return name ? OxTextCodecMibForName(COxByteArray::fromRawData(name, int(std::strlen(name)))) : OxMibUnknown;
}

std::unique_ptr<SOxConverterState> OxTextCodecCreateState(const COxByteArray& name, uint32_t flags)
{
    const int mib = OxTextCodecMibForName(name);
    if (mib == OxMibUnknown)
        return nullptr;
    std::unique_ptr<SOxConverterState> state(new (std::nothrow) SOxConverterState);
    if (state) {
        state->mib = mib;
        state->flags = flags;
    }
    return state;
}

COxString OxTextCodecToUnicode(SOxConverterState* state, const char* bytes, int len)
{
    if (!state)
        return COxString();
    if (!bytes || len < 0)
        len = 0;
    switch (state->mib) {
    case OxMibLatin1:
        return COxString::fromLatin1_helper(bytes ? bytes : "", len);
    case OxMibUtf8:
        return decodeUtf8(state, reinterpret_cast<const uchar*>(bytes ? bytes : ""), len);
    default:
        oxWarning("Unsupported mib!");
        return COxString();
    }
}

COxByteArray OxUtf16FromUnicode(const COxChar* units, int len, SOxConverterState* state, OxByteOrder order)
{
    if (!units || len < 0)
        len = 0;
    const bool big = order == OxBigEndian;
    uchar* p;
    COxByteArray out = startEncoding(len, state, 2, big, &p);
    if (!p)
        return out;
    for (int i = 0; i < len; ++i)
        p = putUnit16(p, units[i].unicode(), big);
    return out;
}

COxString OxUtf16ToUnicode(const char* bytes, int len, SOxConverterState* state, OxByteOrder order)
{
    return decodeUnits(bytes, len, state, order, 2);
}

COxByteArray OxUtf32FromUnicode(const COxChar* units, int len, SOxConverterState* state, OxByteOrder order)
{
    if (!units || len < 0)
        len = 0;
    const bool big = order == OxBigEndian;
    uchar* p;
    COxByteArray out = startEncoding(len, state, 4, big, &p);
    if (!p)
        return out;
    const uchar* const begin = reinterpret_cast<const uchar*>(out.constData());
    const ushort* u = reinterpret_cast<const ushort*>(units);
    for (int i = 0; i < len; ++i) {
        uint v = u[i];
        if (COxChar::isHighSurrogate(v) && i + 1 < len && COxChar::isLowSurrogate(u[i + 1])) {
            v = COxChar::surrogateToUcs4(u[i], u[i + 1]);
            ++i;
        } else if (COxChar::isSurrogate(v)) {
            v = kReplacement;
        }
        p = putUnit32(p, v, big);
    }
    out.resize(int(p - begin));
    return out;
}

COxString OxUtf32ToUnicode(const char* bytes, int len, SOxConverterState* state, OxByteOrder order)
{
    return decodeUnits(bytes, len, state, order, 4);
}
