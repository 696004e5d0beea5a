#include "strfunctions.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bytes.h"

using velmorin::Bytes;

// The count has 64 bits, so that widths less lengths cannot overflow.
static std::string Repeat(char c, long long count) {
    return std::string(static_cast<std::size_t>(std::max(count, 0LL)), c);
}

CString StringOfChars(char c, int count) {
    return Repeat(c, count);
}

CString FillStr(const CString& left, char c, const CString& right, int width) {
    const CString gap = Repeat(c, static_cast<long long>(width) - left.GetLength() - right.GetLength());
    return CString(left).Append(gap).Append(right);
}

CString EnumStr(const CString& prefix, int number, const CString& suffix, unsigned int width) {
    const CString digits = std::to_string(number);
    const long long length = 0LL + prefix.GetLength() + digits.GetLength() + suffix.GetLength();
    return CString(prefix).Append(Repeat('0', width - length)).Append(digits).Append(suffix);
}

CString SignStr(int value) {
    const auto bits = static_cast<unsigned int>(value);
    CString sign;
    for (unsigned int shift = 0; shift < 32; shift += 8) sign += static_cast<char>(bits >> shift & 0xFF);
    return sign;
}

CString LeadStr(const CString& s, unsigned int width) {
    return CString(Repeat(' ', static_cast<long long>(width) - s.GetLength())).Append(s);
}

CString JoinStr(const CString& a, const CString& b, char sep) {
    const bool separate = !a.IsEmpty() && !b.IsEmpty() && b.GetFirstChar() != sep;
    return CString(separate ? CheckLastChar(a, sep) : a).Append(b);
}

CString CollectStr(const CStringList& list, const CString& seps) {
    CString collected;
    for (int i = 0; i < std::max(list.GetCount(), seps.GetLength()); ++i) {
        if (i < list.GetCount()) collected += list[i];
        if (i < seps.GetLength()) collected += seps[i];
    }
    return collected;
}

CString CheckFirstChar(const CString& s, char c) {
    return s.GetFirstChar() == c ? s : CString(c).Append(s);
}
CString CheckLastChar(const CString& s, char c) {
    return s.GetLastChar() == c ? s : CString(s).Append(c);
}

CString SubStr(const CString& s, int from, int to) {
    if (from > to) return CString();
    if (s.IsEmpty()) return CString('\0');
    const int last = s.GetLength() - 1;
    const auto begin = static_cast<std::size_t>(std::clamp(from, 0, last));
    const auto end = static_cast<std::size_t>(std::clamp(to, 0, last)) + 1;
    return std::string(Bytes(s).substr(begin, end - begin));
}

CString LeftStr(const CString& s, int last) {
    return SubStr(s, 0, std::min(s.GetLength(), last));
}

CString RightStr(const CString& s, int first) {
    return s.IsEmpty() ? CString() : SubStr(s, first, s.GetLength() - 1);
}

void SplitStr(const CString& s, int pos, CString& left, CString& right) {
    const CString left_part = LeftStr(s, pos);  // left may be s
    right = RightStr(s, pos);
    left = left_part;
}

CString ShiftStr(const CString& s, int n) {
    return RightStr(s, std::max(n, 0));
}

CString TrimStr(const CString& s) {
    const std::string_view bytes = Bytes(s);
    const std::size_t first = bytes.find_first_not_of(' ');
    if (first == std::string_view::npos) return CString();
    return std::string(bytes.substr(first, bytes.find_last_not_of(' ') - first + 1));
}

CString FilterStr(const CString& s, const CCharset& keep, const CCharset& drop, bool keepAll) {
    CString filtered;
    for (const char c : Bytes(s)) {
        if (!drop.Isset(c) && (keepAll || keep.Isset(c))) filtered += c;
    }
    return filtered;
}

CString StripDupChars(const CString& s, char c) {
    CString stripped;
    for (int i = 0; i < s.GetLength(); ++i) {
        if (s[i] != c || s.GetChar(i + 1) != c) stripped += s[i];
    }
    return stripped;
}

