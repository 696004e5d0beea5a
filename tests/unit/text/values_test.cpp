// What texts mean: the numbers and sizes they hold, and the kind of their content.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <sstream>

#include "text_support.h"

using namespace std::string_literals;

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
    CString s("old");
    EXPECT_EQ(Raw(s = 3.0f), "3.000000e+00");
    EXPECT_EQ(Raw((s = -7) += 10000000000LL), "-710000000000");
    EXPECT_EQ(Raw((s = LLONG_MIN) += 1), "-92233720368547758081");
    EXPECT_EQ(Raw((s = -1.5e-123) += 0.1f), "-1.500000e-1231.000000e-01");
    EXPECT_EQ(Raw((s = 'x') += 2.0), "x2.000000e+00");
}

TEST(MemorySize, DigitsAndTheFirstSuffixLetterCount) {
    const char* const cases[][3] = {
        // text, number, multiplier, unit and size
        {"10k", "10|1024|k|10240|", "10|1024|K|10240|"},
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
    const struct {
        long long size;
        const char* text;
    } cases[] = {
        {-1048577, "-1048577 b"}, {1023, "1023 b"},     {1024, "1 Kb"},
        {1536, "1.5 Kb"},         {1048575, "1024 Kb"}, {1048576, "1 Mb"},
        {1073741823, "1024 Mb"},  {1LL << 40, "1 Tb"},  {1LL << 50, "1024 Tb"},
    };
    for (const auto& c : cases) EXPECT_EQ(Raw(MemSizeStr(c.size)), c.text);
    long long divisor = 0;
    CString unit("old");
    const CString number = MemSizeStr(5LL << 30, divisor, unit);
    EXPECT_EQ(Row(number, divisor, unit), "5|1073741824|Gb|");
}

TEST(SiUnit, FollowsTheDecimalExponent) {
    const struct {
        double value;
        const char* row;
    } cases[] = {
        {1e30, "1e+06|Y|yotta|"},    {9.9e23, "990|Z|zetta|"},   {2e18, "2|E|exa|"},
        {5e17, "500|P|peta|"},       {5e12, "5|T|tera|"},        {5e11, "500|G|giga|"},
        {9.5e8, "950|M|mega|"},      {1500, "1.5|k|kilo|"},      {250, "2.5|h|hecto|"},
        {42, "4.2|da|deca|"},        {5.125, "5.125|||"},        {-42.5, "-42.5|||"},
        {0.25, "2.5|d|deci|"},       {0.025, "2.5|c|centi|"},    {2.5e-5, "0.025|m|milli|"},
        {2.5e-8, "0.025|mu|micro|"}, {2.5e-11, "0.025|n|nano|"}, {2.5e-14, "0.025|p|pico|"},
        {2.5e-17, "0.025|f|femto|"}, {2.5e-18, "2.5|a|atto|"},   {2.5e-23, "0.025|z|zepto|"},
        {2.5e-24, "2.5|y|yocto|"},   {0, "0|y|yocto|"},          {INFINITY, "inf|Y|yotta|"},
        {-INFINITY, "-inf|||"},
    };
    for (const auto& c : cases) {
        double factor = 0;
        CString prefix, symbol;
        const CString number = SI_UnitStr(c.value, factor, prefix, symbol);
        EXPECT_EQ(Row(number, symbol, prefix), c.row);
        if (std::isinf(c.value)) continue;
        EXPECT_NEAR(number.GetFloat() * factor, c.value, std::abs(c.value) * 1e-5);
    }
    EXPECT_EQ(Row(SI_UnitStr(1500), SI_UnitStr(5)), "1.5 k|5 |");
}

static std::string Kinds(CCharHistogram& counts) {
    std::string kinds;
    if (counts.IsPureNumeric()) kinds += "numeric";
    if (counts.IsPureInteger()) kinds += "integer";
    if (counts.IsAsciiText()) kinds += "text";
    if (counts.IsCustomBinary()) kinds += "binary";
    return kinds;
}

TEST(Histogram, FindsOneKindForEveryContent) {
    const struct {
        std::string content;
        const char* kind;
    } cases[] = {
        {"", "text"},         {"123", "integer"}, {"12 34\n", "integer"}, {"\t-1 +2\r\n", "integer"},
        {"+-", "text"},       {" \n", "text"},    {"-1.5e3", "numeric"},  {"1,5", "numeric"},
        {"1d", "numeric"},    {"ee.", "text"},    {"1f", "text"},         {"1\0"s, "text"},
        {"1\v\x7F"s, "text"}, {"\xFF", "binary"}, {"12\x80", "binary"},
    };
    for (const auto& c : cases) {
        CCharHistogram counts;
        counts.Insert(c.content);
        EXPECT_EQ(Kinds(counts), c.kind) << testing::PrintToString(c.content);
    }
}

TEST(Histogram, ClassifiesAgainAfterEveryChangeButNotAfterSetAt) {
    CCharHistogram counts;
    counts.Insert(List({"1", "2"}));
    EXPECT_EQ(Kinds(counts), "integer");
    counts.SetAt('x', 1);
    EXPECT_EQ(Kinds(counts), "integer");
    CCharHistogram copy(counts);
    EXPECT_EQ(Raw(copy.GetAlphabet()) + Kinds(copy), "text") << "a copy is empty";
    copy = counts;
    EXPECT_EQ(Raw(copy.GetAlphabet()) + Kinds(copy), "12xinteger") << "what is assigned is not";
    counts.Insert(CString());
    EXPECT_EQ(Kinds(counts), "text");
    counts.Remove('x');
    EXPECT_EQ(Kinds(counts), "integer");
    counts.SetAt('.', 1);
    counts.Remove(CStringList());
    EXPECT_EQ(Kinds(counts), "numeric");
    counts.Reset();
    EXPECT_EQ(Kinds(counts), "text");
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
    EXPECT_EQ(Raw(counts.GetAlphabet()), " !\xFF");
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
    EXPECT_EQ(Raw(set.GetAlphabet()), "\0bc\x80"s);
    EXPECT_EQ(Row(set.Isset('\0'), set.Isset('a'), CString(set.GetChar('b')), CString(set.GetChar('a'))),
              "1|0|b|\0|"s);
    std::ostringstream out;
    set.Print(out);
    set.SetAlphabet("zz\0y"s);
    set.Print(out);
    EXPECT_EQ(out.str(), "zz");
    EXPECT_EQ(Row(set.Isset('y'), set.Isset('b')), "1|0|");
}

TEST(Alphabets, AreTheBytesTheyName) {
    EXPECT_EQ(Row(ALPHABET_NULL_CHAR, ALPHABET_FLOAT_NUMBER, ALPHABET_DOUBLE_NUMBER, ALPHABET_HEX_NUMBER),
              "\0|+-.,0123456789eE|+-.,0123456789dD|0123456789abcdefABCDEF|"s);
    EXPECT_EQ(Raw(ALPHABET_CTL_CHARS), "\x27\x22\x3F\x5C\x07\x08\x0C\x0A\x0D\x09\x0B");
    EXPECT_EQ(Raw(ALPHABET_ESC_SEQUENCE), R"('"?\abfnrtv0)");
    EXPECT_EQ(Raw(ALPHABET_SHELL_CHARS),
              "\x20\x21\x40\x23\x24\x25\x5E\x26\x2A\x28\x29\x7B\x7D\x5B\x5D\x3B\x27\x22\x5C\x7C\x3C\x3E\x3F");
}
