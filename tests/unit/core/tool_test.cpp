#include "tool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "candump.h"
#include "printed.h"

using namespace velmorin;

namespace {

TEST(Hexadecimal, BytesToTextAndBack) {
    char text[16] = "";
    int length = -1;
    const unsigned char bytes[] = {0x0A, 0xFF, 0x00};
    EXPECT_EQ(tool::Tool_HexToString(bytes, 3, text, &length), 0);
    EXPECT_STREQ(text, "0aff00");
    EXPECT_EQ(length, 6);

    unsigned char decoded[8] = {};
    int count = -1;
    EXPECT_EQ(tool::Tool_StringToHex("0AFf7gg7-1 5", 12, decoded, &count), 0);
    EXPECT_EQ(0, std::memcmp(decoded, "\x0A\xFF\x07\x00\xFF\x05\x00\x00", 8));
    EXPECT_EQ(count, 6);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(tool::Tool_StringToHex("ABC", 3, decoded, &count), -1); }), "error\n");
    EXPECT_EQ(decoded[0], 0x0A);
    EXPECT_EQ(count, 6);
}

TEST(Checksums, GiveThePublishedCheckValuesOrRefuse) {
    const auto a = [](const std::string& data) {
        return tool::crc32_planA(reinterpret_cast<const unsigned char*>(data.data()), data.size());
    };
    const auto b = [](const std::string& data) {
        return tool::crc32_planB(reinterpret_cast<const unsigned char*>(data.data()),
                                 static_cast<unsigned int>(data.size()));
    };
    std::string group;  // every entry of a table is used
    for (int i = 0; i < 1024; ++i) group += static_cast<char>(i);
    EXPECT_EQ(a(std::string(4, '\0')), 0xC704DD7BU);
    EXPECT_EQ(a("12345678"), 0xFEFC54F9U);
    EXPECT_EQ(a(group), 0x8ADA4578U);
    EXPECT_EQ(b("123456789"), 0xCBF43926U);
    EXPECT_EQ(b("a"), 0xE8B7BE43U);
    EXPECT_EQ(b(group), 0xB70B4C26U);
    for (const char* text : {"", "1", "12", "123", "12345"}) EXPECT_EQ(a(text), 0xFFFFFFFFU) << text;
    EXPECT_EQ(b(""), 0U);
    EXPECT_EQ(tool::crc32_planA(nullptr, 4), 0xFFFFFFFFU);
    EXPECT_EQ(tool::crc32_planB(nullptr, 4), 0U);
}

TEST(CandumpLine, GivesTheFrameOrSaysWhatElseItIs) {
    const std::pair<const char*, const char*> frames[] = {
        {"(12.500000) can0 10E08A70#0011", "(0000000012.500000) can0 10E08A70#0011"},
        {"(12.000001) vcan12 7ff#aBcDeF0123456789 R", "(0000000012.000001) vcan12 7FF#ABCDEF0123456789"},
        {"(1.5) x 123#R T\r", "(0000000001.500000) x 123#R"},
        {"(1.0) x 123#R8", "(0000000001.000000) x 123#R8"},
        {"(1.0) x 123#1122334455667788_F", "(0000000001.000000) x 123#1122334455667788"},
        {"(1.0) x 20000020#00", "(0000000001.000000) x 20000020#00"},
        {"(1.0) x 123#", "(0000000001.000000) x 123#"},
    };
    LoggedFrame frame;
    for (const auto& [read, as_written] : frames) {
        EXPECT_EQ(ParseCandumpLine(read, &frame), LineKind::kFrame) << read;
        const timeval when{frame.at / 1'000'000, frame.at % 1'000'000};
        EXPECT_EQ(CandumpLine(when, std::string(frame.interface), frame.frame), as_written);
    }
    EXPECT_EQ(ParseCandumpLine("(1.0) x 123##1112233", &frame), LineKind::kForeign);
    EXPECT_EQ(ParseCandumpLine("", &frame), LineKind::kBlank);
    EXPECT_EQ(ParseCandumpLine("# note", &frame), LineKind::kBlank);
}

}  // namespace
