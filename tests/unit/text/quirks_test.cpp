// What callers rely on although it may surprise.

#include <gtest/gtest.h>

#include <climits>

#include "text_support.h"

using namespace std::string_literals;

TEST(Parsing, EachSeparatorCutsOnce) {
    const char* const cases[][3] = {
        {"a=b=c", "=", "a|b=c|"}, {"=", "=", "||"},          {" k = v", "=", " k | v|"}, {"", "=;,", ""},
        {"a=b", "", "a=b|"},      {"a,b;,", ",;", "a|b|,|"}, {"a;b,c", ",;", "a;b|c|"},
    };
    CStringList fields;
    std::string expected;
    for (const auto& [text, separators, cut] : cases) {
        ParseStr(text, separators, fields);  // appends
        EXPECT_EQ(Raw(fields), expected += cut) << text;
    }
}

TEST(Parsing, OneCharacterCutsEverywhere) {
    CStringList fields;
    ParseStr(" a  b", ' ', fields);
    ParseStr("", ' ', fields);
    EXPECT_EQ(Raw(fields), "|a||b||");
    EXPECT_EQ(Row(VariantStr(-1, "x:y", ':'), VariantStr(1, "x:y", ':'), VariantStr(2, "x:y", ':')), "|y||");
}

TEST(Guess, EqualScoresAreAmbiguousAtOnce) {
    const char* const cases[][3] = {
        {"stop", "start stop status", "1|stop|"},
        {"tsop", "start stop", "1|stop|"},
        {"STOP", "start stop", "-1||"},
        {"ab", "ba ab2", "-1||"},
        {"ab", "a b abx", "-1||"},
        {"ab", "a abx b", "1|abx|"},
    };
    CString result("old");
    for (const auto& [text, words, guess] : cases) {
        const int index = GuessStr(text, CString(words), result, true);
        EXPECT_EQ(Row(index, result), guess) << text << " in " << words;
    }
    EXPECT_EQ(GuessStr("tsop", CString("start stop"), result, false), -1);
    EXPECT_EQ(GuessStr("", CString("a  b"), result, false), 1);  // the empty word is equal
    const std::string s(65536, 'a');
    EXPECT_EQ(GuessStr(s, List({s + 'b', "a"}), result, true), 1);  // 65536 times 65536 scores 0
}

TEST(Search, ReadsNulAroundTheTextAndNeverPositionZeroFromTheEnd) {
    EXPECT_EQ(Row(LastCharPos("ab", 'a'), LastCharPos("aba", 'a')), "-1|2|");
    EXPECT_EQ(Row(PrevCharPos("aba", 'a', 1), PrevCharPos("aba", 'b', 1)), "-1|1|");
    EXPECT_EQ(Row(PrevCharPos("aba", 'a', INT_MIN), PrevCharPos("aba", 'a', INT_MAX)), "-1|2|");
    EXPECT_EQ(Row(PrevCharPos("aba", '\0', 2), PrevCharPos("aba", '\0', 3), PrevCharPos("", '\0', 0)),
              "-1|3|-1|");
    EXPECT_EQ(Row(NextCharPos("aba", '\0', -7), NextCharPos("aba", '\0', 3)), "-7|-1|");
    EXPECT_EQ(Row(NextCharPos("aba", 'a', INT_MIN), NextCharPos("aba", 'a', 1)), "0|2|");
    EXPECT_EQ(Row(FindStr("", ""), FindStr("ab", "abc")), "0|-1|");
}

TEST(Replace, LooksAgainFromTheStartButRefusesWhatWouldNeverEnd) {
    EXPECT_EQ(Row(FindReplaceStr("aab", "ab", "b"), FindReplaceStr("aabb", "ab", "")), "b||");
    EXPECT_EQ(Row(FindReplaceStr("aab", "ab", "ba"), FindReplaceStr("aab", "ab", "bba")), "baa|bbbbaa|");
    EXPECT_EQ(Row(FindReplaceStr("a  b   c", "  ", " "), FindReplaceStr("abc", "x", "y")), "a b c|abc|");
    EXPECT_EQ(Row(FindReplaceStr("abc", "", "x"), FindReplaceStr("abc", "b", "abc")), "abc|abc|");
}

