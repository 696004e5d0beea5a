#include "iterators.h"

#include <algorithm>
#include <climits>

CCharIterator::CCharIterator() : nullChar('\0') {}
CCharIterator::CCharIterator(const CCharIterator&) : CCharIterator() {}
CCharIterator& CCharIterator::operator=(const CCharIterator& other) = default;
CCharIterator::~CCharIterator() = default;

int CCharIterator::FirstPosition() {
    return 0;
}
int CCharIterator::ThisPosition() {
    return 0;
}
int CCharIterator::LastPosition() {
    return 0;
}
char& CCharIterator::First() {
    return nullChar;
}
char& CCharIterator::Prev() {
    return nullChar;
}
char& CCharIterator::This() {
    return nullChar;
}
char& CCharIterator::Next() {
    return nullChar;
}
char& CCharIterator::Last() {
    return nullChar;
}
void CCharIterator::Reset() {}
void CCharIterator::Print(std::ostream&) {}

bool CCharIterator::Match(const CString& wanted, bool) {
    for (int i = 0; i < wanted.GetLength(); ++i) {
        if (This() != wanted[i]) return false;
        Next();
    }
    return true;
}

CStringIterator::CStringIterator() : CStringIterator(nullptr) {}
CStringIterator::CStringIterator(const CString* s) : string(s), position(0) {}
CStringIterator::CStringIterator(const CStringIterator& other) = default;
CStringIterator& CStringIterator::operator=(const CStringIterator& other) = default;
CStringIterator::~CStringIterator() = default;

int CStringIterator::ThisPosition() {
    return position;
}
int CStringIterator::LastPosition() {
    return string ? string->GetLength() - 1 : 0;
}

char& CStringIterator::First() {
    position = FirstPosition();
    return This();
}

char& CStringIterator::Prev() {
    if (position > 0) --position;
    return This();
}

// The text is held as read-only, but what is handed out may be written to.
char& CStringIterator::This() {
    if (!string || position < 0 || position > string->GetLength()) return CCharIterator::This();
    return (*const_cast<CString*>(string))[position];
}

char& CStringIterator::Next() {
    if (string && position < string->GetLength()) ++position;
    return This();
}

char& CStringIterator::Last() {
    position = LastPosition();
    return This();
}

void CStringIterator::Reset() {
    First();
}

bool CStringIterator::Match(const CString& wanted, bool advance) {
    const int start = position;
    const bool matched = CCharIterator::Match(wanted, advance);
    if (!matched || !advance) position = start;
    return matched;
}

CStringListIterator::CStringListIterator() : CStringListIterator(nullptr) {}
CStringListIterator::CStringListIterator(const CStringList* lines) : list(lines), line(0), column(0) {}
CStringListIterator::CStringListIterator(const CStringListIterator& other) = default;
CStringListIterator& CStringListIterator::operator=(const CStringListIterator& other) = default;
CStringListIterator::~CStringListIterator() = default;

// The current line, or the list's placeholder; held as read-only, but what is handed out may be written to.
CString& CStringListIterator::Line() const {
    return (*const_cast<CStringList*>(list))[line];
}

int CStringListIterator::ThisPosition() {
    return column;
}
int CStringListIterator::LastPosition() {
    if (!list) return 0;
    return static_cast<int>(std::min<long long>(0LL + list->GetCount() + list->GetLength(), INT_MAX));
}

char& CStringListIterator::First() {
    line = 0;
    column = 0;
    return This();
}

char& CStringListIterator::Prev() {
    if (column > 0) {
        --column;
    } else if (list && line > 0) {
        --line;
        column = std::max(Line().GetLength() - 1, 0);
    }
    return This();
}

char& CStringListIterator::This() {
    if (!list || column > Line().GetLength()) return CCharIterator::This();
    return Line()[column];
}

char& CStringListIterator::Next() {
    if (!list) return This();
    if (column < Line().GetLength()) {
        ++column;
    } else if (line < list->GetCount() - 1) {
        ++line;
        column = 0;
    }
    return This();
}

char& CStringListIterator::Last() {
    if (!list) return This();
    line = list->GetCount() - 1;
    column = Line().GetLength();
    return This();
}

void CStringListIterator::Reset() {
    First();
}

bool CStringListIterator::Match(const CString& wanted, bool advance) {
    const int start_line = line;
    const int start_column = column;
    const bool matched = CCharIterator::Match(wanted, advance);
    if (!matched || !advance) {
        line = start_line;
        column = start_column;
    }
    return matched;
}
