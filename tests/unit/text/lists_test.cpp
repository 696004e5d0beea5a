// Texts, lists and their files, walks and sets. Much of it fails loudest under the address sanitizer.

#include <climits>
#include <memory>
#include <sstream>

#include "benchdir.h"
#include "text_support.h"

static std::string Numbers(const CString& s) {
    return Row(s.GetInteger(), s.GetUnsignedInteger());
}

TEST(Text, IsBytesWithALineEndOfItsOwn) {
    CString s("a\0b"s), crlf, own("abc"), number;
    constexpr auto kNoEol = static_cast<CString::eol_t>(3);
    own += own;
    Compare({
        {Row(s.GetLength(), s == "a", s == "a\0c"s, s == CString("A"), s.IsEmpty()), "3|1|1|0|0|"},
        {Row(s.GetChar(2), s.GetChar(3), s.GetChar(-1), crlf.GetFirstChar(), crlf.GetLastChar()),
         "98|0|0|0|0|"},
        {Row(s.SetChar(3, 'x').SetChar(-1, 'x').SetChar(2, 'c').SetChar(0, 'd')), "d\0c|"s},
        {Raw(s.SetLength()), "d"},
        {Raw(s.SetLength(3).Fill('x')), "xxx"},
        {Raw(s.SetLength(-1).Append('\0')), "\0"s},
        {Raw(own.Append(own.GetCString() + 4)), "abcabcbc"},
        {Raw(own.Assign(own.GetCString() + 6)), "bc"},
        {Raw(crlf.SetEOL(CString::EOL_CRLF).GetEOL()), "\n"},
        {Raw((crlf = CString("a")).AppendEOL()), "a\r\n"},
        {Raw(CString(crlf).AppendEOL()), "a\r\n\n"},
        {Raw(crlf.SetEOL(CString::EOL_CR).AppendEOL().SetEOL(kNoEol).AppendEOL()), "a\r\n\r"},
        {Numbers("\t\n +42abc") + Numbers("-1"), "42|42|-1|4294967295|"},
        {Numbers("2147483648") + Numbers("4294967296"), "2147483647|2147483648|2147483647|4294967295|"},
        {Numbers("-4294967295") + Numbers("-4294967296"), "-2147483648|1|-2147483648|4294967295|"},
        {Raw((number = 3.0f) += CString(" -1.5e3x").GetFloat()), "3.000000e+00-1.500000e+03"},
        {Raw((number = -7) += LLONG_MIN), "-7-9223372036854775808"},
        {Raw((number = 10000000000LL) += 1), "100000000001"},
        {Raw((number = -1.5e-123) += 0.1f), "-1.500000e-1231.000000e-01"},
    });
}

TEST(List, OwnsItsTextsAndGivesNothingOutside) {
    const CStringList abc = List("a b c");
    CStringList list = List("a kept a  a\0x"s), same = abc;
    CString& kept = list[1];
    CString mine("mine");
    const CString* const none = nullptr;
    Compare({
        {Raw(list.Insert(CString("copied"))), "5"},
        {Raw(list.InsertAt(0, none).Insert(none)), "-1"},
        {Raw(list.Insert(new CString("given"))), "6"},
        {Row(list.FindString("a\0z"s), list.FindString("given"), list.FindString("c")), "0|6|-1|"},
        {Raw(list.RemoveAt(0).RemoveEmpty().RemoveDuplicates()), "kept|a|copied|given|"},
        {Raw(list.InsertAt(0, abc).InsertAt(1, new CString("new"))), "a|new|b|c|kept|a|copied|given|"},
        {Row(&list[4] == &kept, list.GetLength(), list.IsEmpty(), List(" ").IsEmpty()), "1|22|0|1|"},
        {Raw(list.RemoveAt(7)), "a|new|b|c|kept|a|copied|"},
        {Raw(list.RemoveAt(-1).RemoveAt(7).InsertAt(-1, &mine).InsertAt(7, mine).InsertAt(7, abc)),
         "a|new|b|c|kept|a|copied|"},
        {Row(abc[-1], abc.GetString(3), list[7] = "written"), "||written|"},
        {Raw(list.Clear().GetString(-1)), "written"},
        {Raw(CStringList(list)[0]), ""},
        // What belongs to the list is taken as it was before the call.
        {Raw(same.Insert(same)), "a|b|c|a|b|c|"},
        {Raw(same.RemoveDuplicates().InsertAt(1, same).InsertAt(0, same[4])), "b|a|a|b|c|b|c|"},
        {Raw(same = std::as_const(same)), "b|a|a|b|c|b|c|"},
        {Raw(same = same[1]), "a|"},
    });
}

