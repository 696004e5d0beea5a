#pragma once

#include <array>
#include <iosfwd>

#include "CString.h"
#include "CStringList.h"

/// Counts how often each byte value occurs in the texts fed to it, and says what kind of content that is.
///
/// A counter stops at 268435455 when inserting and at 0 when removing. The classification is made by the
/// first question after a change, and kept until the next Insert, Remove or Reset; SetAt does not count as
/// a change. Exactly one of the four questions is answered with true.
class CCharHistogram {
  public:
    CCharHistogram();                                        ///< Nothing counted.
    CCharHistogram(const CCharHistogram& other);             ///< An empty histogram, whatever other holds.
    CCharHistogram& operator=(const CCharHistogram& other);  ///< Takes over counters and classification.
    ~CCharHistogram() = default;

    void Reset();  ///< As constructed.

    /// Count each byte up or down by one. An empty text or list, too, makes the next question classify.
    void Insert(char c);
    void Insert(const CString& s);
    void Insert(const CStringList& list);
    void Remove(char c);
    void Remove(const CString& s);
    void Remove(const CStringList& list);

    unsigned int GetAt(char c) const;    ///< How often c is counted.
    void SetAt(char c, unsigned int n);  ///< Any number; the classification stays as it was.
    CString GetAlphabet() const;         ///< Every byte value counted, once each, ascending.

    void Analyze();         ///< Classifies now. Sums are modulo 2^32.
    bool IsPureNumeric();   ///< Digits and at least one of . , e E d D; else only signs, space, tab, CR, LF.
    bool IsPureInteger();   ///< Digits; else only signs, space, tab, CR, LF.
    bool IsAsciiText();     ///< Anything else below 0x80, control bytes and nothing at all included.
    bool IsCustomBinary();  ///< At least one byte of 0x80 or above.

    /// 256 lines, flushed one by one: "char 0x41A  freq 5". Values up to 32 show as two blanks.
    void Print(std::ostream& out) const;

  private:
    bool Is(int kind);

    std::array<unsigned int, 256> counts;
    int analysis;  // one of the kinds, 0: not classified since the last change
};
