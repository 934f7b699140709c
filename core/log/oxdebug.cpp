#include "core/log/oxdebug.h"

#include "core/log/oxlogfile.h"
#include "core/log/oxlogsink.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string>

// The record shared by the copies of one stream.
struct SOxDebugPrivate {
    std::atomic<uint32_t> ref;
    uint32_t level;
    int line;
    const char* file;
    const char* function;
    bool forceFile;
    COxString message;
    bool emit;
};

namespace {

constexpr size_t kMessageBufferSize = 1024;

std::atomic<uint32_t> g_threshold{3};

void emitFormatted(uint32_t level, const SOxLogContext& context, const char* format, va_list args)
{
    if (!OxLogLevelPasses(level))
        return;
    char buffer[kMessageBufferSize];
    if (std::vsnprintf(buffer, sizeof buffer, format ? format : "", args) < 0)
        buffer[0] = '\0';
    OxLogEmit(level, context, buffer);
}

int androidPriority(uint32_t level)
{
    switch (level) {
    case OxMsgInfo: return OxLogPriorityInfo;
    case OxMsgWarning: return OxLogPriorityWarn;
    case OxMsgError: return OxLogPriorityError;
    default: return OxLogPriorityVerbose;
    }
}

} // namespace

uint32_t OxLogThreshold() { return g_threshold.load(std::memory_order_relaxed); }
void OxLogSetThreshold(uint32_t threshold) { g_threshold.store(threshold); }

bool OxLogLevelPasses(uint32_t level)
{
    const uint32_t threshold = OxLogThreshold();
    switch (level) {
    case OxMsgDebug: return threshold > 3;
    case OxMsgInfo: return threshold > 2;
    case OxMsgWarning: return threshold > 1;
    case OxMsgError: return threshold != 0;
    default: return threshold > 3;
    }
}

void OxLogEmit(uint32_t level, const SOxLogContext& context, const char* text)
{
    if (!OxLogLevelPasses(level))
        return;
    std::string line;
    if (context.file) {
        char prefix[kMessageBufferSize];
        int n = std::snprintf(prefix, sizeof prefix, "%s(%d), %s: ", context.file, context.line,
                              context.function ? context.function : "");
        if (n > 0)
            line.assign(prefix, std::min<size_t>(size_t(n), sizeof prefix - 1));
    }
    line.append(text ? text : "");

    if (context.forceFile || OxLogFileOutputEnabled()) {
        if (COxLogFile* sink = COxLogFile::instance())
            sink->writeLine(line);
    }

    if (OxLogCallHook(level, line.c_str()))
        return;
    if (OxLogStderrOutputEnabled())
        OxLogWriteStderr(line.c_str());
    else
        OxLogWriteAndroid(androidPriority(level), line.c_str());
}

void OxLogWriteFile(const char* text)
{
    if (!text || !*text)
        return;
    if (COxLogFile* sink = COxLogFile::instance())
        sink->writeLine(text);
}

#define OX_DEFINE_LOG_FUNCTION(name, level)                          \
    void name(const SOxLogContext& context, const char* format, ...) \
    {                                                                \
        va_list args;                                                \
        va_start(args, format);                                      \
        emitFormatted(level, context, format, args);                 \
        va_end(args);                                                \
    }

OX_DEFINE_LOG_FUNCTION(OxLogDebug, OxMsgDebug)
OX_DEFINE_LOG_FUNCTION(OxLogInfo, OxMsgInfo)
OX_DEFINE_LOG_FUNCTION(OxLogWarning, OxMsgWarning)
OX_DEFINE_LOG_FUNCTION(OxLogError, OxMsgError)

#define OX_DEFINE_LOGGER_METHOD(method, level)                  \
    void OxMessageLogger::method(const char* format, ...) const \
    {                                                           \
        va_list args;                                           \
        va_start(args, format);                                 \
        emitFormatted(level, m_context, format, args);          \
        va_end(args);                                           \
    }

OX_DEFINE_LOGGER_METHOD(debug, OxMsgDebug)
OX_DEFINE_LOGGER_METHOD(info, OxMsgInfo)
OX_DEFINE_LOGGER_METHOD(warning, OxMsgWarning)
OX_DEFINE_LOGGER_METHOD(error, OxMsgError)

// ---------------------------------------------------------------------------
// COxDebug

COxDebug::COxDebug(uint32_t level, const SOxLogContext& context)
    : d(nullptr), m_disabled(false)
{
    if (!OxLogLevelPasses(level))
        return;
    d = new SOxDebugPrivate{{1u}, level, context.line, context.file, context.function,
                            context.forceFile, COxString(COxLatin1String("", 0)), true};
}

COxDebug::COxDebug(const COxDebug& other) noexcept
    : d(other.d), m_disabled(other.m_disabled)
{
    if (d)
        d->ref.fetch_add(1, std::memory_order_relaxed);
}

COxDebug& COxDebug::operator=(const COxDebug& other) noexcept
{
    if (this != &other) {
        // The old record goes first, so a message that this holder was the
        // last owner of comes out before the new one is taken over.
        release();
        d = other.d;
        m_disabled = other.m_disabled;
        if (d)
            d->ref.fetch_add(1, std::memory_order_relaxed);
    }
    return *this;
}

COxDebug::~COxDebug() { release(); }

void COxDebug::release() noexcept
{
    SOxDebugPrivate* record = d;
    d = nullptr;
    if (!record || record->ref.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    if (record->emit) {
        const COxByteArray text = record->message.toLocal8Bit();
        const SOxLogContext context{record->forceFile, record->line, record->file, record->function};
        OxLogEmit(record->level, context, text.constData());
    }
    delete record;
}

void COxDebug::discard() noexcept
{
    if (d)
        d->emit = false;
}

COxDebug& COxDebug::appendChar(ushort unit)
{
    d->message.append(COxChar(unit));
    return *this;
}

COxDebug& COxDebug::appendLatin1(const char* text)
{
    d->message.append(COxLatin1String(text));
    return *this;
}

COxDebug& COxDebug::appendInt(int n)
{
    d->message.append(COxString::number(n, 10));
    return *this;
}

COxDebug& COxDebug::appendUInt(uint n)
{
    d->message.append(COxString::number(n, 10));
    return *this;
}

COxDebug& COxDebug::appendLong(long n)
{
    d->message.append(COxString::number(n, 10));
    return *this;
}

COxDebug& COxDebug::appendULong(ulong n)
{
    d->message.append(COxString::number(n, 10));
    return *this;
}

COxDebug& COxDebug::appendDouble(double f)
{
    d->message.append(COxString::number(f, 'g', 6));
    return *this;
}

COxDebug& COxDebug::appendUtf8(const char* str, int size)
{
    if (str)
        d->message.append(COxString::fromUtf8(str, size));
    return *this;
}

COxDebug& COxDebug::appendString(const COxString& str)
{
    d->message.append(str);
    return *this;
}

COxDebug& COxDebug::appendBytes(const COxByteArray& ba)
{
    d->message.append(COxString::fromUtf8(ba));
    return *this;
}

COxDebug& COxDebug::appendRef(const COxStringRef& ref)
{
    d->message.append(ref);
    return *this;
}
