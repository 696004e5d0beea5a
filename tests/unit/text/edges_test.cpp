// NULs inside texts, positions outside them, and arguments that belong to what they are given to; the last
// fail loudest under the address sanitizer.

#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "benchdir.h"
#include "text_support.h"

using namespace std::string_literals;

TEST(Nul, IsAByteLikeAnyOtherButEndsATextForComparison) {
    CString s("a\0b"s);
    EXPECT_EQ(Row(s.GetLength(), s == "a", s == "a\0c"s, s == CString("A")), "3|1|1|0|");
    EXPECT_EQ(Raw(s.SetLength()), "a");
    EXPECT_EQ(Raw(s.SetLength(3)), "a\0\0"s);
    EXPECT_EQ(Raw(s.SetLength(-1)), "");
    EXPECT_EQ(Raw(CString('\0').Append('\0')), "\0\0"s);

    CStringList list = List({"a\0x"s, "b", "a\0y"s, "\0"s, ""});
    EXPECT_EQ(Row(list.FindString("a\0z"s), list.FindString("c")), "0|-1|");
    EXPECT_EQ(Raw(list.RemoveDuplicates()), "a\0x|b|\0|"s);
    EXPECT_EQ(list.RemoveEmpty().GetCount(), 3);

    ParseStr("a\0\0b\0"s, '\0', list.Clear());
    EXPECT_EQ(Raw(list), "a||b||");
    EXPECT_EQ(FindStr("ab\0cd"s, "\0c"s), 2);
    EXPECT_EQ(Row(FindReplaceStr("a\0b\0"s, "\0"s, ", "), FindReplaceChar("a\0"s, '\0', 'b')), "a, b, |ab|");
}

TEST(Outside, ReadsAreNulAndWritesAreIgnored) {
    CString s("abc");
    CStringList list = List({"a", "b", "c"});
    const CStringList& fixed = list;
    for (const int i : {INT_MIN, -1, 3, INT_MAX}) {
        EXPECT_EQ(s.GetChar(i), '\0') << i;
        EXPECT_EQ(Raw(s.SetChar(i, 'x')), "abc") << i;
        EXPECT_EQ(Raw(list[i]) + Raw(fixed[i]), "") << i;
        EXPECT_EQ(list.RemoveAt(i).GetCount(), 3) << i;
    }
    EXPECT_EQ(Raw(s.SetChar(2, 'd').SetChar(0, 'e')), "ebd");
    EXPECT_EQ(CString("").GetFirstChar() + CString("").GetLastChar(), 0);
}

TEST(Outside, RangesArePulledIntoTheText) {
    const CString s("abcdef");
    EXPECT_EQ(Row(SubStr(s, 2, 3), SubStr(s, 4, 2), SubStr(s, INT_MAX, INT_MIN)), "cd|||");
    EXPECT_EQ(Row(SubStr(s, -5, 100), SubStr(s, -9, -3), SubStr(s, 6, INT_MAX)), "abcdef|a|f|");
    EXPECT_EQ(Row(SubStr("", -3, 8), SubStr("", 1, 0), SubStr("a\0b"s, 1, 2)), "\0||\0b|"s);
    const struct {
        const char* text;
        int position;
        std::string left_and_rights;
    } cuts[] = {
        {"abc", INT_MIN, "|abc|abc|"}, {"abc", 0, "a|abc|abc|"}, {"abc", 2, "abc|c|c|"}, {"abc", 3, "abc|||"},
        {"abc", INT_MAX, "abc|||"},    {"", -1, "|||"},          {"", 0, "\0|||"s},
    };
    for (const auto& [text, at, cut] : cuts) {
        EXPECT_EQ(Row(LeftStr(text, at), RightStr(text, at), ShiftStr(text, at)), cut) << text << ' ' << at;
    }
}

// What F(irst), P(rev), T(his), N(ext) and L(ast) return, one after the other.
static std::string Walk(CCharIterator& it, const std::string& steps) {
    std::string seen;
    for (const char step : steps) {
        if (step == 'F') seen += it.First();
        if (step == 'P') seen += it.Prev();
        if (step == 'T') seen += it.This();
        if (step == 'N') seen += it.Next();
        if (step == 'L') seen += it.Last();
    }
    return seen;
}

TEST(TextIterator, StopsAtBothEnds) {
    CString s("abc");
    CStringIterator it(&s);
    EXPECT_EQ(Walk(it, "TPLNN"), "aac\0\0"s);
    CStringIterator copy(it);
    EXPECT_EQ(Walk(copy, "PPP"), "cba");
    EXPECT_EQ(it.ThisPosition(), 3);
    it.First() = 'z';
    EXPECT_EQ(Raw(s), "zbc");

    EXPECT_FALSE(it.Match("zbd", true));
    EXPECT_TRUE(it.Match("zb", false));
    EXPECT_EQ(it.ThisPosition(), 0);
    EXPECT_TRUE(it.Match("zb", true));
    EXPECT_EQ(it.ThisPosition(), 2);
    EXPECT_TRUE(it.Match("c\0\0\0"s, true));  // the end reads as NUL as often as it is asked
}

