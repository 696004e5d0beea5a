// The text library under arbitrary texts, numbers and positions: each function keeps what its header says,
// measured by something simpler that must hold of its result.
#include <algorithm>
#include <climits>
#include <sstream>
#include <string>

#include "input.h"
#include "slownumber.h"
#include "stlstrings.h"

namespace {

#define MUST(condition) \
    ((condition) ? void() : Fail("line " + std::to_string(__LINE__) + ", not so: " #condition))

std::string Of(const CString& s) {
    return s.GetString();
}

void Parse(Input& input) {
    const std::string separators = input.Field();
    const std::string text = input.Rest();
    CStringList fields;
    ParseStr(text, separators, fields);
    std::string whole;
    for (int i = 0; i < fields.GetCount(); ++i) {
        if (i > 0) whole += separators.at(static_cast<std::size_t>(i) - 1);
        whole += Of(fields[i]);
    }
    MUST(whole == text);

    const char c = separators.empty() ? '=' : separators[0];
    CStringList every;
    ParseStr(text, c, every);
    MUST(Of(every.Join(c)) == text);
    MUST(every.GetCount() == 1 + CountChars(text, c));
    for (int i = -1; i <= std::min(every.GetCount(), 9); ++i)
        MUST(Of(VariantStr(i, text, c)) == Of(every[i]));
}

void Guess(Input& input) {
    const CString wanted = input.Field();
    const CString candidates = input.Rest();
    CString exact, guessed;
    const int found = GuessStr(wanted, candidates, exact, false);
    const int like = GuessStr(wanted, candidates, guessed, true);
    MUST(found < 0 || (exact == wanted && like == found));
    MUST(found >= 0 || exact.IsEmpty());
    MUST(like >= 0 || guessed.IsEmpty());
    MUST(Of(guessed) == Of(VariantStr(like, candidates, ' ')));
}

void Quote(Input& input) {
    const CString members = input.Field();
    const CString text = input.Rest();
    MUST(IsQuoted(QuoteStr(text)));
    MUST(IsQuoted(text) || Of(UnquoteStr(QuoteStr(text))) == Of(text));
    const CString shielded = ShieldSpaces(text);
    MUST(Of(ShieldSpaces(shielded)) == Of(shielded));
    if (CountChars(text, '\\') > 0) return;
    MUST(Of(UnshieldSpaces(shielded)) == Of(text));
    MUST(Of(UnshieldChars(ShieldChars(text, members), members)) == Of(text));
}

void Replace(Input& input) {
    const std::string find = input.Field();
    const std::string put = input.Field();
    const std::string text = input.Rest();
    const std::size_t at = text.find(find);
    MUST(FindStr(text, find) == (at == std::string::npos ? -1 : static_cast<int>(at)));
    if (put.size() > find.size()) return;  // may grow to 2 GiB, as its header says

    const bool changes = !find.empty() && put.find(find) == std::string::npos;
    std::string slow = text;
    for (int steps = 0; changes && slow.find(find) != std::string::npos; ++steps) {
        if (steps == 3000) return;  // of equal length, and without an end
        slow.replace(slow.find(find), find.size(), put);
    }
    MUST(Of(FindReplaceStr(text, find, put)) == slow);
}

void Cut(Input& input) {
    const int from = input.Take<int>();
    const int to = input.Take<int>();
    const char c = input.Take<char>();
    const CString text = input.Rest();
    const int length = text.GetLength();
    MUST(SubStr(text, from, to).IsEmpty() == (from > to));
    MUST(LeftStr(text, from).GetLength() <= std::max(length, 1));
    MUST(RightStr(text, from).GetLength() <= length);
    MUST(length == 0 || from < 0 || from >= length ||
         Of(LeftStr(text, from - 1)) + Of(RightStr(text, from)) == Of(text));
    CString left, right;
    SplitStr(text, to, left, right);
    MUST(Of(left) == Of(LeftStr(text, to)) && Of(right) == Of(RightStr(text, to)));
    const int next = NextCharPos(text, c, from);
    MUST(next == -1 || text.GetChar(next) == c);
    const int prev = PrevCharPos(text, c, from);
    MUST(prev == -1 || (prev <= from && text.GetChar(prev) == c));
    const std::string once = Of(StripDupChars(text));
    MUST(std::adjacent_find(once.begin(), once.end()) == once.end());
    MUST(CountChars(FindReplaceChar(text, c, static_cast<char>(c + 1)), c) == 0);
    MUST(CountChars(FilterStr(text, CCharset(), CCharset(CString(c)), true), c) == 0);
    MUST(TrimStr(text).GetFirstChar() != ' ' && TrimStr(text).GetLastChar() != ' ');
    MUST(Of(FillStr(text, c, text, from % 5000)).size() >= 2 * static_cast<std::size_t>(length));
    MUST(Of(EnumStr("a", from, "b", static_cast<unsigned int>(to) % 5000)).size() >= 3);
}

void Numbers(Input& input) {
    const double real = input.Take<double>();
    const long long size = input.Take<long long>();
    const std::string text = input.Rest();
    MUST(CString(text).GetInteger() == SlowNumber(text, INT_MIN, INT_MAX));
    MUST(CString(text).GetUnsignedInteger() == SlowUnsigned(text));
    CString(text).GetFloat();
    int multiplier = 0;
    char unit = 0;
    const int number = ParseMemSizeStr(text, multiplier, unit);
    MUST(number >= 0 && multiplier >= 1 && CString("bkmg").GetString().find(unit) != std::string::npos);
    ParseMemSizeStr(text);
    MUST(ParseMemSizeStr64(text) / 1099511627776 <= number);
    MUST(!MemSizeStr(size).IsEmpty() && !SI_UnitStr(real).IsEmpty());
    CString written;
    written = size;
    MUST(Of(written) == std::to_string(size));
    written += real;
}

void Count(Input& input) {
    const CString text = input.Rest();
    CCharHistogram histogram;
    histogram.Insert(text);
    const int answers = histogram.IsPureNumeric() + histogram.IsPureInteger() + histogram.IsAsciiText() +
                        histogram.IsCustomBinary();
    MUST(answers == 1);
    histogram.Remove(text);
    MUST(histogram.GetAlphabet().IsEmpty());
    std::ostringstream out;
    histogram.Print(out);
    CCharset members(text);
    members.UpdateAlphabet();
    for (int i = 0; i < text.GetLength(); ++i) MUST(members.Isset(text[i]));
    MUST(members.GetAlphabet().GetLength() <= 256);
}

/// A walk that ends where it stands must stand on the byte that its position names.
template <typename Iterator>
void Walk(Iterator& iterator, Input& input) {
    while (!input.IsEmpty()) {
        const int act = input.Below(7);
        if (act == 0) iterator.First();
        if (act == 1) iterator.Last();
        if (act == 2) iterator.Prev();
        if (act == 3) {
            const std::string wanted = input.Text(static_cast<std::size_t>(input.Below(4)));
            iterator.Match(wanted, input.Flag());
        }
        if (act > 3) iterator.Next();
        MUST(iterator.ThisPosition() >= -1 && iterator.ThisPosition() <= iterator.LastPosition() + 1);
        if (iterator.This() != '\0') iterator.This() = 'x';
    }
}

void Walks(Input& input) {
    const bool over_list = input.Flag();
    CString text = input.Field();
    CStringList lines;
    ParseStr(text, '\n', lines);
    if (input.Flag()) lines.Clear();
    CStringIterator in_text(&text);
    CStringListIterator in_list(&lines);
    over_list ? Walk(in_list, input) : Walk(in_text, input);
}

void Lists(Input& input) {
    CStringList list;
    while (!input.IsEmpty()) {
        const int index = static_cast<int>(input.Below(256)) - 128;
        const int count = list.GetCount();
        const int act = input.Below(7);
        if (act == 0) list.Insert(CString(input.Field()));
        if (act == 1) list.InsertAt(index, CString(input.Field()));
        if (act == 2) {
            list.RemoveAt(index);
            MUST(list.GetCount() == count - (index >= 0 && index < count));
        }
        if (act == 3) {
            list.RemoveDuplicates();
            for (int i = 0; i < list.GetCount(); ++i) MUST(list.FindString(list[i]) == i);
        }
        if (act == 4) list.RemoveEmpty();
        if (act == 5 && count < 1000) list.InsertAt(index, list);
        if (act == 6) list[index] += 'y';
    }
    MUST(list.Join("").GetLength() == list.GetLength());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr void (*kGroups[])(Input&) = {Parse, Guess, Quote, Replace, Cut, Numbers, Count, Walks, Lists};
    Input input(bytes, size);
    kGroups[input.Below(static_cast<int>(std::size(kGroups)))](input);
    return 0;
}
