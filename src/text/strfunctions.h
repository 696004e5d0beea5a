#pragma once

#include "CCharset.h"
#include "CString.h"
#include "CStringList.h"

// Building, cutting, searching and replacing. No function changes its arguments, except for results written
// to references; such a result may be one of the arguments. Returned texts have the line end EOL_LF.
//
// Lengths and positions count bytes, NULs included. Ranges include both ends. A position outside the text
// reads as NUL, and -1 says that nothing was found. Time and memory are linear in the texts and widths given,
// except in FindReplaceStr.

// Building.

/// count times c; empty when count < 1.
CString StringOfChars(char c, int count);

/// left and right pushed apart to width by c; merely joined when they already fill it.
CString FillStr(const CString& left, char c, const CString& right, int width);

/// prefix, number, suffix, brought to width by zeros before the number; these also precede its minus sign.
CString EnumStr(const CString& prefix, int number, const CString& suffix, unsigned int width);

/// The four bytes of value, least significant first.
CString SignStr(int value);

/// s brought to width by spaces on the left.
CString LeadStr(const CString& s, unsigned int width);

/// Joins a and b with one sep; existing separators are kept, even two. No sep is added to an empty text.
CString JoinStr(const CString& a, const CString& b, char sep);

/// String 0, character 0 of seps, string 1, character 1 and so on; what is left of the longer one follows.
CString CollectStr(const CStringList& list, const CString& seps);

/// s, with c put before it (after it) unless it begins (ends) with c. An empty s begins and ends with NUL.
CString CheckFirstChar(const CString& s, char c);
CString CheckLastChar(const CString& s, char c);

// Cutting.

/// The bytes from..to. Empty when from > to; otherwise both are moved to the nearest position in the text, so
/// something always comes back: the first byte for a range before the text, the last for one behind it, and
/// one NUL from an empty text.
CString SubStr(const CString& s, int from, int to);

/// Positions 0 to last, so last + 1 bytes; empty when last < 0, otherwise one NUL from an empty text.
CString LeftStr(const CString& s, int last);

/// From position first on; empty when first is behind the text, all of it when first <= 0.
CString RightStr(const CString& s, int first);

/// left = LeftStr(s, pos), right = RightStr(s, pos): the byte at pos is in both.
void SplitStr(const CString& s, int pos, CString& left, CString& right);

/// s without its first n bytes. n <= 0 takes nothing away: s itself.
CString ShiftStr(const CString& s, int n);

/// s without the spaces at both ends; tabs and line ends stay.
CString TrimStr(const CString& s);

/// The bytes of s that are in keep (or any, with keepAll) and not in drop.
CString FilterStr(const CString& s, const CCharset& keep, const CCharset& drop, bool keepAll);

/// s with each run of c (of any one byte) shortened to one. The text ends as if a NUL followed, so a NUL at
/// its end goes too.
CString StripDupChars(const CString& s, char c);
CString StripDupChars(const CString& s);

// Searching and replacing.

int CountChars(const CString& s, char c);    ///< How often c occurs.
int FirstCharPos(const CString& s, char c);  ///< Where c first occurs.

/// The first c at or after from; -1 when from is behind the text. A search for NUL from a negative position
/// finds it right there.
int NextCharPos(const CString& s, char c, int from);

/// The last c, down to position 1: what stands only at position 0 is not found.
int LastCharPos(const CString& s, char c);

/// The last c at or before from, down to position 1: position 0 is never found, and from < 1 gives -1. A
/// search for NUL from behind the text finds it right there.
int PrevCharPos(const CString& s, char c, int from);

/// Where pattern first occurs; 0 for an empty one.
int FindStr(const CString& s, const CString& pattern);

/// s with every `from` replaced by `to`.
CString FindReplaceChar(const CString& s, char from, char to);

/// Replaces the first occurrence of find, then looks again from the start of the new text, until there is
/// none: replacing "ab" by "b" in "aab" gives "b". Without an occurrence this costs no more than FindStr.
///
/// s comes back unchanged when find is empty or stands in replace, or when the text would grow beyond
/// 2147483647 bytes on the way. So it always ends, but perhaps not soon: time is linear in s, replace and all
/// bytes that the replacements insert, and "ab" by "ba" inserts up to half the square of the length. Memory
/// is linear in replace and the longest text on the way.
CString FindReplaceStr(const CString& s, const CString& find, const CString& replace);