TEST(File, LinesEndAtLfCrCrLfAndNulAndHaveNoLimit) {
    const BenchDir bench;
    const auto lines_of = [&](const std::string& content) {
        CStringList list;
        list << bench.Write("file", content);
        return list.LoadFromFile(list[0]) ? Raw(list) : "no file";
    };
    EXPECT_EQ(lines_of("") + lines_of("\n\ra\r\r\n \xFF") + lines_of("a\r\n\nb\r\n"), "||a|| \xFF|a||b|");
    EXPECT_EQ(lines_of("a\0\n\r\0\n"s), "a|||||");
    for (const std::size_t length : {65534U, 65535U, 65536U, 131071U, 131072U})  // around the blocks
        EXPECT_TRUE(lines_of(std::string(length, 'x') + "\r\n\ny") == std::string(length, 'x') + "||y|");
}

TEST(File, FaultsLeaveWhatAppendHad) {
    const BenchDir bench;
    CStringList list = List("kept");
    EXPECT_FALSE(list.AppendFromFile(bench.Root().string()) || list.AppendFromFile("missing"));
    EXPECT_EQ(Raw(list), "kept|");
    EXPECT_FALSE(list.SaveToFile(bench.Root().string()) || list.LoadFromFile("missing"));
    EXPECT_EQ(list.GetCount(), 0);
}

TEST(File, SavedAndPrintedLinesEndInLfWhateverTheTextsThemselvesSay) {
    const BenchDir bench;
    const std::string path = bench.Write("file", "something longer that was there before");
    CStringList list = List("a  \xFF b\0c"s);
    list[0].SetEOL(CString::EOL_CRLF);
    EXPECT_TRUE(list.SaveToFile(path));
    EXPECT_EQ(BenchDir::Read(path), "a\n\n\xFF\nb\0c\n"s);
    std::ostringstream out;
    list.Print(list[3].Print(out) << '=');
    EXPECT_EQ(out.str(), "b\0c=a\n\n\xFF\nb\n"s) << "a list prints its texts up to their first NUL";
}

// What F(irst), P(rev), T(his), N(ext) and L(ast) return, one after the other.
static std::string Walk(CCharIterator& it, const std::string& steps) {
    static constexpr decltype(&CCharIterator::This) kSteps[] = {&CCharIterator::First, &CCharIterator::Prev,
                                                                &CCharIterator::This, &CCharIterator::Next,
                                                                &CCharIterator::Last};
    std::string seen;
    for (const char step : steps) seen += (it.*kSteps["FPTNL"s.find(step)])();
    return seen;
}

TEST(Iterator, StopsAtBothEndsAndVisitsLineEndsOnlyForwards) {
    CString s("abc"), empty;
    CStringList list, lines = List("ab  c");
    CStringIterator in_text(&s), in_empty(&empty), in_no_text;
    CStringListIterator in_list(&list), in_lines(&lines), in_no_list;
    Compare({
        {Walk(in_text, "TPLNN"), "aac\0\0"s},
        {Walk(*std::make_unique<CStringIterator>(in_text), "PPP"), "cba"},
        {Raw(in_text.ThisPosition()), "3"},
        {Raw(in_text.Prev() = 'd'), "100"},
        {Raw((in_text.Reset(), in_text.This())), "97"},
        {Row(in_text.Match("abc", true), in_text.Match("ab", false), in_text.This()), "0|1|97|"},
        {Raw(in_text.Match("ab", true)), "1"},
        {Raw(in_text.Match("d\0\0"s, true)) + Raw(s), "1abd"},  // the end is as many NULs as one likes
        {Walk(in_empty, "LPN") + Walk(in_no_text, "FPTNL") + Walk(in_no_list, "FPTNL"), std::string(13, 0)},
        {Row(in_empty.ThisPosition(), in_no_text.LastPosition(), in_no_list.LastPosition()), "0|0|0|"},
        {Walk(in_list, "LNP"), std::string(3, 0)},
        {Walk(in_lines, "TNNNNNN"), "ab\0\0c\0\0"s},
        {Row(in_lines.ThisPosition(), in_lines.LastPosition()), "1|6|"},
        {Walk(in_lines, "FLPPPPP"), "a\0c\0baa"s},
        {Row(in_lines.Match("abc", true), in_lines.Match("ab\0\0c"s, false), in_lines.This()), "0|1|97|"},
        {Raw(in_lines.Match("ab\0"s, true)), "1"},
        {Walk(in_lines, "TNF"), "\0ca"s},
    });
}

