// Round trips and plain models, with generated texts. VELMORIN_SEED repeats a run.

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <random>
#include <utility>

#include "text_support.h"

using namespace std::string_literals;

class Generated : public testing::Test {
  protected:
    Generated() {
        const char* const given = std::getenv("VELMORIN_SEED");
        const unsigned long seed = given ? std::strtoul(given, nullptr, 10) : std::random_device{}();
        random.seed(static_cast<std::mt19937::result_type>(seed));
        trace.emplace(__FILE__, __LINE__, "VELMORIN_SEED=" + std::to_string(seed));
    }

    int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); }

    std::string Text(const std::string& letters, int max_length) {
        std::string text(static_cast<std::size_t>(Below(max_length + 1)), '\0');
        for (char& c : text) c = letters[static_cast<std::size_t>(Below(static_cast<int>(letters.size())))];
        return text;
    }

    Strings Texts(const std::string& letters) {
        Strings texts(static_cast<std::size_t>(1 + Below(8)));
        for (auto& text : texts) text = Text(letters, 40);
        return texts;
    }

    static constexpr int kRounds = 2000;
    std::mt19937 random;
    std::optional<testing::ScopedTrace> trace;
};

TEST_F(Generated, ShieldedTextsComeBack) {
    for (int i = 0; i < kRounds; ++i) {
        const std::string text = Text("ab; \"\0\xFF"s, 12);
        EXPECT_EQ(Raw(UnshieldChars(ShieldChars(text, ";b"), ";b")), text);
        EXPECT_EQ(Raw(UnshieldSpaces(ShieldSpaces(text))), text);
        const CString with_shields = Text("a \\", 12);
        const std::string once = Raw(ShieldSpaces(with_shields));
        EXPECT_EQ(Raw(ShieldSpaces(once)), once);
        const CString quoted = QuoteStr(text);
        EXPECT_TRUE(IsQuoted(quoted)) << text;
        EXPECT_EQ(Raw(QuoteStr(quoted)), Raw(quoted));
    }
}

TEST_F(Generated, SavedTextsComeBack) {
    const Folder folder;
    for (int i = 0; i < kRounds / 10; ++i) {
        const Strings texts = Texts("ab \t\"=#\x01\x80\xFF");
        CStringList list = List(texts);
        ASSERT_TRUE(list.SaveToFile(folder.Path("file")));
        ASSERT_TRUE(list.LoadFromFile(folder.Path("file")));
        EXPECT_EQ(Raw(list), texts);
    }
}

TEST_F(Generated, ParsedTextsJoinAgain) {
    for (int i = 0; i < kRounds; ++i) {
        const std::string text = Text("ab,\0"s, 20);
        CStringList fields;
        ParseStr(text, ',', fields);
        EXPECT_EQ(Raw(fields.Join(',')), text);
        const Strings texts = Texts("ab \0"s);
        CStringList again;
        ParseStr(List(texts).Join(','), ',', again);
        EXPECT_EQ(Raw(again), texts);
    }
}

TEST_F(Generated, LinesAreWhatAByteByByteReaderFinds) {
    const Folder folder;
    for (int i = 0; i < kRounds / 10; ++i) {
        const std::string content = Text("ab\n\r\0"s, 60);
        Strings expected;
        std::string line;
        char before = 'x';
        for (const char c : content) {
            const bool second_half = before == '\r' && c == '\n';
            before = c;
            if (second_half) continue;
            if (c == '\n' || c == '\r' || c == '\0') {
                expected.push_back(std::exchange(line, ""));
            } else {
                line += c;
            }
        }
        if (!line.empty()) expected.push_back(line);
        CStringList list;
        ASSERT_TRUE(list.LoadFromFile(folder.Write(content)));
        EXPECT_EQ(Raw(list), expected) << testing::PrintToString(content);
    }
}

TEST_F(Generated, ReplacementsAreThoseOfARescanFromTheStart) {
    for (int i = 0; i < kRounds; ++i) {
        const std::string text = Text("ab", 30);
        const std::string find = "ab"s.substr(static_cast<std::size_t>(Below(2))) + Text("ab", 2);
        const std::string replace = Text("ab", static_cast<int>(find.size()));  // never longer: always ends
        if (replace == find) continue;
        std::string expected = text;
        for (std::size_t at; (at = expected.find(find)) != std::string::npos;) {
            expected.replace(at, find.size(), replace);
        }
        EXPECT_EQ(Raw(FindReplaceStr(text, find, replace)), expected)
            << text << ": " << find << " by " << replace;
    }
}

TEST_F(Generated, WalkOverAListSeesItsLinesJoinedByNuls) {
    for (int i = 0; i < kRounds / 10; ++i) {
        const CStringList list = List(Texts("ab"));
        CStringListIterator it(&list);
        std::string seen(1, it.First());
        while (static_cast<int>(seen.size()) < it.LastPosition()) seen += it.Next();
        EXPECT_EQ(seen, Raw(list.Join('\0')) + '\0');
    }
}
