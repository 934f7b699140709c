#include "core/log/oxlogsink.h"

#include "core/log/oxdebug.h"

#include <atomic>
#include <cstdio>
#include <mutex>
#include <unistd.h>

#if defined(__ANDROID__)
#include <android/log.h>
#endif

namespace {

const char kLogTag[] = "orvato";

std::atomic<bool> g_fileOutput{false};
std::atomic<bool> g_stderrOutput{false};

struct HookState {
    std::mutex mutex;
    std::atomic<bool> installed{false};
    OxLogHook hook = nullptr;
    void* context = nullptr;
};

HookState& hookState()
{
    static HookState* state = new HookState; // outlives every static destructor
    return *state;
}

#if !defined(__ANDROID__)
char priorityLetter(int priority)
{
    switch (priority) {
    case 2: return 'V';
    case 3: return 'D';
    case 4: return 'I';
    case 5: return 'W';
    case 6: return 'E';
    case 7: return 'F';
    default: return '?';
    }
}
#endif

} // namespace

bool OxLogFileOutputEnabled() { return g_fileOutput.load(std::memory_order_relaxed); }
void OxLogSetFileOutputEnabled(bool enabled) { g_fileOutput.store(enabled); }
bool OxLogStderrOutputEnabled() { return g_stderrOutput.load(std::memory_order_relaxed); }
void OxLogSetStderrOutputEnabled(bool enabled) { g_stderrOutput.store(enabled); }

void OxLogWriteAndroid(int priority, const char* text)
{
#if defined(__ANDROID__)
    __android_log_write(priority, kLogTag, text);
#else
    std::fprintf(stderr, "%c/%s(%5d): %s\n", priorityLetter(priority), kLogTag, int(getpid()), text);
    std::fflush(stderr);
#endif
}

void OxLogWriteStderr(const char* text)
{
    std::fprintf(stderr, "%s\n", text);
    std::fflush(stderr);
}

void OxLogWriteSinkWarning(const char* text)
{
    if (!OxLogCallHook(OxMsgWarning, text))
        OxLogWriteAndroid(OxLogPriorityWarn, text);
}

void OxLogSetHook(OxLogHook hook, void* context)
{
    HookState& s = hookState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.hook = hook;
    s.context = context;
    s.installed.store(hook != nullptr);
}

bool OxLogCallHook(uint32_t level, const char* line)
{
    HookState& s = hookState();
    if (!s.installed.load())
        return false;
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.hook)
        return false;
    s.hook(s.context, level, line);
    return true;
}
