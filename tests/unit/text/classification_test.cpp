// Character sets, and what the histogram says of a text.

#include <gtest/gtest.h>

#include <sstream>

#include "text_support.h"

using namespace std::string_literals;

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
        {"", "text"},         {"123", "integer"},  {"12 34\n", "integer"}, {"\t-1 +2\r\n", "integer"},
        {"+-", "text"},       {" \n", "text"},     {"-1.5e3", "numeric"},  {"1,5", "numeric"},
        {"1d", "numeric"},    {"ee.", "text"},     {"abc", "text"},        {"1f", "text"},
        {"1\0"s, "text"},     {"1\v"s, "text"},    {"1\x7F", "text"},      {"\xFF", "binary"},
        {"12\x80", "binary"}, {"a\xFF", "binary"},
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
    counts.Remove("b");
    counts.Insert("bab");
    counts.Remove("aa");
    EXPECT_EQ(counts.GetAt('a'), 0U);
    EXPECT_EQ(counts.GetAt('b'), 2U);

    counts.SetAt('\xFF', 268435454);
    counts.Insert("\xFF\xFF");
    EXPECT_EQ(counts.GetAt('\xFF'), 268435455U);
    counts.SetAt('\xFF', 4294967295);
    counts.Insert('\xFF');
    EXPECT_EQ(counts.GetAt('\xFF'), 4294967295U);
    EXPECT_EQ(Raw(counts.GetAlphabet()), "b\xFF");
}

TEST(Histogram, IsEmptyWhenCopiedButNotWhenAssigned) {
    CCharHistogram counts;
    counts.Insert("1");
    EXPECT_EQ(Kinds(counts), "integer");
    CCharHistogram copy(counts);
    EXPECT_EQ(Raw(copy.GetAlphabet()), "");
    EXPECT_EQ(Kinds(copy), "text");
    copy = counts;
    copy.SetAt('.', 1);
    EXPECT_EQ(Kinds(copy), "integer");  // the classification came along
}

TEST(Histogram, PrintsALineForEveryByte) {
    CCharHistogram counts;
    counts.Insert("AAAAA");
    counts.SetAt(' ', 4294967295);
    std::ostringstream out;
    counts.Print(out);
    const std::string printed = out.str();
    EXPECT_TRUE(printed.starts_with("char 0x00   freq 0\nchar 0x01   freq 0\n")) << printed;
    EXPECT_NE(printed.find("\nchar 0x20   freq 4294967295\nchar 0x21!  freq 0\n"), std::string::npos);
    EXPECT_NE(printed.find("\nchar 0x41A  freq 5\n"), std::string::npos);
    EXPECT_TRUE(printed.ends_with("\nchar 0xff\xFF  freq 0\n"));
}

TEST(Charset, AlphabetIsVerbatimUntilASingleCharacterChanges) {
    CCharset set("caba");
    EXPECT_EQ(Raw(set.GetAlphabet()), "caba");
    EXPECT_EQ(Raw(CCharset(set).GetAlphabet()), "caba");
    EXPECT_FALSE(set.Isset('d'));
    set.SetChar('\x80');
    set.SetChar('\0');
    set.UnsetChar('a');
    EXPECT_EQ(Raw(set.GetAlphabet()), "\0bc\x80"s);
    EXPECT_TRUE(set.Isset('\0'));
    EXPECT_EQ(set.GetChar('b'), 'b');
    EXPECT_EQ(set.GetChar('a'), '\0');

    std::ostringstream out;
    set.Print(out);
    EXPECT_EQ(out.str(), "");
    set.SetAlphabet("zz\0y"s);
    set.Print(out);
    EXPECT_EQ(out.str(), "zz");
    EXPECT_TRUE(set.Isset('y'));
    EXPECT_FALSE(set.Isset('b'));
}

TEST(Alphabets, AreTheBytesTheyName) {
    EXPECT_EQ(Raw(ALPHABET_NULL_CHAR), "\0"s);
    EXPECT_EQ(Raw(ALPHABET_TAB_CHAR) + Raw(ALPHABET_CR_CHAR) + Raw(ALPHABET_LF_CHAR), "\x09\x0D\x0A");
    EXPECT_EQ(Raw(ALPHABET_CTL_CHARS), "\x27\x22\x3F\x5C\x07\x08\x0C\x0A\x0D\x09\x0B");
    EXPECT_EQ(Raw(ALPHABET_ESC_SEQUENCE),
              "\x27\x22\x3F\x5C"
              "abfnrtv0");
    EXPECT_EQ(Raw(ALPHABET_SHELL_CHARS),
              "\x20\x21\x40\x23\x24\x25\x5E\x26\x2A\x28\x29\x7B\x7D\x5B\x5D\x3B\x27\x22\x5C\x7C\x3C\x3E\x3F");
    EXPECT_EQ(ALPHABET_REAL_NUMBER.GetLength() + ALPHABET_HEX_NUMBER.GetLength(), 40);
}
