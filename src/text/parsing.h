#pragma once

#include "CString.h"
#include "CStringList.h"

// Cutting a text into fields, and picking among texts. Blanks are never trimmed, and nothing is quoted or
// escaped: a separator always separates. A result may be one of the arguments.

/// Cuts s at the first occurrence of the first separator, then after that at the first of the second, and so
/// on; the rest is the last field, whatever it holds. "k=a=b" at "=" gives "k" and "a=b". The fields are
/// appended. An empty s gives no field, except with no separators: then s itself is the one field.
void ParseStr(const CString& s, const CString& separators, CStringList& fields);

/// Cuts s at every c; fields may be empty. An empty s, and one without c, gives itself as the one field.
void ParseStr(const CString& s, char c, CStringList& fields);

/// Field number index, from 0, of s cut at every c; empty when there is no such field.
CString VariantStr(int index, const CString& s, char c);

/// The index of the first candidate equal to s (up to the first NUL, case matters). Failing that, and with
/// guess set, of the one whose bytes resemble those of s most: the sum over all byte values of count in s
/// times count in the candidate, modulo 2^32. -1 when nothing resembles s, and also as soon as a candidate
/// merely equals the best score so far, even if a later one would beat both.
/// `result` receives the chosen candidate, or becomes empty.
int GuessStr(const CString& s, const CStringList& candidates, CString& result, bool guess);

/// The same with the candidates as words, cut at every blank.
int GuessStr(const CString& s, const CString& candidates, CString& result, bool guess);
