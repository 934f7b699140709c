// Range clamping shared by mid/left/right of the string and the byte array
// (and by the string-view helpers), and the start of their backward
// searches. Internal to the library.
#ifndef OXRANGECUT_H
#define OXRANGECUT_H

#include "core/oxglobal.h"

enum class OxCut {
    Null,   // the position lies beyond the end: the result is null
    Empty,  // nothing is left: the result is empty
    Full,   // the whole input: share it
    Subset  // *position and *length describe a part to copy
};

// Clamps [*position, *position + *length) to [0, total). A negative length
// means "to the end".
inline OxCut OxCutRange(int total, int* position, int* length)
{
    int& pos = *position;
    int& len = *length;
    if (pos > total)
        return OxCut::Null;
    if (pos < 0) {
        if (len < 0 || len + pos >= total)
            return OxCut::Full;
        if (len + pos <= 0)
            return OxCut::Null;
        len += pos;
        pos = 0;
    } else if (uint(len) > uint(total - pos)) {
        len = total - pos;
    }
    if (pos == 0 && len == total)
        return OxCut::Full;
    return len > 0 ? OxCut::Subset : OxCut::Empty;
}

// Where a backward search for a needle of nlen in a haystack of hlen starts:
// `from` counts from the end when negative, and the needle must fit at the
// start. -1 when it cannot fit anywhere at or before from.
inline int OxLastSearchStart(int hlen, int nlen, int from)
{
    if (from < 0)
        from += hlen;
    if (from > hlen)
        from = hlen;
    const int delta = hlen - nlen;
    if (from < 0 || delta < 0)
        return -1;
    return from > delta ? delta : from;
}

#endif // OXRANGECUT_H
