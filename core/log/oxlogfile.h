// The daily log files. Lines handed to the sink are stamped with the local
// time and queued; a writer thread of the sink appends them to
//
//     <base>/haldensdk/log/haldensdklog(YYYY-MM-DD).log
//
// one line each, as "[YYYY-MM-DD HH:MM:SS] text". The writer flushes the file
// every 10 seconds and, at that moment only, moves on to a new file when the
// local date has changed. When no file can be opened (no base directory yet,
// a directory that cannot be made, a file that cannot be opened) the lines are
// dropped and "Failed to create log file: <path>" goes to the Android log; the
// next attempt is made no sooner than 30 seconds later.
//
// One sink serves the process (instance()); it is made on first use and
// stopped at process exit, dropping lines that are still queued. Tests make
// sinks of their own with a clock they control.
#ifndef OXLOGFILE_H
#define OXLOGFILE_H

#include "core/oxglobal.h"
#include "core/text/oxstring.h"

#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// The clocks the sink reads: a monotonic clock for its periods and the local
// calendar time for stamps, file names and the date check.
class COxLogClock {
public:
    virtual ~COxLogClock() = default;
    virtual int64_t monotonicNanoseconds() const = 0;
    // The current local time broken down; false when it cannot be had.
    virtual bool localTime(struct tm* out) const = 0;

    // CLOCK_MONOTONIC and time() with localtime_r().
    static const COxLogClock& system();
};

class COxLogFile {
public:
    // The clock must outlive the sink. Starts the writer thread; if that
    // fails, the sink drops every line.
    explicit COxLogFile(const COxLogClock& clock = COxLogClock::system());
    // Stops the writer (queued lines are dropped) and closes the file.
    ~COxLogFile();
    OX_DISABLE_COPY(COxLogFile)

    // The sink of the process, made on first use. Null once the process has
    // begun to exit and the sink is gone.
    static COxLogFile* instance();

    void setBaseDirectory(const COxString& directory);
    COxString baseDirectory() const;

    // Stamps the text with the local time and queues it for the writer. An
    // empty text is not queued.
    void writeLine(const std::string& text);

    // Wakes the writer and waits until it has gone once through its loop
    // from the start: lines queued before the call are then written (or
    // dropped), and the flush period has been checked against the clock.
    void sync();

    bool isRunning() const { return m_running; }
    // How many lines writeLine() has queued since the sink was made.
    uint64_t acceptedLines() const;

private:
    void run();
    void flushIfDue(bool waitTimedOut);
    bool openFile();
    COxString filePath(const struct tm& now) const;
    void closeFile();

    const COxLogClock& m_clock;
    const COxString m_logName;

    // Guarded by m_mutex.
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_passDone;
    COxString m_baseDirectory;
    std::vector<std::string> m_queue;
    bool m_stop = false;
    bool m_wakeRequested = false;
    uint64_t m_passesBegun = 0;
    uint64_t m_passesDone = 0;
    uint64_t m_acceptedLines = 0;

    // Used by the writer thread only.
    FILE* m_file = nullptr;
    int m_fileYear = 0;
    int m_fileMonth = 0;
    int m_fileDay = 0;
    bool m_openFailed = false;
    int64_t m_lastFailureNs = 0;
    int64_t m_lastFlushNs = 0;

    bool m_running = false;
    std::thread m_thread;
};

// The base directory of the process's log files, from a string or from a C
// string in the local 8-bit encoding. Makes the sink when needed.
void OxLogSetBaseDirectory(const COxString& directory);
void OxLogSetBaseDirectory(const char* directory);

#endif // OXLOGFILE_H
