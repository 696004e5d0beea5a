// Lists, their files, and walks over them; much of it fails loudest under the address sanitizer.

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <memory>
#include <sstream>

#include "benchdir.h"
#include "text_support.h"

using namespace std::string_literals;

TEST(Outside, ReadsAreNulAndWritesAreIgnored) {
    CString s("abc");
    CStringList list = List({"a", "b", "c"});
    const CStringList& fixed = list;
    const auto mine = std::make_unique<CString>("mine");
    for (const int i : {INT_MIN, -1, 3, INT_MAX}) {
        EXPECT_EQ(s.GetChar(i), '\0') << i;
        EXPECT_EQ(Row(s.SetChar(i, 'x'), list[i], fixed.GetString(i)), "abc|||") << i;
        list.RemoveAt(i).InsertAt(i, mine.get()).InsertAt(i, *mine).InsertAt(i, list);
        EXPECT_EQ(Raw(list), "a|b|c|") << i;
    }
    EXPECT_EQ(Raw(s.SetChar(2, 'd').SetChar(0, 'e')), "ebd");
    list[7] = "written";
    EXPECT_EQ(Row(list.Clear().GetString(-1), CStringList(list)[0]), "written||");
}

TEST(List, OwnsWhatItIsHandedAndMovesNoText) {
    CStringList list = List({"a", "kept", "a", "", "a\0x"s});
    CString& kept = list[1];
    for (int i = 0; i < 1000; ++i) list << "more";
    EXPECT_EQ(Row(list.Insert(CString("copied")), list.Insert(new CString("given"))), "1005|1006|");
    const CString* const none = nullptr;
    EXPECT_EQ(list.InsertAt(0, none).Insert(none), -1);
    EXPECT_EQ(Row(list.FindString("a\0z"s), list.FindString("given"), list.FindString("c")), "0|1006|-1|");
    list.RemoveAt(0).RemoveEmpty().RemoveDuplicates().InsertAt(0, List({"x", "y"}));
    EXPECT_EQ(Raw(list.InsertAt(1, new CString("new"))), "x|new|y|kept|a|more|copied|given|");
    EXPECT_EQ(&list[3], &kept);
    EXPECT_EQ(Row(list.GetLength(), list.IsEmpty(), List({""}).IsEmpty()), "25|0|1|");
}

TEST(List, TakesItselfAsItWasBeforeTheCall) {
    CStringList list = List({"a", std::string(100, 'b')});
    const CStringList& same = list;
    const CStringList copy = same;
    list = same;
    EXPECT_EQ(Raw(list.Insert(same)), Raw(copy) + Raw(copy));
    EXPECT_EQ(Raw(list.RemoveDuplicates().InsertAt(1, same)), "a|" + Raw(copy) + Raw(copy[1]) + '|');
    list.InsertAt(0, list[2]).Insert(list[1]);
    list = list[0];
    EXPECT_EQ(Raw(list), Raw(copy[1]) + '|');

    const BenchDir bench;
    list = List({bench.Write("file", "k=v\n")});
    EXPECT_TRUE(list.LoadFromFile(list[0]));
    ParseStr(list[0], "=", list);
    EXPECT_EQ(Raw(list), "k=v|k|v|");
    list = List({"copied"});
    EXPECT_EQ(Raw(list = copy), Raw(copy));
}

// Reads of the program under test come through here (see CMakeLists.txt), to fail after what they gave.
static bool medium_breaks = false;

extern "C" {
std::size_t __real_fread(void* to, std::size_t size, std::size_t count, std::FILE* file);

std::size_t __wrap_fread(void* to, std::size_t size, std::size_t count, std::FILE* file) {
    const std::size_t got = __real_fread(to, size, count, file);
    if (medium_breaks) std::fputc('x', file);  // an error: it is open for reading only
    return got;
}
}

class TextFile : public testing::Test {
  protected:
    std::string LinesOf(const std::string& content) {
        EXPECT_TRUE(list.LoadFromFile(bench.Write("file", content)));
        return Raw(list);
    }

    BenchDir bench;
    CStringList list;
};

TEST_F(TextFile, LinesEndAtLfCrCrLfAndNulAndHaveNoLimit) {
    const std::string cases[][2] = {{"", ""},
                                    {"\n\ra\r\r\nb", "||a||b|"},
                                    {"a\r\n\nb\r\n", "a||b|"},
                                    {"a\0\n\r\0\n"s, "a|||||"},
                                    {" a \xFF", " a \xFF|"}};
    for (const auto& [content, lines] : cases) EXPECT_EQ(LinesOf(content), lines);
    for (const std::size_t length :
         {65534U, 65535U, 65536U, 131070U, 131071U, 131072U}) {  // around the blocks
        const std::string line(length, 'x');
        EXPECT_TRUE(LinesOf(line + "\r\n\ny") == line + "||y|") << length;
    }
}

