// The text library under arbitrary texts and positions: what must hold of every result, measured by something
// simpler. The unit tests run it with generated input.
#include <algorithm>
#include <string>

#include "bytes.h"  // whose names leave a program its own Bytes
#include "input.h"
#include "stlstrings.h"

namespace {

#define MUST(condition) \
    ((condition) ? void() : Fail("line " + std::to_string(__LINE__) + ", not so: " #condition))

std::string Bytes(const CString& s) {
    return s.GetString();
}

void Fields(Input& input) {
    const char c = input.Take<char>();
    const std::string separators = input.Field();
    const std::string text = input.Rest();
    CStringList fields;
    ParseStr(text, separators, fields);
    std::string whole;
    for (std::size_t i = 0; fields.ValidIndex(static_cast<int>(i)); ++i)
        whole += (i > 0 ? separators.substr(i - 1, 1) : "") + Bytes(fields[static_cast<int>(i)]);
    MUST(whole == text);
    ParseStr(text, c, fields.Clear());
    MUST(Bytes(fields.Join(c)) == text && fields.GetCount() == 1 + CountChars(text, c));
    fields.RemoveDuplicates();
    for (int i = 0; i < fields.GetCount(); ++i) MUST(fields.FindString(fields[i]) == i);
    CString guessed;
    const int guess = GuessStr(separators, text, guessed, true);
    MUST(Bytes(guessed) == Bytes(VariantStr(guess, text, ' ')));
}

void Shields(Input& input) {
    const CString members = input.Field();
    const CString text = input.Rest();
    MUST(IsQuoted(QuoteStr(text)));
    MUST(IsQuoted(text) || Bytes(UnquoteStr(QuoteStr(text))) == Bytes(text));
    const CString shielded = ShieldSpaces(text);
    MUST(Bytes(ShieldSpaces(shielded)) == Bytes(shielded));
    if (CountChars(text, '\\') > 0) return;
    MUST(Bytes(UnshieldSpaces(shielded)) == Bytes(text));
    MUST(Bytes(UnshieldChars(ShieldChars(text, members), members)) == Bytes(text));
}

void Replacements(Input& input) {
    const std::string find = input.Field();
    const std::string put = input.Field();
    const std::string text = input.Rest();
    const std::size_t at = text.find(find);
    MUST(FindStr(text, find) == (at == std::string::npos ? -1 : static_cast<int>(at)));
    if (put.size() > find.size()) return;  // may grow to 2 GiB, as its header says

    const bool changes = !find.empty() && put.find(find) == std::string::npos;
    std::string slow = text;
    for (int steps = 0; changes && slow.find(find) != std::string::npos; ++steps) {
        if (steps == 3000) return;  // of equal length, which may take very many
        slow.replace(slow.find(find), find.size(), put);
    }
    MUST(Bytes(FindReplaceStr(text, find, put)) == slow);
}

void Cuts(Input& input) {
    const int from = input.Take<signed char>(), to = input.Take<signed char>();
    const char c = input.Take<char>();
    const CString text = input.Rest();
    MUST(SubStr(text, from, to).IsEmpty() == (from > to));
    MUST(from < 0 || from >= text.GetLength() ||
         Bytes(LeftStr(text, from - 1)) + Bytes(RightStr(text, from)) == Bytes(text));
    const int next = NextCharPos(text, c, from);
    MUST(next == -1 || (next >= from && text.GetChar(next) == c));
    const int prev = PrevCharPos(text, c, from);
    MUST(prev == -1 || (prev <= from && text.GetChar(prev) == c));
    const std::string once = Bytes(StripDupChars(text));
    MUST(std::adjacent_find(once.begin(), once.end()) == once.end());
}

void Counts(Input& input) {
    const CString text = input.Rest();
    CCharHistogram counts;
    counts.Insert(text);
    CCharset members(text);
    members.UpdateAlphabet();
    MUST(Bytes(counts.GetAlphabet()) == Bytes(members.GetAlphabet()));
    MUST(counts.IsPureNumeric() + counts.IsPureInteger() + counts.IsAsciiText() + counts.IsCustomBinary() ==
         1);
    counts.Remove(text);
    MUST(counts.GetAlphabet().IsEmpty());
}

/// Wherever a walk goes, it stands within its text, and the byte there may be written to.
template <typename Text, typename Iterator>
void Walk(Text text, Input& input) {
    Iterator iterator(&text);
    while (!input.IsEmpty()) {
        const int act = input.Below(7);
        if (act == 0) iterator.First();
        if (act == 1) iterator.Last();
        if (act == 2) iterator.Prev();
        if (act == 3) iterator.Match(input.Text(1), input.Flag());
        if (act > 3) iterator.Next();
        MUST(iterator.ThisPosition() >= -1 && iterator.ThisPosition() <= iterator.LastPosition() + 1);
        if (iterator.This() != '\0') iterator.This() = 'x';
    }
}

void Walks(Input& input) {
    const CString text = input.Field();
    CStringList lines;
    if (input.Flag()) ParseStr(text, '\n', lines);
    input.Flag() ? Walk<CString, CStringIterator>(text, input)
                 : Walk<CStringList, CStringListIterator>(lines, input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr void (*kGroups[])(Input&) = {Fields, Shields, Replacements, Cuts, Counts, Walks};
    Input input(bytes, size);
    input.OneOf(kGroups)(input);
    return 0;
}
