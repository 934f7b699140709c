// Helpers for the log tests: a clock the test moves by hand and a scratch
// directory that knows where the log files go.
#ifndef TESTS_CORE_LOG_LOGTESTSUPPORT_H
#define TESTS_CORE_LOG_LOGTESTSUPPORT_H

#include "core/log/oxlogfile.h"
#include "oxtempdir.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// Monotonic nanoseconds and a calendar time (read as UTC, so tests do not
// depend on the time zone of the machine).
class FakeLogClock : public COxLogClock {
public:
    FakeLogClock(int year, int month, int day, int hour, int minute, int second)
    {
        struct tm t = {};
        t.tm_year = year - 1900;
        t.tm_mon = month - 1;
        t.tm_mday = day;
        t.tm_hour = hour;
        t.tm_min = minute;
        t.tm_sec = second;
        m_wall.store(timegm(&t));
    }

    int64_t monotonicNanoseconds() const override { return m_mono.load(); }
    bool localTime(struct tm* out) const override
    {
        const time_t wall = m_wall.load();
        return gmtime_r(&wall, out) != nullptr;
    }

    // Moves both clocks on.
    void advanceSeconds(int64_t seconds) { advanceNanoseconds(seconds * 1'000'000'000); }
    void advanceNanoseconds(int64_t ns)
    {
        m_mono.fetch_add(ns);
        m_wallNs += ns;
        m_wall.store(m_wall.load() + time_t(m_wallNs / 1'000'000'000));
        m_wallNs %= 1'000'000'000;
    }

private:
    std::atomic<int64_t> m_mono{1'000'000'000'000};
    std::atomic<time_t> m_wall{0};
    int64_t m_wallNs = 0;
};

// The whole file, or "<missing>" when it cannot be read.
inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "<missing>";
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

class ScratchDir : public OxTempDir {
public:
    std::string logFile(const std::string& date) const
    {
        return path() + "/haldensdk/log/haldensdklog(" + date + ").log";
    }

    // Every log file of the directory, oldest date first.
    std::string readAllLogs() const
    {
        const std::string logDir = path() + "/haldensdk/log";
        std::vector<std::string> names = entries("haldensdk/log");
        std::sort(names.begin(), names.end());
        std::string all;
        for (const std::string& name : names)
            all += readFile(logDir + "/" + name);
        return all;
    }

};

#endif // TESTS_CORE_LOG_LOGTESTSUPPORT_H