TEST(Building, SeparatesAndPadsOnlyWhereSomethingIsMissing) {
    EXPECT_EQ(Row(JoinStr("dir", "file", '/'), JoinStr("dir/", "file", '/')), "dir/file|dir/file|");
    EXPECT_EQ(Row(JoinStr("dir", "/file", '/'), JoinStr("dir/", "/file", '/')), "dir/file|dir//file|");
    EXPECT_EQ(Row(JoinStr("", "file", '/'), JoinStr("dir", "", '/')), "file|dir|");
    EXPECT_EQ(Row(CheckFirstChar("", 'x'), CheckLastChar("", '\0')), "x||");
    const CStringList abc = List({"a", "b", "c"});
    EXPECT_EQ(Row(CollectStr(abc, ","), CollectStr(abc, ",;,,")), "a,bc|a,b;c,,|");
    EXPECT_EQ(Row(abc.Join(", "), List({"", ""}).Join("-")), "a, b, c|-|");
    EXPECT_EQ(Row(EnumStr("f", -5, ".x", 7), EnumStr("f", 7, ".x", 0)), "f00-5.x|f7.x|");
    EXPECT_EQ(Row(LeadStr("ab", 4), LeadStr("ab", 1)), "  ab|ab|");
    EXPECT_EQ(Row(FillStr("a", '.', "b", 5), FillStr("a", '.', "b", INT_MIN)), "a...b|ab|");
    EXPECT_EQ(Row(SignStr(258), SignStr(-2)), "\2\1\0\0|\xFE\xFF\xFF\xFF|"s);
}

TEST(Cutting, TakesSpacesOnlyAndAllButOneOfARun) {
    EXPECT_EQ(Row(TrimStr("  \ta b\t "), TrimStr("   ")), "\ta b\t||");
    const CCharset keep("12-"), drop("2");
    EXPECT_EQ(Row(FilterStr("a1-b2", keep, drop, false), FilterStr("a1-b2", keep, drop, true)), "1-|a1-b|");
    const CString runs("aa\0\0bb\0"s);  // the last NUL meets the one behind the text
    EXPECT_EQ(Row(StripDupChars(runs), StripDupChars(runs, '\0'), StripDupChars(runs, 'b')),
              "a\0b|aa\0bb|aa\0\0b\0|"s);
}

TEST(Quoting, IsAllOrNothingAndShieldsCount) {
    const char* const quotes[][2] = {
        // text, quoted and unquoted
        {"", R"(""||)"},    {R"(")", R"("""|"|)"},    {R"("")", R"(""||)"},
        {"a", R"("a"|a|)"}, {R"("a)", R"(""a"|"a|)"}, {R"("a"b")", R"("a"b"|a"b|)"},
    };
    for (const auto& [text, both] : quotes) EXPECT_EQ(Row(QuoteStr(text), UnquoteStr(text)), both);

    const char* const shields[][3] = {
        // text, members, shielded and unshielded
        {R"(a;b)", ";", R"(a\;b|a;b|)"},  {R"(a\;b)", ";", R"(a\;b|a;b|)"}, {R"(\x)", ";", R"(\\x|\x|)"},
        {R"(\\;)", ";", R"(\\\\;|\\;|)"}, {R"(\)", ";", R"(\|\|)"},         {R"(\\)", R"(\)", R"(\\|\|)"},
        {R"(a;\)", "", R"(a;\|a;\|)"},
    };
    for (const auto& [text, members, both] : shields)
        EXPECT_EQ(Row(ShieldChars(text, members), UnshieldChars(text, members)), both) << text;
    EXPECT_EQ(Row(ShieldSpaces(R"(a b\ c\x\\ )"), UnshieldSpaces(R"(a\ b\x\\ \)")),
              R"(a\ b\ c\x\\\ |a b\x\\ \|)");
}
