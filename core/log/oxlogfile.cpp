#include "core/log/oxlogfile.h"

#include "core/io/oxdir.h"
#include "core/log/oxlogsink.h"

#include <atomic>
#include <chrono>
#include <system_error>
#include <time.h>

namespace {

struct SOxLogFileConstants {
    static constexpr int64_t flushPeriodNs = 10'000'000'000;
    static constexpr int64_t retryDelayNs = 30'000'000'000;
    static constexpr std::chrono::seconds waitPeriod{10};
    static constexpr const char* logName = "haldensdklog";
    static constexpr const char* subDirectory = "/haldensdk";
    static constexpr const char* logDirectory = "/log/";
    static constexpr const char* fileNamePattern = "%1(%2).log";
    static constexpr const char* datePattern = "%Y-%m-%d";
    static constexpr const char* stampPattern = "%Y-%m-%d %H:%M:%S";
    static constexpr size_t stampBufferSize = 64;
};
using K = SOxLogFileConstants;

class SystemLogClock final : public COxLogClock {
public:
    int64_t monotonicNanoseconds() const override
    {
        struct timespec ts;
        clock_gettime(CLOCK_MONOTONIC, &ts);
        return int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
    }
    bool localTime(struct tm* out) const override
    {
        const time_t now = time(nullptr);
        return localtime_r(&now, out) != nullptr;
    }
};

// Holds the process's sink from first use to process exit. Constant
// initialised, so it is usable from any static initialiser; its destructor
// runs at exit and stops the writer.
class LogFileHolder {
public:
    constexpr LogFileHolder() = default;
    ~LogFileHolder()
    {
        m_gone.store(true);
        delete m_sink.exchange(nullptr);
    }

    COxLogFile* get()
    {
        if (m_gone.load())
            return nullptr;
        std::call_once(m_once, [this] { m_sink.store(new COxLogFile); });
        return m_sink.load();
    }

private:
    std::once_flag m_once;
    std::atomic<COxLogFile*> m_sink{nullptr};
    std::atomic<bool> m_gone{false};
};

LogFileHolder g_logFile;

} // namespace

const COxLogClock& COxLogClock::system()
{
    // Never destroyed: the process's sink reads it until its writer has
    // been joined at exit.
    static const SystemLogClock* clock = new SystemLogClock;
    return *clock;
}

COxLogFile::COxLogFile(const COxLogClock& clock)
    : m_clock(clock), m_logName(COxLatin1String(K::logName))
{
    try {
        m_thread = std::thread(&COxLogFile::run, this);
        m_running = true;
    } catch (const std::system_error&) {
        OxLogWriteSinkWarning("COxLogFile: thread constructor failed");
    }
}

COxLogFile::~COxLogFile()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

COxLogFile* COxLogFile::instance() { return g_logFile.get(); }

void COxLogFile::setBaseDirectory(const COxString& directory)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_baseDirectory = directory;
}

COxString COxLogFile::baseDirectory() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_baseDirectory;
}

void COxLogFile::writeLine(const std::string& text)
{
    if (text.empty() || !m_running)
        return;
    char stamp[K::stampBufferSize];
    struct tm now;
    if (!m_clock.localTime(&now) || std::strftime(stamp, sizeof stamp, K::stampPattern, &now) == 0)
        stamp[0] = '\0';

    std::string line;
    line.reserve(text.size() + 24);
    line.append("[").append(stamp).append("] ").append(text);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(std::move(line));
        ++m_acceptedLines;
    }
    m_wake.notify_one();
}

uint64_t COxLogFile::acceptedLines() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_acceptedLines;
}

void COxLogFile::sync()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_running || m_stop)
        return;
    const uint64_t target = m_passesBegun + 1;
    m_wakeRequested = true;
    m_wake.notify_one();
    m_passDone.wait(lock, [&] { return m_passesDone >= target || m_stop; });
}

void COxLogFile::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        bool timedOut = false;
        if (m_queue.empty() && !m_wakeRequested) {
            const int64_t waitStart = m_clock.monotonicNanoseconds();
            m_wake.wait_for(lock, K::waitPeriod, [this] { return m_stop || m_wakeRequested || !m_queue.empty(); });
            timedOut = m_clock.monotonicNanoseconds() - waitStart >= K::flushPeriodNs;
            if (m_stop)
                break;
        }
        m_wakeRequested = false;
        const uint64_t pass = ++m_passesBegun;
        lock.unlock();

        flushIfDue(timedOut);

        std::vector<std::string> lines;
        lock.lock();
        lines.swap(m_queue);
        lock.unlock();

        if (!lines.empty() && (m_file || openFile())) {
            for (const std::string& line : lines) {
                std::fwrite(line.data(), 1, line.size(), m_file);
                std::fputc('\n', m_file);
            }
        }

        lock.lock();
        m_passesDone = pass;
        m_passDone.notify_all();
    }
    lock.unlock();
    closeFile();
    // Wake anyone still waiting for a pass that will not come.
    m_passDone.notify_all();
}

// Flushes the open file once the period is over, and closes it when the local
// date has moved on, so the next line opens the new day's file.
void COxLogFile::flushIfDue(bool waitTimedOut)
{
    if (!m_file)
        return;
    const int64_t now = m_clock.monotonicNanoseconds();
    if (!waitTimedOut && now - m_lastFlushNs < K::flushPeriodNs)
        return;
    std::fflush(m_file);
    struct tm today;
    if (m_clock.localTime(&today)
        && (today.tm_year != m_fileYear || today.tm_mon != m_fileMonth || today.tm_mday != m_fileDay))
        closeFile();
    m_lastFlushNs = now;
}

bool COxLogFile::openFile()
{
    const int64_t now = m_clock.monotonicNanoseconds();
    if (m_openFailed && now - m_lastFailureNs < K::retryDelayNs)
        return false;

    struct tm today = {};
    m_clock.localTime(&today);
    const COxString path = filePath(today);
    if (!path.isEmpty())
        m_file = std::fopen(path.toLocal8Bit().constData(), "a");
    if (m_file) {
        m_fileYear = today.tm_year;
        m_fileMonth = today.tm_mon;
        m_fileDay = today.tm_mday;
        m_openFailed = false;
        m_lastFlushNs = now;
        return true;
    }
    m_openFailed = true;
    m_lastFailureNs = now;
    const COxByteArray warning = (COxString(COxLatin1String("Failed to create log file: ")) + path).toLocal8Bit();
    OxLogWriteSinkWarning(warning.constData());
    return false;
}

COxString COxLogFile::filePath(const struct tm& now) const
{
    const COxString base = baseDirectory();
    if (base.isEmpty())
        return COxString();
    const COxString directory = base + COxLatin1String(K::subDirectory) + COxLatin1String(K::logDirectory);
    COxDir::mkpath(directory);

    char date[K::stampBufferSize];
    if (std::strftime(date, sizeof date, K::datePattern, &now) == 0)
        date[0] = '\0';
    return directory + COxString(K::fileNamePattern).arg(m_logName).arg(COxString(COxLatin1String(date)));
}

void COxLogFile::closeFile()
{
    if (m_file) {
        std::fclose(m_file);
        m_file = nullptr;
    }
}

void OxLogSetBaseDirectory(const COxString& directory)
{
    if (COxLogFile* sink = COxLogFile::instance())
        sink->setBaseDirectory(directory);
}

void OxLogSetBaseDirectory(const char* directory)
{
    OxLogSetBaseDirectory(COxString::fromLocal8Bit(directory));
}
