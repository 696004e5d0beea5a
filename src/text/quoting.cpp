#include "quoting.h"

#include "CCharset.h"
#include "bytes.h"
#include "strfunctions.h"

using velmorin::Bytes;

static constexpr char kQuote = '"';
static constexpr char kShield = '\\';

bool IsQuoted(const CString& s) {
    return s.GetLength() >= 2 && s.GetFirstChar() == kQuote && s.GetLastChar() == kQuote;
}

CString QuoteStr(const CString& s) {
    return IsQuoted(s) ? s : CString(kQuote).Append(s).Append(kQuote);
}

CString UnquoteStr(const CString& s) {
    return IsQuoted(s) ? SubStr(s, 1, s.GetLength() - 2) : s;
}

CString ShieldSpaces(const CString& s) {
    CString shielded;
    bool after_shield = false;
    for (const char c : Bytes(s)) {
        if (!after_shield && c == ' ') shielded += kShield;
        shielded += c;
        after_shield = !after_shield && c == kShield;
    }
    return shielded;
}

CString UnshieldSpaces(const CString& s) {
    return UnshieldChars(s, ' ');
}

CString ShieldChars(const CString& s, const CString& chars) {
    const CCharset members(chars);
    if (chars.IsEmpty()) return s;
    CString shielded;
    bool after_shield = false;
    for (const char c : Bytes(s)) {
        const bool opens_shield = !after_shield && c == kShield;
        if (!opens_shield && members.Isset(c) != after_shield) shielded += kShield;
        shielded += c;
        after_shield = opens_shield;
    }
    return shielded;
}

CString UnshieldChars(const CString& s, const CString& chars) {
    const CCharset members(chars);
    CString bare;
    bool after_shield = false;  // a backslash is held back until it is clear what it shields
    for (const char c : Bytes(s)) {
        if (!after_shield && c == kShield) {
            after_shield = true;
            continue;
        }
        if (after_shield && !members.Isset(c)) bare += kShield;
        bare += c;
        after_shield = false;
    }
    if (after_shield) bare += kShield;
    return bare;
}
