#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <vector>

#include "CString.h"

/// An ordered list of texts, read from and written to text files, one text a line.
///
/// The list owns every text in it, from insertion (or hand-over as a pointer) to removal. Indices count from
/// 0; every index outside 0 to count - 1 stands for the placeholder, an empty text of the list's own, so a
/// lookup never fails. A reference to a text stays valid until that text is removed.
///
/// An argument may be, or belong to, the list itself: it is taken as it was before the call.
/// Nothing throws (memory exhaustion apart). Not locked.
class CStringList {
  public:
    CStringList();                          ///< Empty.
    CStringList(const CStringList& other);  ///< Copies of other's texts; the placeholder is not copied.
    ~CStringList();

    CStringList& operator=(const CStringList& other);  ///< As the copy constructor; itself: no change.
    CStringList& operator=(const CString& s);          ///< The list of the one text s.

    int GetCount() const;          ///< The number of texts.
    bool ValidIndex(int i) const;  ///< Whether i is in 0 to count - 1.
    int GetLength() const;         ///< The sum of the lengths, at most 2147483647.
    bool IsEmpty() const;          ///< No texts, or only empty ones.

    /// Text i, or the placeholder. What is written to the placeholder shows in every later invalid lookup.
    CString& operator[](int i);
    CString& GetString(int i);
    CString operator[](int i) const;  ///< A copy.
    CString GetString(int i) const;   ///< A copy.

    CString Join(const CString& sep) const;  ///< All texts with sep between neighbours.
    int FindString(const CString& s) const;  ///< The first text equal to s up to the first NUL, or -1.

    /// Append, and return the last new index. A copy of s has the line end EOL_LF. The object p must come
    /// from `new` and belong to no list; it becomes the list's. A null p is not inserted: -1.
    int Insert(const CString& s);
    int Insert(const CString* p);
    CStringList& Insert(const CStringList& other);  ///< Appends copies; inserting itself doubles the list.
    CStringList& operator<<(const CString& s);      ///< Insert(s), to be chained.

    /// Insert before text i. An invalid i, the count included, changes nothing, and p stays the caller's.
    CStringList& InsertAt(int i, const CString& s);
    CStringList& InsertAt(int i, const CString* p);
    CStringList& InsertAt(int i, const CStringList& other);  ///< Linear in the two lists, not their product.

    /// Remove and destroy. The order of what is kept never changes, and texts are not moved, only pointers.
    CStringList& RemoveAt(int i);     ///< An invalid i changes nothing.
    CStringList& RemoveEmpty();       ///< Removes every text of length 0.
    CStringList& RemoveDuplicates();  ///< Keeps the first of equal texts (up to the first NUL). Linear.
    CStringList& Clear();             ///< The placeholder stays as it is.

    /// Clear(), then AppendFromFile(path).
    bool LoadFromFile(const CString& path);

    /// Appends the lines of a file, without their line ends, in time linear in the file; lines have no length
    /// limit. A line ends at LF, CR, CR LF or NUL; bytes after the last line end are a line too, if there are
    /// any. False when the file cannot be opened, or when reading it fails (a folder does): the lines read
    /// to their end until then are kept, an unfinished one is not. Blocks as long as the file does (a pipe).
    bool AppendFromFile(const CString& path);

    /// Writes every text, all of its bytes, and a LF after each; an existing file is replaced. Loading it
    /// gives the same texts back unless one holds CR, LF or NUL. False when the file cannot be opened; write
    /// errors are not reported.
    bool SaveToFile(const CString& path) const;

    /// Writes each text up to its first NUL, then a line end, and flushes out after each.
    std::ostream& Print(std::ostream& out) const;

  private:
    CStringList& InsertCopies(std::size_t at, const CStringList& other);

    std::vector<std::unique_ptr<CString>> items;  // never null
    CString placeholder;
};
