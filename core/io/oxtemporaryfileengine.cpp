#include "core/io/oxtemporaryfileengine.h"
#include "core/io/oxgenericfileengine_p.h"

#include "core/io/oxdir.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

typedef COxFileDevice Dev;

struct SOxTemporaryName {
    static constexpr int kPlaceholderLength = 6;
    static constexpr const char* kPlaceholder = "XXXXXX";
    static constexpr const char* kDefaultPrefix = "ox_temp.";
    // The minimal-standard linear congruential generator.
    static constexpr uint64_t kMultiplier = 16807;
    static constexpr uint64_t kModulus = 2147483647;
    static constexpr int kLetters = 52;
    static constexpr int kOpenFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC
#ifdef O_LARGEFILE
                                      | O_LARGEFILE
#endif
        ;
};

std::atomic<uint32_t> g_seedCalls(0);

// The process id as decimal text, made once per process: a child made by
// fork() makes its own.
pthread_mutex_t g_pidMutex = PTHREAD_MUTEX_INITIALIZER;
pid_t g_pid = 0;
char g_pidText[24];

COxString processIdText()
{
    const pid_t pid = getpid();
    pthread_mutex_lock(&g_pidMutex);
    if (g_pid != pid) {
        std::snprintf(g_pidText, sizeof g_pidText, "%ld", long(pid));
        g_pid = pid;
    }
    const COxString text(g_pidText);
    pthread_mutex_unlock(&g_pidMutex);
    return text;
}

// A seed that differs between processes and between the calls of one: the
// process id, a call counter and both clocks, mixed so that each of them
// moves every bit.
uint32_t freshSeed()
{
    timespec mono = {0, 0};
    timespec real = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &mono);
    clock_gettime(CLOCK_REALTIME, &real);
    uint64_t x = uint64_t(getpid()) * 0x9E3779B97F4A7C15ull;
    x ^= uint64_t(g_seedCalls.fetch_add(1, std::memory_order_relaxed)) * 0xC2B2AE3D27D4EB4Full;
    x ^= uint64_t(mono.tv_sec) * 1000000000ull + uint64_t(mono.tv_nsec);
    x ^= (uint64_t(real.tv_sec) * 1000000000ull + uint64_t(real.tv_nsec)) * 0x165667B19E3779F9ull;
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    x ^= x >> 31;
    return uint32_t(x ^ (x >> 32));
}

// Fills the placeholder from its last character to its first.
void fillLetters(char* letters, uint32_t seed)
{
    uint64_t value = seed % SOxTemporaryName::kModulus;
    if (value == 0) // the generator's one fixed point
        value = 1;
    for (int i = SOxTemporaryName::kPlaceholderLength - 1; i >= 0; --i) {
        value = value * SOxTemporaryName::kMultiplier % SOxTemporaryName::kModulus;
        const int r = int((value & 0xFFFF) % SOxTemporaryName::kLetters);
        letters[i] = char(r < 26 ? 'A' + r : 'a' + (r - 26));
    }
}

// Steps the placeholder on like a counter whose lowest digit is the first
// character; false when the carry runs off the end (it was "ZZZZZZ").
bool advanceLetters(char* letters)
{
    for (int i = 0; i < SOxTemporaryName::kPlaceholderLength; ++i) {
        char& c = letters[i];
        if (c == 'Z') {
            c = 'a';
            continue;
        }
        if (c >= '0' && c <= '9')
            c = 'a';
        else if (c == 'z')
            c = 'A';
        else
            ++c;
        return true;
    }
    return false;
}

// Where the placeholder of a native template starts: the last "XXXXXX" in
// its file name. Without one, ".XXXXXX" is appended.
int placeholderOf(COxByteArray* name)
{
    const int at = name->lastIndexOf(SOxTemporaryName::kPlaceholder);
    if (at >= 0 && at > name->lastIndexOf('/'))
        return at;
    name->append('.');
    name->append(SOxTemporaryName::kPlaceholder);
    return name->size() - SOxTemporaryName::kPlaceholderLength;
}

} // namespace

