// The functions on texts: what callers rely on, surprises included, as literals; then what must hold of
// any input.

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <ctime>

#include "seed.h"
#include "text_support.h"

using namespace std::string_literals;

TEST(Parsing, CutsOnceForEachSeparatorAndAppends) {
    const char* const cases[][3] = {
        {"a=b=c", "=", "a|b=c|"}, {" k = ", "=", " k | |"},  {"", "=;,", ""},
        {"a=b", "", "a=b|"},      {"a,b;,", ",;", "a|b|,|"}, {"a;b,c", ",;", "a;b|c|"},
    };
    CStringList fields;
    std::string expected;
    for (const auto& [text, separators, cut] : cases) {
        ParseStr(text, separators, fields);
        EXPECT_EQ(Raw(fields), expected += cut) << text;
    }
    EXPECT_EQ(Row(VariantStr(-1, "x:y", ':'), VariantStr(1, "x:y", ':'), VariantStr(2, "x:y", ':')), "|y||");
}

TEST(Guess, TakesTheFirstEqualElseTheMostAlikeAndEndsAtATie) {
    const char* const cases[][3] = {
        {"stop", "start stop status", "1|stop|"},
        {"tsop", "start stop", "1|stop|"},
        {"STOP", "start stop", "-1||"},
        {"ab", "ba ab2", "-1||"},
        {"ab", "a b abx", "-1||"},
        {"ab", "a abx b", "1|abx|"},
    };
    for (const auto& [text, words, guess] : cases) {
        CString word(text);  // receives the result, too
        const int index = GuessStr(word, words, word, true);
        EXPECT_EQ(Row(index, word), guess) << text << " in " << words;
    }
    CString result("old");
    EXPECT_EQ(GuessStr("", "a  b", result, false), 1);  // the empty word is equal
    const std::string s(65536, 'a');
    EXPECT_EQ(GuessStr(s, List({s + 'b', "a"}), result, true), 1);  // 65536 times 65536 scores 0
    EXPECT_EQ(GuessStr("ab\0"s, List({"c\0"s, "abx"}), result, true), 1);
    EXPECT_EQ(Row(GuessStr("tsop", "start stop", result, false), result), "-1||");
}

TEST(Search, ReadsNulAroundTheTextAndNeverPositionZeroFromTheEnd) {
    EXPECT_EQ(Row(LastCharPos("ab", 'a'), LastCharPos("aba", 'a'), PrevCharPos("aba", 'b', 1)), "-1|2|1|");
    EXPECT_EQ(Row(PrevCharPos("aba", 'a', INT_MIN), PrevCharPos("aba", 'a', INT_MAX)), "-1|2|");
    EXPECT_EQ(Row(PrevCharPos("aba", '\0', 2), PrevCharPos("aba", '\0', 3), PrevCharPos("", '\0', 0)),
              "-1|3|-1|");
    EXPECT_EQ(Row(NextCharPos("aba", '\0', -7), NextCharPos("aba", '\0', 3)), "-7|-1|");
    EXPECT_EQ(Row(NextCharPos("aba", 'a', INT_MIN), NextCharPos("aba", 'a', 1)), "0|2|");
    EXPECT_EQ(Row(FirstCharPos("aba", 'b'), FindStr("ab", "abc"), FindStr("ab\0cd"s, "\0c"s)), "1|-1|2|");
}

TEST(Replace, LooksAgainFromTheStartButRefusesWhatWouldNeverEnd) {
    EXPECT_EQ(Row(FindReplaceStr("aab", "ab", "ba"), FindReplaceStr("aab", "ab", "bba")), "baa|bbbbaa|");
    EXPECT_EQ(Row(FindReplaceStr("abc", "", "x"), FindReplaceStr("abc", "b", "abc")), "abc|abc|");
    EXPECT_EQ(Row(FindReplaceChar("a\0"s, '\0', 'b')), "ab|");
}

TEST(Replace, TakesLinearTimeWhereTextAndPatternAreOneLongRun) {
    const std::string run(1 << 20, 'a');
    const std::clock_t start = std::clock();
    EXPECT_TRUE(Raw(FindReplaceStr(run + run, run + 'b', "c")) == run + run);
    EXPECT_TRUE(Raw(FindReplaceStr(run + run + 'b', run + 'b', "c")) == run + 'c');
    EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
}

