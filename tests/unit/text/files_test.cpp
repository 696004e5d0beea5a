// Line ends, and files that are not what one hopes for.

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

#include "benchdir.h"
#include "text_support.h"

using namespace std::string_literals;

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

TEST_F(TextFile, LinesEndAtLfCrCrLfAndNul) {
    const struct {
        std::string content, lines;
    } cases[] = {
        {"a\nb\n", "a|b|"},     {"a\r\nb\r\n", "a|b|"}, {"a\rb\r", "a|b|"},
        {"\n\r", "||"},         {"a\r\r\nb", "a||b|"},  {"a\r\n\nb", "a||b|"},
        {"a\0\nb\0"s, "a||b|"}, {"\r\0\n"s, "|||"},     {" a \xFF", " a \xFF|"},
    };
    EXPECT_EQ(LinesOf(""), "");
    for (const auto& c : cases) EXPECT_EQ(LinesOf(c.content), c.lines) << testing::PrintToString(c.content);
}

TEST_F(TextFile, LinesHaveNoLimitAndTheirEndsMayCrossAnyBufferEdge) {
    for (const std::size_t edge : {256U, 65536U, 131072U, 1U << 22}) {
        for (std::size_t length = edge - 2; length <= edge + 1; ++length) {
            const std::string line(length, 'x');
            EXPECT_TRUE(LinesOf(line + "\r\n\ny") == line + "||y|") << length;
        }
    }
}

TEST_F(TextFile, FaultsLeaveWhatAppendHadAndWholeLinesReadBefore) {
    const std::string folder = bench.Root();
    for (const std::string& path : {folder + "/missing", folder, ""s}) {
        list = CString("kept");
        EXPECT_FALSE(list.AppendFromFile(path)) << path;
        EXPECT_EQ(Raw(list), "kept|") << path;
        EXPECT_FALSE(list.LoadFromFile(path)) << path;
        EXPECT_EQ(list.GetCount(), 0) << path;
    }
    const std::string path = bench.Write("file", "a\nb\nunfinis");
    medium_breaks = true;
    const bool complete = list.AppendFromFile(path);
    medium_breaks = false;
    EXPECT_FALSE(complete);
    EXPECT_EQ(Raw(list), "a|b|");
}

TEST_F(TextFile, SavedAndPrintedLinesEndInLfWhateverTheTextsThemselvesSay) {
    const std::string path = bench.Write("file", "something longer that was there before");
    list = List({"a", "", " \xFF", "b\0c"s});
    list[0].SetEOL(CString::EOL_CRLF);
    EXPECT_TRUE(list.SaveToFile(path));
    EXPECT_EQ(BenchDir::Read(path), "a\n\n \xFF\nb\0c\n"s);

    std::ostringstream out;
    list[3].Print(out) << '=';
    list.Print(out);
    EXPECT_EQ(out.str(), "b\0c=a\n\n \xFF\nb\n"s) << "a list prints its texts up to their first NUL";

    EXPECT_TRUE(CStringList().SaveToFile(path));
    EXPECT_EQ(BenchDir::Read(path), "");
    EXPECT_FALSE(list.SaveToFile(bench.Root().string()));
    EXPECT_TRUE(list.SaveToFile("/dev/full"));  // only opening can fail
}

TEST(LineEnd, BelongsToTheTextItWasSetOnAlone) {
    CString s("a");
    EXPECT_EQ(Raw(s.SetEOL(CString::EOL_CRLF).AppendEOL()), "a\r\n");
    EXPECT_EQ(Raw(s.GetEOL()), "\n");
    CString copy(s);
    EXPECT_EQ(Raw(copy.Clear().AppendEOL()), "\n");
    s = copy;  // takes the text only
    EXPECT_EQ(Raw(s.AppendEOL()), "\n\r\n");
    EXPECT_EQ(Raw(s.Clear().SetEOL(CString::EOL_CR).AppendEOL()), "\r");
    EXPECT_EQ(Raw(s.SetEOL(static_cast<CString::eol_t>(3)).AppendEOL()), "\r");
}
