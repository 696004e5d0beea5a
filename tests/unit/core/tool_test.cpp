#include "tool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "printed.h"

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
    EXPECT_EQ(b(group), 0xB70B4C26U);
    for (const char* text : {"", "1", "12", "123", "12345"}) EXPECT_EQ(a(text), 0xFFFFFFFFU) << text;
    EXPECT_EQ(b(""), 0U);
    EXPECT_EQ(tool::crc32_planA(nullptr, 4), 0xFFFFFFFFU);
    EXPECT_EQ(tool::crc32_planB(nullptr, 4), 0U);
}

}  // namespace