TEST(Building, SeparatesAndPadsOnlyWhereSomethingIsMissing) {
    EXPECT_EQ(Row(JoinStr("dir", "file", '/'), JoinStr("dir/", "file", '/')), "dir/file|dir/file|");
    EXPECT_EQ(Row(JoinStr("dir", "/file", '/'), JoinStr("dir/", "/file", '/')), "dir/file|dir//file|");
    EXPECT_EQ(Row(JoinStr("", "file", '/'), JoinStr("dir", "", '/')), "file|dir|");
    EXPECT_EQ(Row(CheckFirstChar("", 'x'), CheckFirstChar("xa", 'x'), CheckLastChar("", '\0')), "x|xa||");
    const CStringList abc = List({"a", "b", "c"});
    EXPECT_EQ(Row(CollectStr(abc, ","), CollectStr(abc, ",;,,"), abc.Join(", ")), "a,bc|a,b;c,,|a, b, c|");
    EXPECT_EQ(Row(EnumStr("f", -5, ".x", 7), EnumStr("f", 7, ".x", 0)), "f00-5.x|f7.x|");
    EXPECT_EQ(Row(FillStr("a", '.', "b", 5), FillStr("a", '.', "b", INT_MIN)), "a...b|ab|");
    EXPECT_EQ(Row(LeadStr("ab", 4), LeadStr("ab", 1), SignStr(-2)), "  ab|ab|\xFE\xFF\xFF\xFF|");
    EXPECT_EQ(Row(SignStr(0x04030201), StringOfChars('x', 2)), "\1\2\3\4|xx|");
}

TEST(Cutting, PullsRangesIntoTheText) {
    const CString s("abcdef");
    EXPECT_EQ(Row(SubStr(s, 2, 3), SubStr(s, 4, 2), SubStr(s, INT_MAX, INT_MIN)), "cd|||");
    EXPECT_EQ(Row(SubStr(s, -5, 100), SubStr(s, -9, -3), SubStr(s, 6, INT_MAX)), "abcdef|a|f|");
    EXPECT_EQ(Row(SubStr("", -3, 8), SubStr("", 1, 0), SubStr("a\0b"s, 1, 2)), "\0||\0b|"s);
    const struct {
        const char* text;
        int position;
        std::string left_and_rights;
    } cuts[] = {{"abc", INT_MIN, "|abc|abc|"}, {"abc", 2, "abc|c|c|"}, {"abc", 3, "abc|||"},
                {"abc", INT_MAX, "abc|||"},    {"", -1, "|||"},        {"", 0, "\0|||"s}};
    for (const auto& [text, at, cut] : cuts) {
        CString left(text), right;
        SplitStr(left, at, left, right);  // either result may take the place of the text
        EXPECT_EQ(Row(left, right, ShiftStr(text, at)), cut) << text << ' ' << at;
    }
}

TEST(Cutting, TakesSpacesOnlyAndAllButOneOfARun) {
    EXPECT_EQ(Row(TrimStr("  \ta b\t "), TrimStr("   ")), "\ta b\t||");
    const CCharset keep("12-"), drop("2");
    EXPECT_EQ(Row(FilterStr("a1-b2", keep, drop, false), FilterStr("a1-b2", keep, drop, true)), "1-|a1-b|");
    const CString runs("aa\0\0bb\0"s);  // the last NUL meets the one behind the text
    EXPECT_EQ(Row(StripDupChars(runs), StripDupChars(runs, '\0'), StripDupChars(runs, 'b')),
              "a\0b|aa\0bb|aa\0\0b\0|"s);
    EXPECT_EQ(Row(StripDupChars("abb"), StripDupChars("abb", 'b')), "ab|ab|");
}

TEST(Quoting, IsAllOrNothingAndShieldsCount) {
    const char* const quotes[][2] = {// text, quoted and unquoted
                                     {R"(")", R"("""|"|)"},
                                     {R"("")", R"(""||)"},
                                     {R"("a)", R"(""a"|"a|)"},
                                     {R"("a"b")", R"("a"b"|a"b|)"}};
    for (const auto& [text, both] : quotes) EXPECT_EQ(Row(QuoteStr(text), UnquoteStr(text)), both);
    const char* const shields[][3] = {// text, members, shielded and unshielded
                                      {R"(a;b)", ";", R"(a\;b|a;b|)"}, {R"(a\;b)", ";", R"(a\;b|a;b|)"},
                                      {R"(\x)", ";", R"(\\x|\x|)"},    {R"(\\;)", ";", R"(\\\\;|\\;|)"},
                                      {R"(\\)", R"(\)", R"(\\|\|)"},   {R"(a;\)", "", R"(a;\|a;\|)"}};
    for (const auto& [text, members, both] : shields)
        EXPECT_EQ(Row(ShieldChars(text, members), UnshieldChars(text, members)), both) << text;
    EXPECT_EQ(Row(ShieldSpaces(R"(a b\ c\x\\ )"), UnshieldSpaces(R"(a\ b\x\\ \)")),
              R"(a\ b\ c\x\\\ |a b\x\\ \|)");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

// An input that breaks an invariant ends the program. Bytes are letters, lengths and choices at once.
TEST(Invariants, HoldForGeneratedInput) {
    const std::string letters = "\0\1\1\2\2\3\4\5\6aab;==,  \\\\\"\n\xFF"s;
    std::mt19937 random = SeededRandom();
    for (int i = 0; i < 50000; ++i) {
        std::string input(random() % 40, '\0');
        for (char& c : input) c = letters[random() % letters.size()];
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    }
}
