// What texts mean: the numbers and sizes they hold, and the kind of their content.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <sstream>

#include "text_support.h"

using namespace std::string_literals;

TEST(Text, HoldsNulsButEndsAtOneForComparison) {
    CString s("a\0b"s);
    EXPECT_EQ(Row(s.GetLength(), s == "a", s == "a\0c"s, s == CString("A"), s.IsEmpty()), "3|1|1|0|0|");
    EXPECT_EQ(Raw(s.SetLength()), "a");
    EXPECT_EQ(Raw(s.SetLength(3).Fill('x')), "xxx");
    EXPECT_EQ(Raw(s.SetLength(-1).Append('\0')), "\0"s);
    EXPECT_EQ(Row(CString().GetFirstChar(), CString().GetLastChar(), CString("ab").GetLastChar()), "0|0|98|");
    s = "abc";
    s += s;
    EXPECT_EQ(Raw(s.Append(s.GetCString() + 4)), "abcabcbc");
    const CString& same = s.Assign(s.GetCString() + 6);
    EXPECT_EQ(Raw(s = same), "bc");
}

TEST(LineEnd, BelongsToTheTextItWasSetOnAlone) {
    CString s("a");
    EXPECT_EQ(Row(s.SetEOL(CString::EOL_CRLF).AppendEOL(), s.GetEOL()), "a\r\n|\n|");
    CString copy(s);
    EXPECT_EQ(Raw(copy.Clear().AppendEOL()), "\n");
    s = copy;  // takes the text only
    EXPECT_EQ(Raw(s.AppendEOL().SetEOL(CString::EOL_CR).AppendEOL()), "\n\r\n\r");
    EXPECT_EQ(Raw(s.Clear().SetEOL(static_cast<CString::eol_t>(3)).AppendEOL()), "");
}

TEST(Number, Is32BitsWideOnEveryMachine) {
    const char* const cases[][2] = {
        {"0x8A", "0|0|"},
        {"\t\n +42abc", "42|42|"},
        {"-1", "-1|4294967295|"},
        {"2147483648", "2147483647|2147483648|"},
        {"4294967296", "2147483647|4294967295|"},
        {"-4294967295", "-2147483648|1|"},
        {"-4294967296", "-2147483648|4294967295|"},
    };
    for (const auto& [text, both] : cases)
        EXPECT_EQ(Row(CString(text).GetInteger(), CString(text).GetUnsignedInteger()), both) << text;
    EXPECT_EQ(CString(" -1.5e3x").GetFloat(), -1500);
}

TEST(Number, WrittenPlainlyOrWithAnExponent) {
    CString s;
    EXPECT_EQ(Raw((s = 3.0f) += 2.0), "3.000000e+002.000000e+00");
    EXPECT_EQ(Raw((s = -7) += 10000000000LL), "-710000000000");
    EXPECT_EQ(Raw((s = LLONG_MIN) += 1), "-92233720368547758081");
    EXPECT_EQ(Raw((s = -1.5e-123) += 0.1f), "-1.500000e-1231.000000e-01");
}

TEST(MemorySize, DigitsAndTheFirstSuffixLetterCount) {
    const char* const cases[][3] = {
        // text, number, multiplier, unit and size
        {"1.5M", "15|1048576|m|15728640|", "15|1048576|M|15728640|"},
        {"-5 Kb", "5|1024|k|5120|", "5|1024|K|5120|"},
        {"", "0|1|b|0|", "0|1|b|0|"},
        {"5bk", "5|1|b|5|", "5|1|b|5|"},
        {"1g2", "12|1073741824|g|0|", "12|1073741824|G|12884901888|"},
        {"99999999999Tk", "2147483647|1024|k|-1024|", "2147483647|1099511627776|T|-1099511627776|"},
    };
    for (const auto& [text, parsed, parsed64] : cases) {
        int multiplier = 0;
        long long multiplier64 = 0;
        char unit = 0;
        const int number = ParseMemSizeStr(text, multiplier, unit);
        EXPECT_EQ(Row(number, multiplier, CString(unit), ParseMemSizeStr(text)), parsed);
        const long long number64 = ParseMemSizeStr64(text, multiplier64, unit);
        EXPECT_EQ(Row(number64, multiplier64, CString(unit), ParseMemSizeStr64(text)), parsed64);
    }
}

