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

void Texts(Input& input) {
    const int from = input.Take<signed char>();
    const char c = input.Take<char>();
    const std::string other = input.Field(), text = input.Rest();

    CStringList fields;
    ParseStr(text, other, fields);
    std::string whole = Bytes(fields[0]);
    for (int i = 1; i < fields.GetCount(); ++i)
        whole += other[static_cast<std::size_t>(i - 1)] + Bytes(fields[i]);
    MUST(whole == text);
    ParseStr(text, c, fields.Clear());
    MUST(Bytes(fields.Join(c)) == text && fields.GetCount() == 1 + CountChars(text, c));
    fields.RemoveDuplicates();
    for (int i = 0; i < fields.GetCount(); ++i) MUST(fields.FindString(fields[i]) == i);
    MUST(IsQuoted(QuoteStr(text)) && (IsQuoted(text) || Bytes(UnquoteStr(QuoteStr(text))) == text));
    const CString shielded = ShieldSpaces(text), all_shielded = ShieldChars(text, other);
    MUST(Bytes(ShieldSpaces(shielded)) == Bytes(shielded));
    MUST(CountChars(text, '\\') > 0 ||
         (Bytes(UnshieldSpaces(shielded)) == text && Bytes(UnshieldChars(all_shielded, other)) == text));

    MUST(from < 0 || from >= CString(text).GetLength() ||
         Bytes(LeftStr(text, from - 1)) + Bytes(RightStr(text, from)) == text);
    const int next = NextCharPos(text, c, from), prev = PrevCharPos(text, c, from);
    MUST(next == -1 || (next >= from && CString(text).GetChar(next) == c));
    MUST(prev == -1 || (prev <= from && CString(text).GetChar(prev) == c));
    const std::string once = Bytes(StripDupChars(text));
    MUST(std::adjacent_find(once.begin(), once.end()) == once.end());
}

// Only by shorter texts: others may take very long, or 2 GiB, as the header says.
void Replacements(Input& input) {
    const std::string find = input.Field(),
                      put = input.Field().substr(0, std::max<std::size_t>(find.size(), 1) - 1);
    std::string text = input.Rest();
    MUST(FindStr(text, find) == static_cast<int>(text.find(find)));  // nowhere: -1 both
    const CString replaced = FindReplaceStr(text, find, put);
    while (!find.empty() && text.find(find) != text.npos) text.replace(text.find(find), find.size(), put);
    MUST(Bytes(replaced) == text);
}

/// Wherever a walk goes, it stands within its text, and the byte there may be written to.
void Walk(CCharIterator&& iterator, Input& input) {
    while (!input.IsEmpty()) {
        const int act = input.Below(6);
        act == 0   ? iterator.First()
        : act == 1 ? iterator.Last()
        : act == 2 ? iterator.Prev()
                   : iterator.Next();
        if (act == 5) iterator.Match(input.Text(1), input.Flag());
        MUST(iterator.ThisPosition() >= -1 && iterator.ThisPosition() <= iterator.LastPosition() + 1);
        if (iterator.This() != '\0') iterator.This() = 'x';
    }
}

void Walks(Input& input) {
    const CString text = input.Field();
    CStringList lines;
    if (input.Flag()) ParseStr(text, '\n', lines);
    input.Flag() ? Walk(CStringIterator(&text), input) : Walk(CStringListIterator(&lines), input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr void (*kGroups[])(Input&) = {Texts, Replacements, Walks};
    Input input(bytes, size);
    input.OneOf(kGroups)(input);
    return 0;
}
