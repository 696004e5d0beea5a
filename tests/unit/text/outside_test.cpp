// NULs inside texts, and positions outside them.

#include <gtest/gtest.h>

#include <climits>

#include "text_support.h"

using namespace std::string_literals;

TEST(Nul, CountsAsAByteButEndsATextForComparison) {
    CString s("a\0b"s);
    EXPECT_EQ(s.GetLength(), 3);
    EXPECT_TRUE(s == "a");
    EXPECT_TRUE(s == "a\0c"s);
    EXPECT_FALSE(s == CString("a "));
    EXPECT_FALSE(s == "A");
    EXPECT_EQ(Raw(s.SetLength()), "a");
    EXPECT_EQ(Raw(s.SetLength(3)), "a\0\0"s);
    EXPECT_EQ(Raw(s.SetLength(-1)), "");
    EXPECT_EQ(Raw(CString('\0').Append('\0')), "\0\0"s);

    CStringList list = List({"a\0x"s, "b", "a\0y"s, "\0"s, ""});
    EXPECT_EQ(list.FindString("a\0z"s), 0);
    EXPECT_EQ(list.FindString("c"), -1);
    EXPECT_EQ(Raw(list.RemoveDuplicates()), (Strings{"a\0x"s, "b", "\0"s}));
    EXPECT_EQ(list.RemoveEmpty().GetCount(), 3);
}

TEST(Nul, SeparatesLikeAnyOtherByte) {
    CStringList fields;
    ParseStr("a\0\0b\0"s, '\0', fields);
    EXPECT_EQ(Raw(fields), (Strings{"a", "", "b", ""}));
    EXPECT_EQ(FindStr("ab\0cd"s, "\0c"s), 2);
    EXPECT_EQ(Raw(FindReplaceStr("a\0b\0"s, "\0"s, ", ")), "a, b, ");
    EXPECT_EQ(CountChars("a\0\0"s, '\0'), 2);
}

TEST(Outside, ReadsAreNulAndWritesAreIgnored) {
    CString s("abc");
    for (const int i : {INT_MIN, -1, 3, INT_MAX}) {
        EXPECT_EQ(s.GetChar(i), '\0') << i;
        EXPECT_EQ(Raw(s.SetChar(i, 'x')), "abc") << i;
    }
    const CString& same = s;
    EXPECT_EQ(same[3], '\0');
    EXPECT_EQ(CString("").GetFirstChar(), '\0');
    EXPECT_EQ(CString("").GetLastChar(), '\0');

    CStringList list = List({"a", "b"});
    const CStringList& fixed = list;
    for (const int i : {INT_MIN, -1, 2, INT_MAX}) {
        EXPECT_EQ(Raw(list[i]), "") << i;
        EXPECT_EQ(Raw(fixed.GetString(i)), "") << i;
        EXPECT_EQ(list.RemoveAt(i).GetCount(), 2) << i;
    }
}

TEST(Outside, RangesArePulledIntoTheText) {
    const struct {
        std::string text;
        int from, to;
        std::string sub;
    } cases[] = {
        {"abcdef", 2, 3, "cd"},
        {"abcdef", -5, 100, "abcdef"},
        {"abcdef", 4, 2, ""},
        {"abcdef", -9, -3, "a"},
        {"abcdef", 6, INT_MAX, "f"},
        {"abcdef", INT_MAX, INT_MIN, ""},
        {"", 0, 0, "\0"s},
        {"", -3, 8, "\0"s},
        {"", 1, 0, ""},
        {"a\0b"s, 1, 2, "\0b"s},
    };
    for (const auto& c : cases) EXPECT_EQ(Raw(SubStr(c.text, c.from, c.to)), c.sub) << c.from << ' ' << c.to;
}

TEST(Outside, LeftRightAndShiftAtAndBeyondBothEnds) {
    const struct {
        std::string text;
        int position;
        std::string left, right, shifted;
    } cases[] = {
        {"abc", INT_MIN, "", "abc", "abc"},
        {"abc", 0, "a", "abc", "abc"},
        {"abc", 2, "abc", "c", "c"},
        {"abc", 3, "abc", "", ""},
        {"abc", INT_MAX, "abc", "", ""},
        {"", -1, "", "", ""},
        {"", 0, "\0"s, "", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Raw(LeftStr(c.text, c.position)), c.left) << c.position;
        EXPECT_EQ(Raw(RightStr(c.text, c.position)), c.right) << c.position;
        EXPECT_EQ(Raw(ShiftStr(c.text, c.position)), c.shifted) << c.position;
    }
}

TEST(Outside, SearchForNulFindsItWhereThereIsNoText) {
    EXPECT_EQ(NextCharPos("abc", '\0', -7), -7);
    EXPECT_EQ(NextCharPos("abc", 'a', INT_MIN), 0);
    EXPECT_EQ(NextCharPos("abc", 'c', 2), 2);
    EXPECT_EQ(NextCharPos("abc", 'c', 3), -1);
    EXPECT_EQ(NextCharPos("", '\0', 0), -1);
    EXPECT_EQ(PrevCharPos("abc", '\0', 3), 3);
    EXPECT_EQ(PrevCharPos("abc", 'c', INT_MAX), 2);
    EXPECT_EQ(PrevCharPos("", '\0', 1), 1);
    EXPECT_EQ(PrevCharPos("abc", '\0', 2), -1);
}

