// Console sinks of the diagnostics: the Android log (tag "orvato") or
// standard error, chosen by a process-wide switch, plus the switches that the
// message emitter reads.
//
// On platforms without the Android log, the console sink writes the Android
// log's brief form to standard error, so host users still see warnings:
//
//     W/orvato( 1234): text
//
// that is: the priority letter (V, D, I, W, E), "/orvato(", the process id
// right-aligned in five columns, "): " and the text.
#ifndef OXLOGSINK_H
#define OXLOGSINK_H

#include "core/oxglobal.h"

// Android log priorities used by the library.
enum OxLogPriority : int {
    OxLogPriorityVerbose = 2,
    OxLogPriorityInfo = 4,
    OxLogPriorityWarn = 5,
    OxLogPriorityError = 6,
};

// Process-wide output switches (both off by default).
bool OxLogFileOutputEnabled();
void OxLogSetFileOutputEnabled(bool enabled);
bool OxLogStderrOutputEnabled();
void OxLogSetStderrOutputEnabled(bool enabled);

// Writes the text to the Android log with the given priority and the tag
// "orvato" (standard error in brief form elsewhere).
void OxLogWriteAndroid(int priority, const char* text);
// Writes the text and a newline to standard error and flushes at once.
void OxLogWriteStderr(const char* text);
// A warning of the log machinery itself (such as a log file that cannot be
// opened): always the Android log with priority 5, or the hook below while
// one is installed.
void OxLogWriteSinkWarning(const char* text);

// Test seam: while a hook is installed, every line that would go to the
// console sink is handed to the hook instead (level 0..3 as emitted; the
// sink's own warnings come as level 2). The log-file sink is not affected.
// Pass a null hook to remove it.
typedef void (*OxLogHook)(void* context, uint32_t level, const char* line);
void OxLogSetHook(OxLogHook hook, void* context);
// Hands the line to the hook if one is installed; returns whether it did.
bool OxLogCallHook(uint32_t level, const char* line);

#endif // OXLOGSINK_H