TEST(MemorySize, WrittenInTheLargestUnitItFills) {
    const std::pair<long long, const char*> cases[] = {
        {-1048577, "-1048577 b"},     {1023, "1023 b"},    {1024, "1 Kb"},
        {1048575, "1024 Kb"},         {1048576, "1 Mb"},   {1610612736, "1.5 Gb"},
        {(1LL << 40) - 1, "1024 Gb"}, {1LL << 40, "1 Tb"}, {1LL << 50, "1024 Tb"},
    };
    for (const auto& [size, text] : cases) EXPECT_EQ(Raw(MemSizeStr(size)), text);
    long long divisor = 0;
    CString unit;
    EXPECT_EQ(Row(MemSizeStr(5LL << 30, divisor, unit), divisor, unit), "5|1073741824|Gb|");
}

TEST(SiUnit, FollowsTheDecimalExponent) {
    const struct {
        const char *least, *most, *row;
    } cases[] = {
        {"2e24", "inf", "2|Y|yotta|"},
        {"2e21", "9e23", "2|Z|zetta|"},
        {"2e18", "9e20", "2|E|exa|"},
        {"2e15", "9e17", "2|P|peta|"},
        {"2e12", "9e14", "2|T|tera|"},
        {"2e9", "9e11", "2|G|giga|"},
        {"2e6", "9e8", "2|M|mega|"},
        {"2e3", "9e5", "2|k|kilo|"},
        {"2e2", "9e2", "2|h|hecto|"},
        {"2e1", "9e1", "2|da|deca|"},
        {"2", "9", "2|||"},
        {"-42", "nan", "-42|||"},
        {"2e-1", "9e-1", "2|d|deci|"},
        {"2e-2", "9e-2", "2|c|centi|"},
        {"2e-5", "9e-3", "0.02|m|milli|"},
        {"2e-8", "9e-6", "0.02|mu|micro|"},
        {"2e-11", "9e-9", "0.02|n|nano|"},
        {"2e-14", "9e-12", "0.02|p|pico|"},
        {"2e-17", "9e-15", "0.02|f|femto|"},
        {"2e-20", "9e-18", "0.02|a|atto|"},
        {"2e-23", "9e-21", "0.02|z|zepto|"},
        {"0", "9e-24", "0|y|yocto|"},
    };
    for (const auto& [least, most, row] : cases) {
        double factor = 0;
        CString prefix, symbol, symbol_of_most;
        const CString number = SI_UnitStr(CString(least).GetFloat(), factor, prefix, symbol);
        EXPECT_EQ(Row(number, symbol, prefix), row);
        EXPECT_DOUBLE_EQ(number.GetFloat() * factor, CString(least).GetFloat());
        SI_UnitStr(CString(most).GetFloat(), factor, prefix, symbol_of_most);
        EXPECT_EQ(Raw(symbol_of_most), Raw(symbol)) << most;
    }
    EXPECT_EQ(Row(SI_UnitStr(1500), SI_UnitStr(5), SI_UnitStr(9e-24)), "1.5 k|5 |9 y|");
}

static std::string Kind(CCharHistogram& counts) {
    return counts.IsPureNumeric()   ? "numeric"
           : counts.IsPureInteger() ? "integer"
           : counts.IsAsciiText()   ? "text"
                                    : "binary";
}

