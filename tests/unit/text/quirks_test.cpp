// What callers rely on although it may surprise.

#include <gtest/gtest.h>

#include "text_support.h"

using namespace std::string_literals;

static Strings Fields(const CString& s, const CString& separators) {
    CStringList fields;
    ParseStr(s, separators, fields);
    return Raw(fields);
}

static Strings FieldsAtEvery(const CString& s, char c) {
    CStringList fields;
    ParseStr(s, c, fields);
    return Raw(fields);
}

TEST(Parsing, EachSeparatorCutsOnce) {
    const struct {
        const char *text, *separators;
        Strings fields;
    } cases[] = {
        {"PortSN=1", "=", {"PortSN", "1"}},
        {"a=b=c", "=", {"a", "b=c"}},
        {"", "=", {}},
        {"=", "=", {"", ""}},
        {"k=", "=", {"k", ""}},
        {" k = v ", "=", {" k ", " v "}},
        {"", "", {""}},
        {"a=b", "", {"a=b"}},
        {"a,b;c,d", ",;", {"a", "b", "c,d"}},
        {"a;b,c", ",;", {"a;b", "c"}},
        {"a,b", ",;", {"a", "b"}},
    };
    for (const auto& c : cases) EXPECT_EQ(Fields(c.text, c.separators), c.fields) << c.text;
}

TEST(Parsing, OneCharacterCutsEverywhere) {
    EXPECT_EQ(FieldsAtEvery("a  b", ' '), (Strings{"a", "", "b"}));
    EXPECT_EQ(FieldsAtEvery(" a ", ' '), (Strings{"", "a", ""}));
    EXPECT_EQ(FieldsAtEvery("abc", ' '), Strings{"abc"});
    EXPECT_EQ(FieldsAtEvery("", ' '), Strings{""});
}

TEST(Parsing, FieldsAccumulateAndMissingOnesReadAsEmpty) {
    CStringList fields;
    ParseStr("a=b", "=", fields);
    ParseStr("c", "=", fields);
    EXPECT_EQ(Raw(fields), (Strings{"a", "b", "c"}));
    EXPECT_EQ(Raw(VariantStr(1, "x:y:z", ':')), "y");
    EXPECT_EQ(Raw(VariantStr(3, "x:y:z", ':')), "");
    EXPECT_EQ(Raw(VariantStr(-1, "x:y:z", ':')), "");
}

TEST(Guess, EqualScoresAreAmbiguousAtOnce) {
    const struct {
        const char *text, *words;
        bool guess;
        int index;
        const char* result;
    } cases[] = {
        {"stop", "start stop status", true, 1, "stop"},
        {"tsop", "start stop", true, 1, "stop"},
        {"tsop", "start stop", false, -1, ""},
        {"STOP", "start stop", true, -1, ""},
        {"ab", "ba ab2", true, -1, ""},
        {"ab", "a b abx", true, -1, ""},  // abx would have scored best
        {"ab", "a abx b", true, 1, "abx"},
        {"", "a", true, -1, ""},
        {"", "a  b", false, 1, ""},  // the empty word between the blanks is equal
    };
    for (const auto& c : cases) {
        CString result("old");
        EXPECT_EQ(GuessStr(c.text, CString(c.words), result, c.guess), c.index)
            << c.text << " in " << c.words;
        EXPECT_EQ(Raw(result), c.result) << c.text << " in " << c.words;
    }
}

TEST(Guess, ScoresAreModulo32Bits) {
    const std::string s(65536, 'a');
    CString result;
    EXPECT_EQ(GuessStr(s, List({s + 'b', "a"}), result, true), 1);  // 65536 times 65536 scores 0
}

TEST(Search, FromTheEndNeverLooksAtPositionZero) {
    EXPECT_EQ(LastCharPos("a", 'a'), -1);
    EXPECT_EQ(LastCharPos("ab", 'a'), -1);
    EXPECT_EQ(LastCharPos("aba", 'a'), 2);
    EXPECT_EQ(LastCharPos("", '\0'), -1);
    EXPECT_EQ(PrevCharPos("aba", 'a', 1), -1);
    EXPECT_EQ(PrevCharPos("aba", 'a', 2), 2);
    EXPECT_EQ(PrevCharPos("aba", 'b', 1), 1);
    EXPECT_EQ(PrevCharPos("aba", 'a', 0), -1);
    EXPECT_EQ(FirstCharPos("aba", 'a'), 0);
    EXPECT_EQ(FindStr("", ""), 0);
    EXPECT_EQ(FindStr("ab", "abc"), -1);
    EXPECT_EQ(FindStr("aaab", "ab"), 2);
}

TEST(Replace, LooksAgainFromTheStart) {
    EXPECT_EQ(Raw(FindReplaceStr("aab", "ab", "b")), "b");
    EXPECT_EQ(Raw(FindReplaceStr("aabb", "ab", "")), "");
    EXPECT_EQ(Raw(FindReplaceStr("aab", "ab", "ba")), "baa");
    EXPECT_EQ(Raw(FindReplaceStr("aab", "ab", "bba")), "bbbbaa");
    EXPECT_EQ(Raw(FindReplaceStr("a  b   c", "  ", " ")), "a b c");
    EXPECT_EQ(Raw(FindReplaceStr("abc", "x", "y")), "abc");
}

