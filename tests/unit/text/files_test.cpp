// Line ends, and files that are not what one hopes for.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <sstream>

#include "text_support.h"

using namespace std::string_literals;

// Reads of the program under test come through here (see CMakeLists.txt). When set, what is read beyond so
// many bytes comes from a folder, which fails as a broken medium does.
static std::optional<std::size_t> breaks_after;

extern "C" {
std::size_t __real_fread(void* to, std::size_t size, std::size_t count, std::FILE* file);

std::size_t __wrap_fread(void* to, std::size_t size, std::size_t count, std::FILE* file) {
    if (!breaks_after) return __real_fread(to, size, count, file);
    const std::size_t got = __real_fread(to, 1, std::min(size * count, *breaks_after), file);
    std::FILE* const folder = std::fopen("/", "rb");
    dup2(fileno(folder), fileno(file));
    std::fclose(folder);
    return got + __real_fread(static_cast<char*>(to) + got, 1, size * count - got, file);
}
}

class TextFile : public testing::Test {
  protected:
    Strings LinesOf(const std::string& content) {
        EXPECT_TRUE(list.LoadFromFile(folder.Write(content)));
        return Raw(list);
    }

    Folder folder;
    CStringList list;
};

TEST_F(TextFile, LinesEndAtLfCrCrLfAndNul) {
    const struct {
        std::string content;
        Strings lines;
    } cases[] = {
        {"", {}},
        {"a\nb\n", {"a", "b"}},
        {"a\r\nb\r\n", {"a", "b"}},
        {"a\rb\r", {"a", "b"}},
        {"a\n\nb", {"a", "", "b"}},
        {"\r\n", {""}},
        {"\n\r", {"", ""}},
        {"a\r\r\nb", {"a", "", "b"}},
        {"a\r\n\nb", {"a", "", "b"}},
        {"a\0b\0"s, {"a", "b"}},
        {"a\0\nb"s, {"a", "", "b"}},
        {"a\r\0\nb"s, {"a", "", "", "b"}},
        {" a \xFF", {" a \xFF"}},
    };
    for (const auto& c : cases) EXPECT_EQ(LinesOf(c.content), c.lines) << testing::PrintToString(c.content);
}

TEST_F(TextFile, LinesAndLineEndsMayCrossAnyBufferEdge) {
    for (const std::size_t edge : {256U, 4096U, 65536U, 131072U}) {
        for (std::size_t length = edge - 2; length <= edge + 1; ++length) {
            const std::string line(length, 'x');
            EXPECT_EQ(LinesOf(line + "\r\n\ny"), (Strings{line, "", "y"})) << length;
        }
    }
}

TEST_F(TextFile, HugeLineAndNulsOnlyAreJustContent) {
    constexpr std::size_t kHuge = 100 << 20;
    ASSERT_TRUE(list.LoadFromFile(folder.Write(std::string(kHuge, 'x'))));
    ASSERT_EQ(list.GetCount(), 1);
    EXPECT_EQ(list.GetLength(), 104857600);

    ASSERT_TRUE(list.LoadFromFile(folder.Write(std::string(1 << 20, '\0'))));
    EXPECT_EQ(list.GetCount(), 1048576);
    EXPECT_EQ(list.GetLength(), 0);
}

TEST_F(TextFile, FileThatCannotBeOpenedLeavesWhatAppendHadAndEmptiesWhatLoadHad) {
    for (const std::string& path : {folder.Path("missing"), folder.Path(), ""s}) {
        list = CString("kept");
        EXPECT_FALSE(list.AppendFromFile(path)) << path;
        EXPECT_EQ(Raw(list), Strings{"kept"}) << path;
        EXPECT_FALSE(list.LoadFromFile(path)) << path;
        EXPECT_EQ(list.GetCount(), 0) << path;
    }
}

TEST_F(TextFile, FileWithoutReadPermissionCannotBeLoaded) {
    const std::string path = folder.Write("a\n");
    chmod(path.c_str(), 0);
    const uid_t user = geteuid();
    if (user == 0 && seteuid(65534) != 0) GTEST_SKIP() << "root may read every file";
    const bool loaded = list.LoadFromFile(path);
    ASSERT_EQ(seteuid(user), 0);
    EXPECT_FALSE(loaded);
}

TEST_F(TextFile, ReadErrorKeepsTheLinesReadToTheirEnd) {
    const std::string path = folder.Write("a\nb\nunfinis");
    list = CString("kept");
    breaks_after = 11;
    const bool complete = list.AppendFromFile(path);
    breaks_after.reset();
    EXPECT_FALSE(complete);
    EXPECT_EQ(Raw(list), (Strings{"kept", "a", "b"}));
}

TEST_F(TextFile, SavedLinesEndInLfWhateverTheTextsThemselvesSay) {
    const std::string path = folder.Write("something longer that was there before");
    list << "a"
         << ""
         << "b\0c"s;
    list[0].SetEOL(CString::EOL_CRLF);
    EXPECT_TRUE(list.SaveToFile(path));
    EXPECT_EQ(folder.Read(), "a\n\nb\0c\n"s);
    EXPECT_TRUE(list.LoadFromFile(path));
    EXPECT_EQ(Raw(list), (Strings{"a", "", "b", "c"}));

    EXPECT_TRUE(CStringList().SaveToFile(path));
    EXPECT_EQ(folder.Read(), "");
}

TEST_F(TextFile, SavingFailsOnlyWhenTheFileCannotBeOpened) {
    list << "a";
    EXPECT_FALSE(list.SaveToFile(folder.Path()));
    EXPECT_FALSE(list.SaveToFile(folder.Path("missing/file")));
    EXPECT_TRUE(list.SaveToFile("/dev/full"));
}

TEST(LineEnd, BelongsToTheTextItWasSetOnAlone) {
    CString s("a");
    s.SetEOL(CString::EOL_CRLF).AppendEOL();
    EXPECT_EQ(Raw(s), "a\r\n");
    EXPECT_EQ(Raw(s.GetEOL()), "\n");

    CString copy(s);
    EXPECT_EQ(Raw(copy.Clear().AppendEOL()), "\n");
    s = copy;  // takes the text only
    EXPECT_EQ(Raw(s.AppendEOL()), "\n\r\n");
    EXPECT_EQ(Raw(s.Clear().SetEOL(CString::EOL_CR).AppendEOL()), "\r");
    EXPECT_EQ(Raw(s.SetEOL(static_cast<CString::eol_t>(3)).AppendEOL()), "\r");

    CStringList list;
    list << s;
    EXPECT_EQ(Raw(list[0].AppendEOL()), "\r\n");
}

TEST(Printing, TextsInFullAndListLinesUpToTheirFirstNul) {
    std::ostringstream out;
    CString("a\0b"s).Print(out) << '|';
    List({"c\0d"s, ""}).Print(out);
    EXPECT_EQ(out.str(), "a\0b|c\n\n"s);
}
