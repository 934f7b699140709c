// The level-filtered debug output of the library. Every diagnostic goes
// through here: printf-style functions, one per level, and call-site macros
// that pass the source file, line and function:
//
//     oxWarning("COxFile::remove: Empty or null file name");
//     oxError("Failed to open lut file %s", path);
//
// Levels are 0 debug, 1 info, 2 warning, 3 error. The process-wide threshold
// (default 3) lets through: 0 nothing, 1 errors, 2 warnings and errors, 3 info
// as well, 4 and above every level.
#ifndef OXDEBUG_H
#define OXDEBUG_H

#include "core/oxglobal.h"

enum OxMsgLevel : uint32_t {
    OxMsgDebug = 0,
    OxMsgInfo = 1,
    OxMsgWarning = 2,
    OxMsgError = 3,
};

// Where a message comes from. file may be null (then no prefix is written).
struct SOxLogContext {
    bool forceFile;
    int line;
    const char* file;
    const char* function;
};

uint32_t OxLogThreshold();
void OxLogSetThreshold(uint32_t threshold);
// Whether a message of this level passes the current threshold.
bool OxLogLevelPasses(uint32_t level);

// Formats with vsnprintf into 1024 bytes (longer output is cut) and emits.
void OxLogDebug(const SOxLogContext& context, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
void OxLogInfo(const SOxLogContext& context, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
void OxLogWarning(const SOxLogContext& context, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
void OxLogError(const SOxLogContext& context, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Emits one finished message: applies the threshold, adds the source prefix
// "file(line), function: " when a file name is given, and hands the line to
// the sinks.
void OxLogEmit(uint32_t level, const SOxLogContext& context, const char* text);

// Call-site helper behind the oxDebug/oxInfo/oxWarning/oxError macros.
class OxMessageLogger {
public:
    constexpr OxMessageLogger(const char* file, int line, const char* function,
                              bool forceFile = false)
        : m_context{forceFile, line, file, function}
    {
    }

    void debug(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void info(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void warning(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void error(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    const SOxLogContext& context() const { return m_context; }

private:
    SOxLogContext m_context;
};

#if defined(__FILE_NAME__)
#define OX_LOG_FILE __FILE_NAME__
#else
#define OX_LOG_FILE __FILE__
#endif

#define oxDebug OxMessageLogger(OX_LOG_FILE, __LINE__, __func__).debug
#define oxInfo OxMessageLogger(OX_LOG_FILE, __LINE__, __func__).info
#define oxWarning OxMessageLogger(OX_LOG_FILE, __LINE__, __func__).warning
#define oxError OxMessageLogger(OX_LOG_FILE, __LINE__, __func__).error

#endif // OXDEBUG_H