TEST(Histogram, FindsOneKindForEveryContent) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "text"},       {"\t-1 +2\r\n", "integer"}, {"+-", "text"},       {"-1.5e3", "numeric"},
        {"1,5", "numeric"}, {"1d", "numeric"},          {"ee.", "text"},      {"1f", "text"},
        {"1\0"s, "text"},   {"1\v\x7F"s, "text"},       {"12\x80", "binary"},
    };
    for (const auto& [content, kind] : cases) {
        CCharHistogram counts;
        counts.Insert(content);
        EXPECT_EQ(Kind(counts), kind) << testing::PrintToString(content);
    }
}

TEST(Histogram, ClassifiesAgainAfterEveryChangeButNotAfterSetAt) {
    CCharHistogram counts;
    const auto after = [&](auto change) {
        change();
        return Kind(counts);
    };
    EXPECT_EQ(after([&] { counts.Insert(List({"1", "2"})); }), "integer");
    EXPECT_EQ(after([&] { counts.SetAt('x', 1); }), "integer");
    CCharHistogram copy(counts);
    EXPECT_EQ(Raw(copy.GetAlphabet()) + Kind(copy), "text") << "a copy is empty";
    copy = counts;
    EXPECT_EQ(Raw(copy.GetAlphabet()) + Kind(copy), "12xinteger") << "what is assigned is not";
    EXPECT_EQ(after([&] { counts.Insert(CString()); }), "text");
    EXPECT_EQ(after([&] { counts.Remove('x'); }), "integer");
    EXPECT_EQ(after([&] { counts.Insert('.'); }), "numeric");
    EXPECT_EQ(after([&] { counts.Remove(List({"1", "2."})); }), "text");
    EXPECT_EQ(after([&] {
                  counts.Insert("7");
                  counts.Reset();
              }),
              "text");
}

TEST(Histogram, CountersStayBetweenZeroAndTheirLimit) {
    CCharHistogram counts;
    counts.Remove("!");
    counts.Insert("!a!");
    counts.Remove("aa");
    counts.SetAt('\xFF', 268435454);
    counts.Insert("\xFF\xFF");
    counts.SetAt(' ', 4294967295);
    counts.Insert(' ');
    std::ostringstream out;
    counts.Print(out);
    EXPECT_TRUE(out.str().starts_with("char 0x00   freq 0\nchar 0x01   freq 0\n"));
    EXPECT_NE(out.str().find("\nchar 0x20   freq 4294967295\nchar 0x21!  freq 2\n"), std::string::npos);
    EXPECT_TRUE(out.str().ends_with("\nchar 0xff\xFF  freq 268435455\n"));
}

TEST(Charset, AlphabetIsVerbatimUntilASingleCharacterChanges) {
    CCharset set("caba");
    EXPECT_EQ(Raw(CCharset(set).GetAlphabet()), "caba");
    set.SetChar('\x80');
    set.SetChar('\0');
    set.UnsetChar('a');
    EXPECT_EQ(Row(set.GetAlphabet(), set.Isset('\0'), set.GetChar('b'), set.GetChar('a')),
              "\0bc\x80|1|98|0|"s);
    std::ostringstream out;
    set.Print(out);
    set.SetAlphabet("zz\0y"s);
    set.Print(out);
    EXPECT_EQ(Row(CString(out.str()), set.Isset('y'), set.Isset('b')), "zz|1|0|");
}

TEST(Alphabets, AreTheBytesTheyName) {
    EXPECT_EQ(Row(ALPHABET_NULL_CHAR, ALPHABET_FLOAT_NUMBER, ALPHABET_DOUBLE_NUMBER, ALPHABET_HEX_NUMBER),
              "\0|+-.,0123456789eE|+-.,0123456789dD|0123456789abcdefABCDEF|"s);
    EXPECT_EQ(Row(ALPHABET_CTL_CHARS, ALPHABET_ESC_SEQUENCE),
              "\x27\x22\x3F\x5C\x07\x08\x0C\x0A\x0D\x09\x0B|'\"?\\abfnrtv0|");
    EXPECT_EQ(Raw(ALPHABET_SHELL_CHARS), R"( !@#$%^&*(){}[];'"\|<>?)");
}
