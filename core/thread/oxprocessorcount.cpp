#include "core/thread/oxprocessorcount.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

const char kPresentList[] = "/sys/devices/system/cpu/present";
const char kPossibleList[] = "/sys/devices/system/cpu/possible";
const size_t kListReadLimit = 64;
// Values are capped here while digits are read so that long numbers cannot
// overflow; anything at or above 32 is outside the mask anyway.
const uint32_t kNumberCap = 1u << 20;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool endsList(char c) { return c == '\n' || c == '\0'; }

// Reads the decimal number at text[*pos]; false when there is none.
bool readNumber(const char* text, size_t length, size_t* pos, uint32_t* value)
{
    size_t i = *pos;
    if (i >= length || !isDigit(text[i]))
        return false;
    uint32_t v = 0;
    for (; i < length && isDigit(text[i]); ++i) {
        v = v * 10 + uint32_t(text[i] - '0');
        if (v > kNumberCap)
            v = kNumberCap;
    }
    *pos = i;
    *value = v;
    return true;
}

uint32_t rangeMask(uint32_t first, uint32_t last)
{
    uint32_t mask = 0;
    for (uint32_t n = first; n <= last && n < 32; ++n)
        mask |= 1u << n;
    return mask;
}

int countOf(uint32_t present, uint32_t possible)
{
    int count = __builtin_popcount(present & possible);
    return count > 0 ? count : 1;
}

} // namespace

int OxOnlineProcessorCount()
{
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? int(n) : 1;
}

uint32_t OxParseProcessorList(const char* text, size_t length)
{
    uint32_t mask = 0;
    size_t pos = 0;
    while (pos < length && !endsList(text[pos])) {
        uint32_t first = 0;
        if (!readNumber(text, length, &pos, &first))
            break;
        uint32_t last = first;
        if (pos < length && text[pos] == '-') {
            ++pos;
            if (!readNumber(text, length, &pos, &last) || last < first)
                break;
        }
        // An item counts only when it is properly ended.
        bool atEnd = pos >= length || endsList(text[pos]);
        if (!atEnd && text[pos] != ',')
            break;
        mask |= rangeMask(first, last);
        if (atEnd)
            break;
        ++pos;
    }
    return mask;
}

uint32_t OxReadProcessorList(const char* path)
{
    int fd;
    do {
        fd = open(path, O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return 0;
    char buffer[kListReadLimit];
    size_t filled = 0;
    while (filled < sizeof(buffer)) {
        ssize_t n = read(fd, buffer + filled, sizeof(buffer) - filled);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        filled += size_t(n);
    }
    close(fd);
    return OxParseProcessorList(buffer, filled);
}

int OxPresentProcessorCountFrom(const char* presentPath, const char* possiblePath)
{
    return countOf(OxReadProcessorList(presentPath), OxReadProcessorList(possiblePath));
}

int OxPresentProcessorCount()
{
    // 0 until the first call has computed it; computing it twice in a race
    // is harmless, both threads store the same value.
    static std::atomic<int> cached{0};
    int count = cached.load(std::memory_order_relaxed);
    if (count == 0) {
        count = OxPresentProcessorCountFrom(kPresentList, kPossibleList);
        cached.store(count, std::memory_order_relaxed);
    }
    return count;
}
