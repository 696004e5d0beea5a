#pragma once

#include <iosfwd>

#include "CString.h"
#include "CStringList.h"

// Walks over text held elsewhere. An iterator owns nothing: the text must outlive it. Every step returns a
// reference into the text itself, to read or write the byte there until the text next changes; the one at an
// end position is a NUL to be read only. Nothing fails: walks stop at both ends, and where there is no byte
// to refer to (no text, or one that was cut short meanwhile) it is a NUL of the iterator's own.

/// The root: walks over nothing, so every position is 0 and every byte its own NUL.
class CCharIterator {
  public:
    CCharIterator();
    CCharIterator(const CCharIterator& other);
    CCharIterator& operator=(const CCharIterator& other);

    /// Where First(), This() and Last() stand.
    virtual int FirstPosition();
    virtual int ThisPosition();
    virtual int LastPosition();
    /// Move to that place, by one step for Prev() and Next(), and return the byte there.
    virtual char& First();
    virtual char& Prev();
    virtual char& This();
    virtual char& Next();
    virtual char& Last();
    virtual void Reset();  ///< As First().

    /// Whether the bytes from here on are `wanted`; true for an empty one. A success with `advance` moves
    /// behind them, otherwise nothing moves. (The root ignores `advance`.) The last end position matches any
    /// number of NULs. The end of a line in a list matches one NUL, then the next line follows.
    virtual bool Match(const CString& wanted, bool advance);

    virtual void Print(std::ostream& out);  ///< Does nothing.
    virtual ~CCharIterator();

  private:
    char nullChar;
};

/// Walks over one text of length n: positions 0 to n, where n is the end position.
class CStringIterator : public CCharIterator {
  public:
    CStringIterator();  ///< Over no text: every byte is NUL, every position 0.
    CStringIterator(const CString* s);
    CStringIterator(const CStringIterator& other);  ///< At the same place, from then on by itself.
    CStringIterator& operator=(const CStringIterator& other);

    int ThisPosition() override;
    int LastPosition() override;  ///< n - 1, so -1 for an empty text.
    char& First() override;       ///< To FirstPosition().
    char& Prev() override;        ///< Stays at 0.
    char& This() override;  ///< NUL also where the text has no position, as after Last() of an empty one.
    char& Next() override;  ///< Up to the end position, and stays there.
    char& Last() override;  ///< To LastPosition().
    void Reset() override;
    bool Match(const CString& wanted, bool advance) override;
    ~CStringIterator() override;

  private:
    const CString* string;
    int position;
};

/// Walks over all lines of a list. A line of length m has the columns 0 to m, where m is its end position.
class CStringListIterator : public CCharIterator {
  public:
    CStringListIterator();  ///< Over no list: every byte is NUL, every position 0.
    CStringListIterator(const CStringList* lines);
    CStringListIterator(const CStringListIterator& other);  ///< At the same place, from then on by itself.
    CStringListIterator& operator=(const CStringListIterator& other);

    int ThisPosition() override;  ///< The column in the current line.
    int LastPosition() override;  ///< All bytes plus one for each line, at most 2147483647.
    char& First() override;
    char& Prev() override;  ///< From column 0 to the last byte of the line before, not to its end position.
    char& This() override;
    char& Next() override;  ///< Through every byte and every line's end position.
    char& Last() override;  ///< To the end position of the last line.
    void Reset() override;
    bool Match(const CString& wanted, bool advance) override;
    ~CStringListIterator() override;

  private:
    CString& Line() const;

    const CStringList* list;
    int line;
    int column;
};
