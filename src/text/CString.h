#pragma once

#include <iosfwd>
#include <string>

/// A text: a string of bytes with value semantics, and the kind of line end that AppendEOL adds.
///
/// No character set is assumed. The bytes may include NULs, and the length counts them; only comparison,
/// number reading and SetLength() see the text as a C string, that is up to its first NUL. Positions count
/// from 0. A `const char*` argument is a NUL-terminated string and never null; it may point into this text.
///
/// Nothing fails or throws (memory exhaustion apart): a read outside the text gives NUL, a write outside it
/// does nothing. Members that change the text return it, so that calls can be chained. Not locked.
class CString {
  public:
    /// The line ends AppendEOL knows; it adds nothing for any other value.
    enum eol_t : int {
        EOL_CR = 0,    ///< "\r"
        EOL_LF = 1,    ///< "\n"
        EOL_CRLF = 2,  ///< "\r\n"
    };

    /// Every new text has the line end EOL_LF, a copy too, whatever its source has.
    CString();        ///< Empty.
    CString(char c);  ///< The one byte c, also when it is NUL.
    CString(const char* s);
    CString(const std::string& str);
    CString(const CString& o);
    ~CString();

    std::string& GetString();        ///< The bytes themselves, to read or change.
    std::string GetString() const;   ///< A copy of the bytes.
    const char* GetCString() const;  ///< NUL-terminated; valid until the text changes.
    int GetLength() const;           ///< The number of bytes (2147483647 if there are more).
    bool IsEmpty() const;            ///< Length 0.

    CString& SetLength();       ///< Cuts at the first NUL: for a text written as a C string into it.
    CString& SetLength(int n);  ///< Cuts, or extends with NULs. A negative n counts as 0.
    CString& Clear();           ///< Length 0; the line-end kind stays.
    CString& Fill(char c);      ///< Every byte becomes c; the length stays.

    char GetChar(int i) const;        ///< The byte at i; NUL outside the text.
    char GetFirstChar() const;        ///< NUL for an empty text.
    char GetLastChar() const;         ///< NUL for an empty text.
    CString& SetChar(int i, char c);  ///< Does nothing outside the text.

    /// The byte at i, unchecked: i lies in 0 to length - 1. Reading position length is allowed and gives NUL.
    char& operator[](int i);
    char operator[](int i) const;

    /// The text becomes the argument's; the line-end kind stays, also when a CString is assigned.
    CString& Assign(char c);
    CString& Assign(const char* s);
    CString& Assign(const std::string& str);
    CString& Assign(const CString& o);
    CString& operator=(char c);
    CString& operator=(const char* s);
    CString& operator=(const std::string& str);
    CString& operator=(const CString& o);

    /// Adds bytes at the end, a NUL like any other. Amortised linear in what is added. A text appended to
    /// itself is doubled.
    CString& Append(char c);
    CString& Append(const char* s);
    CString& Append(const CString& o);
    CString& operator+=(char c);
    CString& operator+=(const char* s);
    CString& operator+=(const CString& o);

    /// The text becomes, or is extended by, a number in decimal: whole numbers plainly (-7), others with six
    /// digits after the point and an exponent (1.500000e+00).
    CString& operator=(int number);
    CString& operator=(long long number);
    CString& operator=(float number);
    CString& operator=(double number);
    CString& operator+=(int number);
    CString& operator+=(long long number);
    CString& operator+=(float number);
    CString& operator+=(double number);

    CString& AppendCR();       ///< Adds "\r".
    CString& AppendLF();       ///< Adds "\n".
    CString& AppendCRLF();     ///< Adds "\r\n".
    CString& AppendEOL();      ///< Adds the line end of this text's kind.
    CString& SetEOL(eol_t e);  ///< The one way to change the line-end kind.
    CString GetEOL() const;    ///< Always "\n", the line end of new texts, whatever SetEOL said.

    /// Equal up to the first NUL of each side; case matters.
    bool operator==(const char* s) const;
    bool operator==(const std::string& str) const;
    bool operator==(const CString& o) const;

    /// The decimal number at the start of the text: leading white space is skipped, a sign is allowed, and
    /// reading ends at the first byte that is no digit; without digits it is 0. Always 32 bits wide, also
    /// where `long` has 64: a number too large or too small gives the nearest limit.
    int GetInteger() const;

    /// The same, unsigned: at most 4294967295. A minus wraps modulo 2^32 ("-1" is 4294967295, "-4294967295"
    /// is 1), and a magnitude beyond 4294967295 gives 4294967295 under either sign.
    unsigned long GetUnsignedInteger() const;

    double GetFloat() const;  ///< As strtod reads it; 0 when there is no number.

    std::ostream& Print(std::ostream& out) const;  ///< Writes all bytes, NULs included, and no line end.

  private:
    std::string text;
    eol_t eol;
};
