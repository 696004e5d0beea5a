// The functions on texts: tables of what callers rely on, surprises included, then what must hold of any
// input.

#include <climits>
#include <cmath>
#include <cstdint>

#include "seed.h"
#include "text_support.h"

static std::string Parse(const CString& s, const CString& separators) {
    CStringList fields;
    ParseStr(s, separators, fields);
    return Raw(fields);
}

static std::string Guess(const CString& s, const CString& candidates, bool guess) {
    CString word = s;  // takes the result, too
    const int index = GuessStr(word, candidates, word, guess);
    return Row(index, word);
}

static std::string Split(const CString& s, int at) {
    CString left = s, right;  // either result may take the place of the text
    SplitStr(left, at, left, right);
    return Row(left, right, ShiftStr(s, at));
}

TEST(Functions, GiveWhatTheirCallersRelyOn) {
    const std::string full(65536, 'a');
    const CStringList abc = List("a b c");
    const CString s("abcdef"), runs("aab\0\0b\0"s);  // the last NUL meets the one behind the text
    const CCharset keep("12-"), drop("2");
    int multiplier = 0;
    long long multiplier64 = 0, divisor = 0;
    char unit = 0, unit64 = 0;
    CString size_unit;
    Compare({
        {Parse(" k=b=c", "=") + Parse("", "=;,") + Parse("a=b", "") + Parse("", ""), " k|b=c|a=b||"},
        {Parse("a,b;,", ",;") + Parse("a;b,c", ",;"), "a|b|,|a;b|c|"},
        {Row(VariantStr(-1, "x:y", ':'), VariantStr(1, "x:y", ':'), VariantStr(2, "x:y", ':')), "|y||"},

        {Guess("stop", "start stop", false) + Guess("tsop", "start stop", false), "1|stop|-1||"},
        {Guess("tsop", "start stop", true) + Guess("STOP", "start", true), "1|stop|-1||"},
        // A tie ends the search even before a better one.
        {Guess("ab", "a b abx", true) + Guess("ab", "a abx b", true), "-1||1|abx|"},
        {Guess("ab\0"s, "c\0 abx"s, true) + Guess("b", "a  b", true), "1|abx|2|b|"},
        {Guess(full, full + "b a", true), "1|a|"},  // 65536 times 65536 scores 0

        // Position 0 is never found from the end, and a NUL stands around the text.
        {Row(LastCharPos("ab", 'a'), LastCharPos("aba", 'a'), LastCharPos("ab", '\0')), "-1|2|-1|"},
        {Row(PrevCharPos("aba", 'a', INT_MIN), PrevCharPos("aba", 'a', INT_MAX), PrevCharPos("ab", 'b', 1)),
         "-1|2|1|"},
        {Row(PrevCharPos("ab", '\0', 1), PrevCharPos("ab", '\0', 2), PrevCharPos("", '\0', 0)), "-1|2|-1|"},
        {Row(NextCharPos("aba", '\0', -7), NextCharPos("aba", '\0', 3), FirstCharPos("ab", 'a')), "-7|-1|0|"},
        {Row(NextCharPos("aba", 'a', INT_MIN), NextCharPos("aba", 'a', 1)), "0|2|"},
        {Row(FindReplaceStr("aab", "ab", "ba"), FindReplaceStr("aab", "ab", "bba")), "baa|bbbbaa|"},
        {Row(FindReplaceStr("b", "", "x"), FindReplaceStr("b", "b", "ab")), "b|b|"},
        {Row(FindReplaceStr("aaab", "aab", "c"), FindReplaceChar("ba", 'b', 'c')), "ac|ca|"},

        {Row(JoinStr("d", "f", '/'), JoinStr("d/", "f", '/'), JoinStr("d", "/f", '/')), "d/f|d/f|d/f|"},
        {Row(JoinStr("d/", "/f", '/'), JoinStr("", "f", '/'), JoinStr("d", "", '/')), "d//f|f|d|"},
        {Row(CheckFirstChar("", 'x'), CheckFirstChar("xa", 'x'), CheckLastChar("", '\0')), "x|xa||"},
        {Row(CollectStr(abc, ","), CollectStr(abc, ",;,,"), abc.Join(", ")), "a,bc|a,b;c,,|a, b, c|"},
        {Row(EnumStr("f", -5, ".x", 7), EnumStr("f", 7, ".x", 0), StringOfChars('x', 2)), "f00-5.x|f7.x|xx|"},
        {Row(FillStr("a", '.', "b", 5), FillStr("a", '.', "b", INT_MIN), LeadStr("ab", 4)), "a...b|ab|  ab|"},
        {Row(LeadStr("ab", 1), SignStr(-2), SignStr(0x04030201)), "ab|\xFE\xFF\xFF\xFF|\1\2\3\4|"},

        {Row(SubStr(s, 2, 3), SubStr(s, -5, 9), SubStr(s, -9, -3), SubStr(s, 6, INT_MAX)), "cd|abcdef|a|f|"},
        {Row(SubStr(s, INT_MAX, INT_MIN), SubStr("", -3, 8), SubStr("a\0b"s, 1, 2)), "|\0|\0b|"s},
        {Split("abc", INT_MIN) + Split("abc", 2) + Split("abc", 3), "|abc|abc|abc|c|c|abc|||"},
        {Split("abc", INT_MAX) + Split("", -1) + Split("", 0), "abc||||||\0|||"s},
        {Row(TrimStr("  \ta b\t "), TrimStr("   "), StripDupChars("abb")), "\ta b\t||ab|"},
        {Row(FilterStr("a1-b2", keep, drop, false), FilterStr("a1-b2", keep, drop, true)), "1-|a1-b|"},
        {Row(StripDupChars(runs), StripDupChars(runs, '\0'), StripDupChars("abb", 'b')), "ab\0b|aab\0b|ab|"s},

        {Row(QuoteStr("\""), QuoteStr(R"("a"b")"), UnquoteStr(R"("a"b")")), R"("""|"a"b"|a"b|)"},
        {Row(UnquoteStr(R"("")"), UnquoteStr("\""), UnquoteStr("\"a")), R"(|"|"a|)"},
        {Row(ShieldChars(R"(a;\b\\;\;\)", ";"), ShieldChars(R"(\\)", R"(\)")), R"(a\;\\b\\\\;\;\|\\|)"},
        {Row(UnshieldChars(R"(a\;\b\\;\)", ";"), ShieldChars(R"(a;\b)", "")), R"(a;\b\\;\|a;\b|)"},
        {Row(ShieldSpaces(R"(a b\ c\x\\ )"), UnshieldSpaces(R"(\ \x\\ \)")), R"(a\ b\ c\x\\\ | \x\\ \|)"},

        {Row(ParseMemSizeStr("1.5M"), ParseMemSizeStr("-5 Kb"), ParseMemSizeStr("5bk")), "15728640|5120|5|"},
        {Row(ParseMemSizeStr(""), ParseMemSizeStr("1g2"), ParseMemSizeStr64("1g2")), "0|0|12884901888|"},
        {Row(ParseMemSizeStr("3T"), ParseMemSizeStr64("99999999999Tk")), "3|-1099511627776|"},
        {Row(ParseMemSizeStr("7K", multiplier, unit), ParseMemSizeStr64("8t", multiplier64, unit64)), "7|8|"},
        {Row(multiplier, CString(unit), multiplier64, CString(unit64)), "1024|k|1099511627776|T|"},
        {Row(MemSizeStr(-1048577), MemSizeStr(1023), MemSizeStr(1024)), "-1048577 b|1023 b|1 Kb|"},
        {Row(MemSizeStr(1048575), MemSizeStr(1048576), MemSizeStr(1610612736)), "1024 Kb|1 Mb|1.5 Gb|"},
        {Row(MemSizeStr((1LL << 40) - 1), MemSizeStr(1LL << 50)), "1024 Gb|1024 Tb|"},
        {Row(MemSizeStr(1LL << 40, divisor, size_unit)), "1|"},
        {Row(divisor, size_unit), "1099511627776|Tb|"},
        {Row(SI_UnitStr(1500), SI_UnitStr(-42), SI_UnitStr(0), SI_UnitStr(INFINITY)),
         "1.5 k|-42 |0 y|inf Y|"},
    });
}