TEST(Replace, RefusesWhatWouldNeverEnd) {
    EXPECT_EQ(Raw(FindReplaceStr("abc", "", "x")), "abc");
    EXPECT_EQ(Raw(FindReplaceStr("", "", "")), "");
    EXPECT_EQ(Raw(FindReplaceStr("abc", "b", "b")), "abc");
    EXPECT_EQ(Raw(FindReplaceStr("abc", "b", "abc")), "abc");
}

TEST(Joining, PutsASeparatorOnlyWhereNeitherSideHasOne) {
    const char* const cases[][3] = {
        {"dir", "file", "dir/file"},    {"dir/", "file", "dir/file"}, {"dir", "/file", "dir/file"},
        {"dir/", "/file", "dir//file"}, {"", "file", "file"},         {"dir", "", "dir"},
    };
    for (const auto& c : cases) EXPECT_EQ(Raw(JoinStr(c[0], c[1], '/')), c[2]);

    const CStringList abc = List({"a", "b", "c"});
    EXPECT_EQ(Raw(CollectStr(abc, ",;")), "a,b;c");
    EXPECT_EQ(Raw(CollectStr(abc, ",")), "a,bc");
    EXPECT_EQ(Raw(CollectStr(abc, ",,,,")), "a,b,c,,");
    EXPECT_EQ(Raw(abc.Join(", ")), "a, b, c");
    EXPECT_EQ(Raw(List({"", ""}).Join("-")), "-");
    EXPECT_EQ(Raw(CStringList().Join("-")), "");
}

TEST(Padding, ZerosStandBeforeTheSignAndNothingIsCut) {
    EXPECT_EQ(Raw(EnumStr("f", 7, "", 4)), "f007");
    EXPECT_EQ(Raw(EnumStr("f", -5, "", 5)), "f00-5");
    EXPECT_EQ(Raw(EnumStr("f", 7, ".x", 0)), "f7.x");
    EXPECT_EQ(Raw(LeadStr("ab", 4)), "  ab");
    EXPECT_EQ(Raw(LeadStr("ab", 1)), "ab");
    EXPECT_EQ(Raw(FillStr("a", '.', "b", 5)), "a...b");
    EXPECT_EQ(Raw(FillStr("a", '.', "b", -2147483647 - 1)), "ab");
    EXPECT_EQ(Raw(StringOfChars('x', -3)), "");
}

TEST(Trimming, TakesSpacesOnly) {
    EXPECT_EQ(Raw(TrimStr("  a b\t ")), "a b\t");
    EXPECT_EQ(Raw(TrimStr("   ")), "");
    EXPECT_EQ(Raw(TrimStr("")), "");
    EXPECT_EQ(Raw(StripDupChars("a,,,b", ',')), "a,b");
    EXPECT_EQ(Raw(FilterStr("a1-b2", CCharset("12-"), CCharset("2"), false)), "1-");
    EXPECT_EQ(Raw(FilterStr("a1-b2", CCharset("12-"), CCharset("2"), true)), "a1-b");
}

TEST(Quoting, IsAllOrNothing) {
    const char* const cases[][3] = {
        // text, quoted, unquoted
        {"", R"("")", ""},    {R"(")", R"(""")", R"(")"},    {R"("")", R"("")", ""},
        {"a", R"("a")", "a"}, {R"("a)", R"(""a")", R"("a)"}, {R"("a"b")", R"("a"b")", R"(a"b)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Raw(QuoteStr(c[0])), c[1]);
        EXPECT_EQ(Raw(UnquoteStr(c[0])), c[2]);
    }
}

TEST(Shielding, TakesBackslashesThatAreThereForShields) {
    const struct {
        const char *text, *chars, *shielded, *unshielded;
    } cases[] = {
        {R"(a;b)", ";", R"(a\;b)", R"(a;b)"}, {R"(a\;b)", ";", R"(a\;b)", R"(a;b)"},
        {R"(\x)", ";", R"(\\x)", R"(\x)"},    {R"(\\;)", ";", R"(\\\\;)", R"(\\;)"},
        {R"(\)", ";", R"(\)", R"(\)"},        {R"(\\)", R"(\)", R"(\\)", R"(\)"},
        {R"(a;\)", "", R"(a;\)", R"(a;\)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Raw(ShieldChars(c.text, c.chars)), c.shielded) << c.text;
        EXPECT_EQ(Raw(UnshieldChars(c.text, c.chars)), c.unshielded) << c.text;
    }
    EXPECT_EQ(Raw(ShieldSpaces(R"(a b\ c\x\\ )")), R"(a\ b\ c\x\\\ )");
    EXPECT_EQ(Raw(UnshieldSpaces(R"(a\ b\x\\ \)")), R"(a b\x\\ \)");
}