CString StripDupChars(const CString& s) {
    CString stripped;
    for (int i = 0; i < s.GetLength(); ++i) {
        if (s.GetChar(i + 1) != s[i]) stripped += s[i];
    }
    return stripped;
}

int CountChars(const CString& s, char c) {
    const std::string_view bytes = Bytes(s);
    return static_cast<int>(std::count(bytes.begin(), bytes.end(), c));
}

int FirstCharPos(const CString& s, char c) {
    return NextCharPos(s, c, 0);
}

int NextCharPos(const CString& s, char c, int from) {
    if (from < 0 && c == '\0') return from;
    const std::size_t found = Bytes(s).find(c, static_cast<std::size_t>(std::max(from, 0)));
    return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

int LastCharPos(const CString& s, char c) {
    return PrevCharPos(s, c, s.GetLength() - 1);
}

int PrevCharPos(const CString& s, char c, int from) {
    if (from < 1) return -1;
    if (from >= s.GetLength() && c == '\0') return from;
    const std::size_t found = Bytes(s).rfind(c, static_cast<std::size_t>(from));
    return found == std::string_view::npos || found == 0 ? -1 : static_cast<int>(found);
}

// memmem is linear even where text and pattern are one long run, which std::string's search is not.
int FindStr(const CString& s, const CString& pattern) {
    const char* const begin = s.GetCString();
    const void* const found = memmem(begin, Bytes(s).size(), pattern.GetCString(), Bytes(pattern).size());
    return found ? static_cast<int>(static_cast<const char*>(found) - begin) : -1;
}

CString FindReplaceChar(const CString& s, char from, char to) {
    CString replaced = s;
    std::replace(replaced.GetString().begin(), replaced.GetString().end(), from, to);
    return replaced;
}

namespace {

// The search of Knuth, Morris and Pratt: linear, and it takes the text byte by byte.
class Matcher {
  public:
    // wanted is not empty and outlives the matcher.
    explicit Matcher(std::string_view wanted) : wanted_(wanted), shorter_(wanted.size()) {
        for (std::size_t n = 1; n + 1 < wanted.size(); ++n) shorter_[n + 1] = After(shorter_[n], wanted[n]);
    }

    // How many bytes at the end of the text begin wanted, when it was `matched` of them (but not all of
    // wanted) before c was added.
    std::size_t After(std::size_t matched, char c) const {
        while (matched > 0 && wanted_[matched] != c) matched = shorter_[matched];
        return wanted_[matched] == c ? matched + 1 : 0;
    }

  private:
    std::string_view wanted_;
    std::vector<std::size_t> shorter_;  // [n]: how long the next shorter match is when n bytes match
};

}  // namespace

// The text is always `done` followed by `todo` read backwards, and `done` holds no occurrence. What an
// insertion forms with the bytes before it is found by looking at these again. They are fewer than the bytes
// that the occurrence had, and those are gone, so the time stays linear.
CString FindReplaceStr(const CString& s, const CString& find, const CString& replace) {
    if (FindStr(s, find) < 0 || FindStr(replace, find) >= 0) return s;  // the second also when find is empty
    const std::string_view put = Bytes(replace);
    const Matcher matcher(Bytes(find));
    std::string done;
    std::string todo(Bytes(s).rbegin(), Bytes(s).rend());
    std::size_t matched = 0;
    while (!todo.empty()) {
        done += todo.back();
        todo.pop_back();
        matched = matcher.After(matched, done.back());
        if (matched < Bytes(find).size()) continue;

        done.resize(done.size() - matched);
        if (done.size() + todo.size() + put.size() > INT_MAX) return s;
        todo.append(put.rbegin(), put.rend());
        const std::size_t kept = done.size() - std::min(done.size(), matched - 1);
        todo.append(done.rbegin(), done.rend() - static_cast<std::ptrdiff_t>(kept));
        done.resize(kept);
        matched = 0;
    }
    return done;
}