TEST_F(TextFile, FaultsLeaveWhatAppendHadAndWholeLinesReadBefore) {
    const std::string folder = bench.Root();
    for (const std::string& path : {folder + "/missing", folder}) {
        list = CString("kept");
        EXPECT_FALSE(list.AppendFromFile(path)) << path;
        EXPECT_EQ(Raw(list), "kept|") << path;
        EXPECT_FALSE(list.LoadFromFile(path)) << path;
        EXPECT_EQ(list.GetCount(), 0) << path;
    }
    const std::string path = bench.Write("file", "a\nb\nunfinis");
    medium_breaks = true;
    EXPECT_FALSE(list.AppendFromFile(path));
    medium_breaks = false;
    EXPECT_EQ(Raw(list), "a|b|");
}

TEST_F(TextFile, SavedAndPrintedLinesEndInLfWhateverTheTextsThemselvesSay) {
    const std::string path = bench.Write("file", "something longer that was there before");
    list = List({"a", "", " \xFF", "b\0c"s});
    list[0].SetEOL(CString::EOL_CRLF);
    EXPECT_TRUE(list.SaveToFile(path));
    EXPECT_EQ(BenchDir::Read(path), "a\n\n \xFF\nb\0c\n"s);
    EXPECT_FALSE(list.SaveToFile(bench.Root().string()));

    std::ostringstream out;
    list.Print(list[3].Print(out) << '=');
    EXPECT_EQ(out.str(), "b\0c=a\n\n \xFF\nb\n"s) << "a list prints its texts up to their first NUL";
}

// What F(irst), P(rev), T(his), N(ext), L(ast) return, one after the other; R(eset) returns nothing.
static std::string Walk(CCharIterator& it, const std::string& steps) {
    std::string seen;
    for (const char step : steps) {
        if (step == 'R') it.Reset();
        if (step == 'F') seen += it.First();
        if (step == 'P') seen += it.Prev();
        if (step == 'T') seen += it.This();
        if (step == 'N') seen += it.Next();
        if (step == 'L') seen += it.Last();
    }
    return seen;
}

TEST(Iterator, StopsAtBothEnds) {
    CString s("abc");
    CStringIterator it(&s);
    EXPECT_EQ(Walk(it, "TPLNN"), "aac\0\0"s);
    CStringIterator copy(it);
    EXPECT_EQ(Walk(copy, "PPPRT"), "cbaa");
    EXPECT_EQ(it.ThisPosition(), 3);
    it.First() = 'z';
    EXPECT_EQ(Row(s, it.Match("zbd", true), it.Match("zb", false), it.ThisPosition()), "zbc|0|1|0|");
    EXPECT_TRUE(it.Match("zb", true) && it.Match("c\0\0"s, true));  // the end is as many NULs as one likes
}

TEST(Iterator, VisitsLineEndsForwardsButNotBackwards) {
    CStringList list;
    CStringListIterator it(&list);
    EXPECT_EQ(Walk(it, "LNP"), "\0\0\0"s);
    list.Insert(List({"ab", "", "c"}));
    it = CStringListIterator(&list);
    EXPECT_EQ(Walk(it, "TNNNNNN") + Walk(it, "FN"), "ab\0\0c\0\0ab"s);
    EXPECT_EQ(Row(it.ThisPosition(), it.LastPosition()), "1|6|");
    EXPECT_EQ(Walk(it, "LPPPPP"), "\0c\0baa"s);
    EXPECT_EQ(Row(it.Match("abc", true), it.Match("ab\0\0c"s, false), it.This()), "0|1|97|");
    EXPECT_TRUE(it.Match("ab\0"s, true));
    EXPECT_EQ(Walk(it, "TNRT"), "\0ca"s);
}

TEST(Iterator, HasANulOfItsOwnWhereThereIsNoByte) {
    CString empty;
    CStringIterator in_empty(&empty), in_no_text;
    in_empty.Last() = '\0';  // lands in the iterator
    CStringListIterator in_no_list;
    EXPECT_EQ(Walk(in_empty, "LPN") + Walk(in_no_text, "FPTNL") + Walk(in_no_list, "FPTNL"),
              std::string(13, '\0'));
    EXPECT_EQ(Row(in_empty.ThisPosition(), in_no_text.LastPosition(), in_no_list.LastPosition()), "0|0|0|");
}

TEST(Iterator, LastPositionStaysWithinItsLimit) {
    // One text of 16 MiB in the place of 2 GiB of them: so the list is never destroyed.
    static CStringList& list = *new CStringList;
    CString* const text = new CString(std::string(1 << 24, 'a'));
    for (int i = 0; i < 128; ++i) list.Insert(text);
    EXPECT_EQ(CStringListIterator(&list).LastPosition(), INT_MAX);
}
