// Internal: what the COxString sources share. The unit storage routines,
// case folding and the unit search that editing and searching both use.
// Only the string's own sources include this header.
#ifndef OXSTRING_P_H
#define OXSTRING_P_H

#include "core/text/oxarrayops_p.h"
#include "core/text/oxstring.h"

namespace OxStringPrivate {

using Ops = OxArrayOps<ushort>;
constexpr unsigned long kUnit = Ops::kElement;
constexpr int kMaxSize = Ops::kMaxSize;

inline const ushort* asUnits(const COxChar* p) { return reinterpret_cast<const ushort*>(p); }

// Case folding for case-insensitive work: only A to Z change.
inline uint foldCase(uint c) { return c - 'A' < 26u ? c + 32 : c; }

// The first index at or after from where ch occurs in s[0, len), or -1. A
// negative from counts back from the end.
int findUnit(const ushort* s, int len, ushort ch, int from, Ox::CaseSensitivity cs);

// The first index at or after from where needle[0, nlen) occurs in
// hay[0, hlen), or -1. A negative from counts back from the end; an empty
// needle matches at from.
int findUnits(const ushort* hay, int hlen, int from, const ushort* needle, int nlen, Ox::CaseSensitivity cs);

} // namespace OxStringPrivate

#endif // OXSTRING_P_H