TEST(Outside, RepeatedNulAtTheEndMeetsTheNulBehindIt) {
    EXPECT_EQ(Raw(StripDupChars("aabb\0"s)), "ab");
    EXPECT_EQ(Raw(StripDupChars("aa\0\0bb\0"s, '\0')), "aa\0bb"s);
    EXPECT_EQ(Raw(StripDupChars("aa\0\0bb\0"s, 'b')), "aa\0\0b\0"s);
    EXPECT_EQ(Raw(CheckLastChar("", '\0')), "");
    EXPECT_EQ(Raw(CheckFirstChar("", 'x')), "x");
}

TEST(TextIterator, StopsAtBothEnds) {
    CString s("abc");
    CStringIterator it(&s);
    EXPECT_EQ(it.Prev(), 'a');
    EXPECT_EQ(it.Last(), 'c');
    EXPECT_EQ(it.Next(), '\0');
    EXPECT_EQ(it.Next(), '\0');
    EXPECT_EQ(it.ThisPosition(), 3);
    EXPECT_EQ(it.Prev(), 'c');

    CStringIterator copy(it);
    EXPECT_EQ(copy.Prev(), 'b');
    EXPECT_EQ(it.ThisPosition(), 2);
    it.This() = 'z';
    EXPECT_EQ(Raw(s), "abz");
}

TEST(TextIterator, HasANulOfItsOwnWhereThereIsNoByte) {
    CString empty;
    CStringIterator at_nothing(&empty);
    EXPECT_EQ(at_nothing.Last(), '\0');
    EXPECT_EQ(at_nothing.ThisPosition(), -1);
    EXPECT_EQ(at_nothing.Prev(), '\0');
    EXPECT_EQ(at_nothing.Next(), '\0');
    EXPECT_EQ(at_nothing.ThisPosition(), 0);
    CStringIterator(&empty).Last() = 'x';  // lands in the iterator
    EXPECT_EQ(empty.GetLength(), 0);

    CStringIterator no_text;
    CStringListIterator no_list;
    CCharIterator root;
    for (CCharIterator* it :
         {static_cast<CCharIterator*>(&no_text), static_cast<CCharIterator*>(&no_list), &root}) {
        it->Reset();
        for (char* c : {&it->First(), &it->Prev(), &it->This(), &it->Next(), &it->Last()})
            EXPECT_EQ(*c, '\0');
        EXPECT_EQ(it->FirstPosition() + it->ThisPosition() + it->LastPosition(), 0);
        EXPECT_TRUE(it->Match("\0\0"s, true));
        EXPECT_FALSE(it->Match("a", true));
    }
}

TEST(ListIterator, VisitsLineEndsForwardsButNotBackwards) {
    const CStringList list = List({"ab", "", "c"});
    CStringListIterator it(&list);
    std::string forwards(1, it.First());
    for (int i = 0; i < 6; ++i) forwards += it.Next();
    EXPECT_EQ(forwards, "ab\0\0c\0\0"s);
    EXPECT_EQ(it.LastPosition(), 6);
    EXPECT_EQ(it.ThisPosition(), 1);

    std::string backwards(1, it.Last());
    for (int i = 0; i < 5; ++i) backwards += it.Prev();
    EXPECT_EQ(backwards, "\0c\0baa"s);
}

TEST(ListIterator, EmptyListReadsAsItsPlaceholder) {
    CStringList list;
    CStringListIterator it(&list);
    EXPECT_EQ(it.Last(), '\0');
    EXPECT_EQ(it.Prev(), '\0');
    EXPECT_EQ(it.Next(), '\0');
    EXPECT_EQ(it.ThisPosition(), 0);
    list << "a";
    EXPECT_EQ(it.Next(), 'a');
}

TEST(Match, MovesOnlyPastWhatItFoundAndOnlyWhenAsked) {
    const CString s("abc");
    CStringIterator it(&s);
    EXPECT_TRUE(it.Match("", true));
    EXPECT_TRUE(it.Match("ab", false));
    EXPECT_FALSE(it.Match("abd", true));
    EXPECT_EQ(it.ThisPosition(), 0);
    EXPECT_TRUE(it.Match("ab", true));
    EXPECT_EQ(it.This(), 'c');
    EXPECT_TRUE(it.Match("c\0\0\0"s, true));  // the end reads as NUL as often as it is asked

    const CStringList list = List({"ab", "cd"});
    CStringListIterator lines(&list);
    EXPECT_FALSE(lines.Match("abc", true));
    EXPECT_TRUE(lines.Match("ab\0c"s, true));
    EXPECT_EQ(lines.This(), 'd');
}