static std::string Kind(CCharHistogram& counts) {
    return counts.IsPureNumeric() ? "N" : counts.IsPureInteger() ? "I" : counts.IsAsciiText() ? "T" : "B";
}

TEST(Histogram, FindsTheKindOfItsContentAgainAfterEveryChangeButSetAt) {
    CCharHistogram counts, copy;
    const auto kind_of = [&](const CString& text) {
        return counts.Reset(), counts.Insert(text), Kind(counts);
    };
    Compare({
        {kind_of("\t-1 +2\r\n") + kind_of("-1.5e3") + kind_of("1,5") + kind_of("1d"), "INNN"},
        {kind_of("") + kind_of("+-") + kind_of("e.") + kind_of("1f") + kind_of("1\0"s), "TTTTT"},
        {kind_of("12\x80"), "B"},
        {(counts.Remove('\x80'), Kind(counts)), "I"},
        {(counts.SetAt('x', 1), Kind(copy = counts)), "I"},
        {Kind(*std::make_unique<CCharHistogram>(counts)), "T"},  // a copy is empty
        {(counts.Remove(CString()), Kind(counts)), "T"},
        {(counts.SetAt('x', 0), counts.Insert(CString()), Kind(counts)), "I"},
        {(counts.SetAt('x', 1), counts.Remove(CStringList()), Kind(counts)), "T"},
        {(counts.SetAt('x', 0), counts.Insert(CStringList()), Kind(counts)), "I"},
        {(counts.Remove(List("x 2")), Kind(counts)), "I"},
        {(counts.Insert('z'), Kind(counts)), "T"},
        {(counts.Insert(List("z")), Kind(counts)), "T"},
        {Row(counts.GetAlphabet(), copy.GetAlphabet()), "1z|12x|"},
    });
}

TEST(Histogram, KeepsItsCountersBetweenZeroAndTheirLimit) {
    CCharHistogram counts;
    counts.Remove("!");
    counts.Insert("!!");
    counts.SetAt('\xFF', 268435454);
    counts.Insert("\xFF\xFF");
    std::ostringstream out;
    counts.Print(out);
    EXPECT_TRUE(out.str().starts_with("char 0x00   freq 0\nchar 0x01   freq 0\n"));
    EXPECT_NE(out.str().find("\nchar 0x20   freq 0\nchar 0x21!  freq 2\n"), std::string::npos);
    EXPECT_TRUE(out.str().ends_with("\nchar 0xff\xFF  freq 268435455\n"));
}

TEST(Charset, HasItsAlphabetVerbatimUntilASingleCharacterChanges) {
    CCharset set("caba"), copy(set);
    std::ostringstream out;
    set.SetChar('\x80');
    set.SetChar('\0');
    set.UnsetChar('a');
    set.Print(out);
    EXPECT_EQ(Row(copy.GetAlphabet(), set.GetAlphabet(), set.Isset('\0'), set.GetChar('b'), set.GetChar('a')),
              "caba|\0bc\x80|1|98|0|"s);
    set.SetAlphabet("zz\0y"s);
    set.Print(out);
    EXPECT_EQ(Row(CString(out.str()), set.Isset('y'), set.Isset('b')), "zz|1|0|");
}
