// Round trips of generated texts. VELMORIN_SEED repeats a run.
#include <gtest/gtest.h>

#include "benchdir.h"
#include "seed.h"
#include "text_support.h"

using namespace std::string_literals;

class RoundTrip : public testing::Test {
  protected:
    std::string Text(const std::string& letters, unsigned int max_length) {
        std::string text(random() % (max_length + 1), '\0');
        for (char& c : text) c = letters[random() % letters.size()];
        return text;
    }

    CStringList Texts(const std::string& letters) {
        CStringList texts;
        for (unsigned int i = 1 + random() % 8; i > 0; --i) texts << Text(letters, 40);
        return texts;
    }

    std::mt19937 random = SeededRandom();
};

TEST_F(RoundTrip, ShieldedTextsComeBack) {
    for (int i = 0; i < 2000; ++i) {
        const std::string text = Text("ab; \"\0\xFF"s, 12);
        EXPECT_EQ(Raw(UnshieldChars(ShieldChars(text, ";b"), ";b")), text);
        EXPECT_EQ(Raw(UnshieldSpaces(ShieldSpaces(text))), text);
        EXPECT_TRUE(IsQuoted(QuoteStr(text))) << text;
    }
}

TEST_F(RoundTrip, ParsedTextsJoinAgain) {
    for (int i = 0; i < 2000; ++i) {
        const std::string text = Text("ab,\0"s, 20);
        CStringList fields;
        ParseStr(text, ',', fields);
        EXPECT_EQ(Raw(fields.Join(',')), text);
        const CStringList texts = Texts("ab \0"s);
        CStringList again;
        ParseStr(texts.Join(','), ',', again);
        EXPECT_EQ(Raw(again), Raw(texts));
    }
}

TEST_F(RoundTrip, SavedTextsComeBack) {
    const BenchDir bench;
    const std::string path = (bench.Root() / "file").string();
    for (int i = 0; i < 200; ++i) {
        CStringList texts = Texts("ab \t\"=#\x01\x80\xFF");
        CStringList loaded;
        ASSERT_TRUE(texts.SaveToFile(path) && loaded.LoadFromFile(path));
        EXPECT_EQ(Raw(loaded), Raw(texts));
    }
}