class COxTemporaryFileEnginePrivate : public COxGenericFileEnginePrivate {
public:
    COxString fileTemplate;
    uint32_t creationMode = 0600;
    uint32_t fixedSeed = 0;
    COxFileDevice::FileError writeFailure = COxFileDevice::NoError;
    COxString writeFailureString;
};

COxTemporaryFileEngine::COxTemporaryFileEngine(const COxString& fileTemplate, uint32_t creationMode)
    : COxGenericFileEngine(*new COxTemporaryFileEnginePrivate)
{
    COxTemporaryFileEnginePrivate* d = d_func();
    d->fileTemplate = fileTemplate;
    d->creationMode = creationMode;
}

COxTemporaryFileEngine::~COxTemporaryFileEngine() = default;

COxTemporaryFileEnginePrivate* COxTemporaryFileEngine::d_func() const
{
    return static_cast<COxTemporaryFileEnginePrivate*>(d_ptr);
}

bool COxTemporaryFileEngine::open(COxIODevice::OpenMode mode)
{
    COxTemporaryFileEnginePrivate* d = d_func();
    unsetError();
    if (d->fh)
        close();

    COxByteArray name = (d->fileTemplate.isEmpty() ? defaultTemplate() : d->fileTemplate).toLocal8Bit();
    char* letters = name.data() + placeholderOf(&name);
    fillLetters(letters, d->fixedSeed != 0 ? d->fixedSeed : freshSeed());
    int fd;
    for (;;) {
        do {
            fd = ::open(name.constData(), SOxTemporaryName::kOpenFlags, mode_t(d->creationMode));
        } while (fd == -1 && errno == EINTR);
        if (fd != -1 || errno != EEXIST)
            break;
        if (!advanceLetters(letters)) {
            errno = EEXIST;
            break;
        }
    }
    if (fd == -1) {
        setError(Dev::OpenError, errno);
        return false;
    }

    FILE* fh = fdopen(fd, (mode & COxIODevice::ReadOnly) ? "wb+" : "wb");
    if (!fh) {
        const int e = errno;
        ::close(fd);
        ::unlink(name.constData());
        setError(Dev::OpenError, e);
        return false;
    }
    setFileName(COxString::fromLocal8Bit(name));
    d->adoptStream(fh, mode);
    d->writeFailure = Dev::NoError;
    d->writeFailureString.clear();
    return true;
}

int64_t COxTemporaryFileEngine::write(const char* data, int64_t size)
{
    COxTemporaryFileEnginePrivate* d = d_func();
    const int64_t n = COxGenericFileEngine::write(data, size);
    if (n < 0 && d->writeFailure == Dev::NoError) {
        d->writeFailure = error();
        d->writeFailureString = errorString();
    }
    return n;
}

bool COxTemporaryFileEngine::flush()
{
    COxTemporaryFileEnginePrivate* d = d_func();
    if (COxGenericFileEngine::flush())
        return true;
    if (d->writeFailure == Dev::NoError) {
        d->writeFailure = error();
        d->writeFailureString = errorString();
    }
    return false;
}

COxString COxTemporaryFileEngine::fileTemplate() const
{
    return d_func()->fileTemplate;
}

void COxTemporaryFileEngine::setSeed(uint32_t seed)
{
    d_func()->fixedSeed = seed;
}

COxFileDevice::FileError COxTemporaryFileEngine::writeFailure() const
{
    return d_func()->writeFailure;
}

COxString COxTemporaryFileEngine::writeFailureString() const
{
    return d_func()->writeFailureString;
}

COxString COxTemporaryFileEngine::defaultTemplate()
{
    COxString name = COxDir::tempPath();
    if (!name.endsWith(COxChar('/')))
        name.append(COxChar('/'));
    name.append(SOxTemporaryName::kDefaultPrefix);
    name.append(processIdText());
    name.append(COxChar('.'));
    name.append(SOxTemporaryName::kPlaceholder);
    return name;
}
