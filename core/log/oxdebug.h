// The level-filtered debug output of the library. Every diagnostic goes
// through here, either printf-style or as a stream, with call-site macros that
// pass the source file, line and function:
//
//     oxWarning("COxFile::remove: Empty or null file name");
//     oxError("Failed to open lut file %s", path);
//     oxWarning() << "Argument missing:" << text << ',' << 42;
//
// Levels are 0 debug, 1 info, 2 warning, 3 error. The process-wide threshold
// (default 3) lets through: 0 nothing, 1 errors, 2 warnings and errors, 3 info
// as well, 4 and above every level.
//
// A finished line goes to the console sink (the Android log, or standard
// error when that is switched on) and, when file output is switched on or the
// call site forces it, to the daily log file (core/log/oxlogfile.h).
#ifndef OXDEBUG_H
#define OXDEBUG_H

#include "core/oxglobal.h"
#include "core/text/oxstring.h"

#include <cstddef>

enum OxMsgLevel : uint32_t {
    OxMsgDebug = 0,
    OxMsgInfo = 1,
    OxMsgWarning = 2,
    OxMsgError = 3,
};

// Where a message comes from. file may be null (then no prefix is written).
// forceFile sends the line to the log file even while file output is off.
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
// "file(line), function: " (cut at 1023 bytes) when a file name is given, and
// hands the line to the sinks.
void OxLogEmit(uint32_t level, const SOxLogContext& context, const char* text);

// Hands the text straight to the log file, whatever the threshold and the
// file-output switch say. A null or empty text writes nothing.
void OxLogWriteFile(const char* text);

struct SOxDebugPrivate;

// COxDebug: a message built with <<, emitted when the last copy of it goes
// away. Copies share one record, so a stream may be handed around and the
// message still comes out once. When the level does not pass the threshold
// no record is made and every << does nothing, so a disabled stream costs a
// null test per item.
//
// Items are appended with no separator: oxInfo() << "a" << 1 << true gives
// "a1true". Integers are written in base 10, floating-point values with the
// 'g' format and 6 significant digits, C strings and byte arrays are read as
// UTF-8, bool as "true"/"false" and nullptr as "(nullptr)". Other pointers
// are refused at compile time instead of being taken as bool.
class COxDebug {
public:
    COxDebug(uint32_t level, const SOxLogContext& context);
    COxDebug(const COxDebug& other) noexcept;
    COxDebug(COxDebug&& other) noexcept : d(other.d), m_disabled(other.m_disabled) { other.d = nullptr; }
    COxDebug& operator=(const COxDebug& other) noexcept;
    ~COxDebug();

    // Whether this holder collects text: it has a record and is enabled.
    bool isActive() const noexcept { return d && !m_disabled; }
    // False for a stream whose level did not pass: nothing was allocated.
    bool hasRecord() const noexcept { return d != nullptr; }
    // A disabled holder ignores every item; other copies are unaffected.
    void setEnabled(bool enabled) noexcept { m_disabled = !enabled; }
    // Drops the message: no copy of this stream emits it.
    void discard() noexcept;

    COxDebug& operator<<(COxChar ch) { return isActive() ? appendChar(ch.unicode()) : *this; }
    COxDebug& operator<<(char16_t ch) { return isActive() ? appendChar(ushort(ch)) : *this; }
    COxDebug& operator<<(char ch) { return isActive() ? appendChar(uchar(ch)) : *this; }
    COxDebug& operator<<(bool b) { return isActive() ? appendLatin1(b ? "true" : "false") : *this; }
    COxDebug& operator<<(short n) { return isActive() ? appendInt(n) : *this; }
    COxDebug& operator<<(ushort n) { return isActive() ? appendInt(n) : *this; }
    COxDebug& operator<<(int n) { return isActive() ? appendInt(n) : *this; }
    COxDebug& operator<<(uint n) { return isActive() ? appendUInt(n) : *this; }
    COxDebug& operator<<(long n) { return isActive() ? appendLong(n) : *this; }
    COxDebug& operator<<(ulong n) { return isActive() ? appendULong(n) : *this; }
    COxDebug& operator<<(float f) { return isActive() ? appendDouble(double(f)) : *this; }
    COxDebug& operator<<(double f) { return isActive() ? appendDouble(f) : *this; }
    COxDebug& operator<<(const char* str) { return isActive() ? appendUtf8(str, -1) : *this; }
    COxDebug& operator<<(const COxString& str) { return isActive() ? appendString(str) : *this; }
    COxDebug& operator<<(const COxByteArray& ba) { return isActive() ? appendBytes(ba) : *this; }
    COxDebug& operator<<(const COxStringRef& ref) { return isActive() ? appendRef(ref) : *this; }
    COxDebug& operator<<(std::nullptr_t) { return isActive() ? appendLatin1("(nullptr)") : *this; }
    COxDebug& operator<<(const volatile void* p) = delete;

private:
    COxDebug& appendChar(ushort unit);
    COxDebug& appendLatin1(const char* text);
    COxDebug& appendInt(int n);
    COxDebug& appendUInt(uint n);
    COxDebug& appendLong(long n);
    COxDebug& appendULong(ulong n);
    COxDebug& appendDouble(double f);
    COxDebug& appendUtf8(const char* str, int size);
    COxDebug& appendString(const COxString& str);
    COxDebug& appendBytes(const COxByteArray& ba);
    COxDebug& appendRef(const COxStringRef& ref);
    void release() noexcept;

    SOxDebugPrivate* d;
    bool m_disabled;
};

// Call-site helper behind the oxDebug/oxInfo/oxWarning/oxError macros: with
// a format and arguments it logs printf-style, with no argument it hands out
// a stream of that level.
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

    COxDebug debug() const { return COxDebug(OxMsgDebug, m_context); }
    COxDebug info() const { return COxDebug(OxMsgInfo, m_context); }
    COxDebug warning() const { return COxDebug(OxMsgWarning, m_context); }
    COxDebug error() const { return COxDebug(OxMsgError, m_context); }

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