TEST(ListIterator, VisitsLineEndsForwardsButNotBackwards) {
    CStringList list;
    CStringListIterator it(&list);
    EXPECT_EQ(Walk(it, "LNP"), "\0\0\0"s);
    list.Insert(List({"ab", "", "c"}));
    EXPECT_EQ(Walk(it, "FNNNNNN"), "ab\0\0c\0\0"s);
    EXPECT_EQ(Row(it.ThisPosition(), it.LastPosition()), "1|6|");
    EXPECT_EQ(Walk(it, "LPPPPP"), "\0c\0baa"s);

    EXPECT_FALSE(it.Match("abc", true));
    EXPECT_TRUE(it.Match("ab\0\0c"s, false));
    EXPECT_EQ(it.This(), 'a');
    EXPECT_TRUE(it.Match("ab\0"s, true));
    EXPECT_EQ(Walk(it, "TN"), "\0c"s);
    it.Reset();
    EXPECT_EQ(it.This(), 'a');
}

TEST(Iterator, HasANulOfItsOwnWhereThereIsNoByte) {
    CString empty;
    CStringIterator(&empty).Last() = 'x';  // lands in the iterator
    EXPECT_EQ(empty.GetLength(), 0);
    CStringIterator in_empty(&empty), in_no_text;
    EXPECT_EQ(Walk(in_empty, "LPN") + Walk(in_no_text, "FPTNL"), std::string(8, '\0'));
    CStringListIterator in_no_list;
    EXPECT_EQ(Walk(in_no_list, "FPTNL"), std::string(5, '\0'));
    EXPECT_EQ(Row(in_empty.ThisPosition(), in_no_text.LastPosition(), in_no_list.LastPosition()), "0|0|0|");
}

TEST(Ownership, HandedOverTextIsTheListsUnlessItIsRefused) {
    CStringList list = List({"a"});
    CString* const given = new CString("given");
    EXPECT_EQ(list.Insert(given), 1);
    EXPECT_EQ(&list[1], given);
    EXPECT_EQ(Raw(list.InsertAt(0, new CString("first")).RemoveAt(1)), "first|given|");

    const auto mine = std::make_unique<CString>("mine");
    for (const int i : {-1, 2, 3}) {
        EXPECT_EQ(list.InsertAt(i, mine.get()).InsertAt(i, *mine).InsertAt(i, list).GetCount(), 2) << i;
    }
    const CString* const none = nullptr;
    EXPECT_EQ(list.InsertAt(0, none).Insert(none), -1);
    EXPECT_EQ(list.GetCount(), 2);
}

TEST(Ownership, ReferencesOutliveChangesOfTheirNeighbours) {
    CStringList list = List({"a", "kept", "a", ""});
    CString& kept = list[1];
    for (int i = 0; i < 1000; ++i) list << "more";
    list.RemoveAt(0).RemoveEmpty().RemoveDuplicates().InsertAt(0, List({"x", "y"}));
    EXPECT_EQ(Raw(list), "x|y|kept|a|more|");
    EXPECT_EQ(&list[2], &kept);
}

TEST(Ownership, CopiesShareNothingNotEvenThePlaceholder) {
    CStringList list = List({"a", "b"});
    const CStringList copy(list);
    CStringList assigned = List({"old"});
    assigned = list;
    list[0] = "changed";
    list[7] = "written";
    EXPECT_EQ(Raw(list.Clear()[-1]), "written");
    EXPECT_EQ(Raw(copy) + Raw(assigned), "a|b|a|b|");
    EXPECT_EQ(Raw(CStringList(list)[0]), "");
}

TEST(OwnArgument, IsTakenAsItWasBeforeTheCall) {
    CStringList list = List({"a", "b"});
    const CStringList& same_list = list;
    list = same_list;
    EXPECT_EQ(Raw(list.Insert(same_list)), "a|b|a|b|");
    EXPECT_EQ(Raw(list.RemoveDuplicates().InsertAt(1, same_list)), "a|a|b|b|");

    const std::string text(100, 'b');
    list = List({"a", text});
    list.InsertAt(0, list[1]).Insert(list[0]);
    EXPECT_EQ(Raw(list), text + "|a|" + text + '|' + text + '|');
    list = list[1];
    EXPECT_EQ(Raw(list), "a|");

    const BenchDir bench;
    list = List({bench.Write("file", "k=v\n")});
    EXPECT_TRUE(list.LoadFromFile(list[0]));
    ParseStr(list[0], "=", list);
    EXPECT_EQ(Raw(list), "k=v|k|v|");

    CString s("abc");
    s += s;
    s.Append(s.GetCString() + 4);
    EXPECT_EQ(Raw(s), "abcabcbc");
    s.Assign(s.GetCString() + 6);
    const CString& same_text = s;
    EXPECT_EQ(Raw(s = same_text), "bc");
}

TEST(OwnArgument, MayReceiveTheResult) {
    CString s("abcdef");
    CString right;
    SplitStr(s, 2, s, right);
    EXPECT_EQ(Row(s, right), "abc|cdef|");
    SplitStr(right, 1, s, right);
    EXPECT_EQ(Row(s, right), "cd|def|");

    CString word("tsop");
    EXPECT_EQ(GuessStr(word, "start stop", word, true), 1);
    EXPECT_EQ(Raw(word), "stop");
}
