// How many processors the library may spread work over.
//
// Two counts exist. The online count is what the kernel schedules on right
// now; the effect sizes its worker pool with it. The present count is read
// once from the processor lists in /sys (present AND possible) and cached for
// the rest of the process.
//
// A processor list is the kernel's text form of a set of processor numbers,
// items separated by commas, each a number or an inclusive range, ended by a
// line feed: "0-3,6\n". The parser is kept apart from the file reading so
// that any text can be fed to it.
#ifndef OXPROCESSORCOUNT_H
#define OXPROCESSORCOUNT_H

#include "core/oxglobal.h"

// sysconf(_SC_NPROCESSORS_ONLN), or 1 when the system cannot tell.
int OxOnlineProcessorCount();

// Processors both present and possible, from the files in
// /sys/devices/system/cpu. Computed on first use and cached; never below 1.
int OxPresentProcessorCount();

// The same count for any two list files; uncached.
int OxPresentProcessorCountFrom(const char* presentPath, const char* possiblePath);

// Parses a processor list of the given length into a mask of processors 0 to
// 31 (larger numbers are not counted). Parsing stops at a line feed, a zero
// byte or the end of the text; a malformed item ends it too, keeping the
// processors of the items before it.
uint32_t OxParseProcessorList(const char* text, size_t length);

// Reads at most the first 64 bytes of a list file and parses them; 0 when the
// file cannot be read.
uint32_t OxReadProcessorList(const char* path);

#endif // OXPROCESSORCOUNT_H
