#include "core/log/oxdebug.h"

#include "core/log/oxlogsink.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <algorithm>
#include <string>

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

    if (OxLogCallHook(level, line.c_str()))
        return;
    if (OxLogStderrOutputEnabled())
        OxLogWriteStderr(line.c_str());
    else
        OxLogWriteAndroid(androidPriority(level), line.c_str());
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
