#pragma once

#include <array>
#include <iosfwd>

#include "CString.h"

/// A set of byte values, with its alphabet: the members as a text.
///
/// The alphabet is the text it was given, unchanged, repeats included, until SetChar or UnsetChar replace it
/// by every member once in ascending order (a NUL comes first, 0x80 and above last).
class CCharset {
  public:
    CCharset();  ///< The empty set.
    CCharset(const CString& members);
    CCharset(const CCharset& other);
    CCharset& operator=(const CCharset& other);
    ~CCharset();

    void UpdateCharset();   ///< The members become the bytes of the alphabet.
    void UpdateAlphabet();  ///< The alphabet becomes the members, each once, ascending.

    bool Isset(char c) const;    ///< Whether c is a member.
    char GetChar(char c) const;  ///< c if it is a member, otherwise NUL; only Isset tells of NUL itself.
    void SetChar(char c);        ///< Adds c and rewrites the alphabet.
    void UnsetChar(char c);      ///< Takes c away and rewrites the alphabet.

    CString GetAlphabet() const;               ///< A copy.
    void SetAlphabet(const CString& members);  ///< As constructed from members.

    void Print(std::ostream& out) const;  ///< The alphabet up to its first NUL.

  private:
    std::array<unsigned char, 256> charset;  // 1 for a member, otherwise 0
    CString alphabet;
};
