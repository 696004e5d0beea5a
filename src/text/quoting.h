#pragma once

#include "CString.h"

// Double quotes around a whole text, and backslashes in front of chosen bytes. A byte after a backslash is
// shielded, and a shielded backslash shields nothing. Everything is linear in the text.

/// At least two bytes, the first and the last of them a double quote; those inside mean nothing.
bool IsQuoted(const CString& s);

CString QuoteStr(const CString& s);    ///< s in double quotes, unless it is quoted.
CString UnquoteStr(const CString& s);  ///< s without its quotes, if it is quoted.

/// Puts a backslash before every space that is not shielded. Doing it twice changes nothing more.
CString ShieldSpaces(const CString& s);
CString UnshieldSpaces(const CString& s);  ///< Takes the backslash from every shielded space.

/// Puts a backslash before every member of chars that is not shielded, and doubles a backslash that shields
/// anything else. A backslash is never shielded for being a member, and a last one stays single. No chars:
/// s itself.
CString ShieldChars(const CString& s, const CString& chars);

/// Takes the backslash from every shielded member of chars. Gives the text from before ShieldChars, unless
/// that held backslashes.
CString UnshieldChars(const CString& s, const CString& chars);
