#include "tool.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>

#include "printed.h"

namespace {

TEST(Delay, SignalsNeitherCutNorStretchIt) {
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignore, nullptr);  // without SA_RESTART
    const itimerval every_20ms{{0, 20000}, {0, 20000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &every_20ms, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(tool::Tool_Delayms(250), 0);
    const auto waited = std::chrono::steady_clock::now() - start;
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(waited, std::chrono::milliseconds(250));
    EXPECT_LT(waited, std::chrono::milliseconds(750));
}

TEST(Switch, IsExactlyOn) {
    unsetenv("VELMORIN_TEST_SWITCH");
    EXPECT_EQ(tool::Tool_debug("VELMORIN_TEST_SWITCH"), 0);
    for (const std::string value : {"ON", "on", "", "ON "}) {
        setenv("VELMORIN_TEST_SWITCH", value.c_str(), 1);
        EXPECT_EQ(tool::Tool_debug("VELMORIN_TEST_SWITCH"), value == "ON" ? 1 : 0) << value;
    }
}

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

TEST(Banner, IsSixLines) {
    const std::regex expected(
        "-{58}\nProcess Name: velmorin\nVersion Info: V1\\.00\\(00\\)\n[^\n:]+: NULL\n"
        "Compile Date: 20[0-9]{2}-(0[1-9]|1[0-2])-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-5][0-9]\n-{58}\n");
    const auto banner = Printed([] { tool::Tool_SetInfor("velmorin", "V1.00(00)", "NULL"); });
    EXPECT_TRUE(std::regex_match(banner, expected)) << banner;
}

}  // namespace