TEST(Functions, ReplaceInLinearTimeWhereTextAndPatternAreOneLongRun) {
    const std::string run(1 << 22, 'a');  // a search that is not linear outlasts the test's time limit
    EXPECT_TRUE(Raw(FindReplaceStr(run + run, run + 'b', "c")) == run + run);
    EXPECT_TRUE(Raw(FindReplaceStr(run + run + 'b', run + 'b', "c")) == run + 'c');
}

TEST(Functions, FindTheSiUnitOfEveryExponent) {
    std::string texts;
    for (int exponent = 26; exponent > -27; --exponent) {
        const CString value = "2e" + std::to_string(exponent);
        CString prefix, symbol;
        double factor = 0;
        texts += Row(SI_UnitStr(value.GetFloat(), factor, prefix, symbol), symbol);
        EXPECT_DOUBLE_EQ(SI_UnitStr(value.GetFloat()).GetFloat() * factor, value.GetFloat());
    }
    EXPECT_EQ(
        texts,
        "200|Y|20|Y|2|Y|200|Z|20|Z|2|Z|200|E|20|E|2|E|200|P|20|P|2|P|200|T|20|T|2|T|200|G|20|G|2|G|200|M|"
        "20|M|2|M|200|k|20|k|2|k|2|h|2|da|2||2|d|2|c|2|m|0.2|m|0.02|m|2|mu|0.2|mu|0.02|mu|2|n|0.2|n|0.02|n|"
        "2|p|0.2|p|0.02|p|2|f|0.2|f|0.02|f|2|a|0.2|a|0.02|a|2|z|0.2|z|0.02|z|2|y|0.2|y|0.02|y|");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

// An input that breaks an invariant ends the program. Its bytes are letters, lengths and choices at once.
TEST(Functions, KeepTheInvariantsForGeneratedInput) {
    const std::string letters = "\0\1\1\2\2\3\4\5\6aab;==,  \\\\\"\n\xFF"s;
    std::mt19937 random = SeededRandom();
    for (int i = 0; i < 50000; ++i) {
        std::string input(random() % 40, '\0');
        for (char& c : input) c = letters[random() % letters.size()];
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    }
}
