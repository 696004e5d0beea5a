#include "CCharHistogram.h"

#include <cstdio>
#include <ostream>

#include "CCharset.h"
#include "alphabets.h"
#include "bytes.h"

using velmorin::Bytes;
using velmorin::ByteValue;

namespace {

constexpr unsigned int kCounterLimit = 0x0FFFFFFF;

enum Kind : int { kPureNumeric = 1, kPureInteger = 2, kAsciiText = 4, kCustomBinary = 8 };

}  // namespace

CCharHistogram::CCharHistogram() : counts{}, analysis(0) {}
CCharHistogram::CCharHistogram(const CCharHistogram&) : CCharHistogram() {}
CCharHistogram& CCharHistogram::operator=(const CCharHistogram& other) = default;

void CCharHistogram::Reset() {
    counts.fill(0);
    analysis = 0;
}

void CCharHistogram::Insert(char c) {
    unsigned int& count = counts[ByteValue(c)];
    if (count < kCounterLimit) ++count;
    analysis = 0;
}

void CCharHistogram::Insert(const CString& s) {
    for (const char c : Bytes(s)) Insert(c);
    analysis = 0;
}

void CCharHistogram::Insert(const CStringList& list) {
    for (int i = 0; i < list.GetCount(); ++i) Insert(list[i]);
    analysis = 0;
}

void CCharHistogram::Remove(char c) {
    unsigned int& count = counts[ByteValue(c)];
    if (count > 0) --count;
    analysis = 0;
}

void CCharHistogram::Remove(const CString& s) {
    for (const char c : Bytes(s)) Remove(c);
    analysis = 0;
}

void CCharHistogram::Remove(const CStringList& list) {
    for (int i = 0; i < list.GetCount(); ++i) Remove(list[i]);
    analysis = 0;
}

unsigned int CCharHistogram::GetAt(char c) const {
    return counts[ByteValue(c)];
}
void CCharHistogram::SetAt(char c, unsigned int n) {
    counts[ByteValue(c)] = n;
}

CString CCharHistogram::GetAlphabet() const {
    CString alphabet;
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        if (GetAt(c) != 0) alphabet += c;
    }
    return alphabet;
}

void CCharHistogram::Analyze() {
    const CCharset digits(ALPHABET_NUMBER);
    const CCharset integer(ALPHABET_INTEGER_NUMBER);
    const CCharset real(ALPHABET_REAL_NUMBER);
    const CCharset spaced(CString(ALPHABET_REAL_NUMBER)
                              .Append(ALPHABET_TAB_CHAR)
                              .Append(' ')
                              .Append(ALPHABET_CR_CHAR)
                              .Append(ALPHABET_LF_CHAR));
    unsigned int total = 0, below_0x80 = 0, in_spaced = 0, in_real = 0, in_integer = 0, in_digits = 0;
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        const unsigned int count = GetAt(c);
        total += count;
        if (value < 0x80) below_0x80 += count;
        if (spaced.Isset(c)) in_spaced += count;
        if (real.Isset(c)) in_real += count;
        if (integer.Isset(c)) in_integer += count;
        if (digits.Isset(c)) in_digits += count;
    }
    if (total > below_0x80) {
        analysis = kCustomBinary;
    } else if (total <= in_spaced && in_digits > 0) {
        analysis = in_integer < in_real ? kPureNumeric : kPureInteger;
    } else {
        analysis = kAsciiText;
    }
}

bool CCharHistogram::Is(int kind) {
    if (analysis == 0) Analyze();
    return analysis == kind;
}

bool CCharHistogram::IsPureNumeric() {
    return Is(kPureNumeric);
}
bool CCharHistogram::IsPureInteger() {
    return Is(kPureInteger);
}
bool CCharHistogram::IsAsciiText() {
    return Is(kAsciiText);
}
bool CCharHistogram::IsCustomBinary() {
    return Is(kCustomBinary);
}

void CCharHistogram::Print(std::ostream& out) const {
    for (unsigned int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        const char shown[] = {value > 32 ? c : ' ', ' '};
        char number[32];
        const int length = std::snprintf(number, sizeof number, "char 0x%02x", value);
        out.write(number, length).write(shown, sizeof shown);
        out.write(number, std::snprintf(number, sizeof number, " freq %u", GetAt(c))) << std::endl;
    }
}
