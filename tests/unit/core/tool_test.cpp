#include "tool.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>

#include "benchdir.h"

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

TEST(Files, AreLookedUpBelowTheBenchOnlyOnTheFlash) {
    BenchDir bench;
    bench.Write("mnt/nandflash/app/x", "12345");
    EXPECT_EQ(tool::Tool_GetFileSize("/mnt/nandflash/app/x"), 5);
    EXPECT_EQ(tool::Tool_GetFileSize((bench.Root() / "mnt/nandflash/app/x").c_str()), 5);
    EXPECT_EQ(tool::Tool_CheckNodeIsExit("/mnt/nandflash/app"), 1);
    EXPECT_EQ(tool::Tool_CheckNodeIsExit("/mnt/nandflash"),
              std::filesystem::exists("/mnt/nandflash") ? 1 : 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(tool::Tool_GetFileSize("/mnt/nandflash/app/y"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "file:: No such file or directory\n");
}

TEST(Switch, IsExactlyOn) {
    for (const auto& [value, on] : {std::pair{"ON", 1}, {"on", 0}, {"", 0}, {"ON ", 0}}) {
        setenv("VELMORIN_TEST_SWITCH", value, 1);
        EXPECT_EQ(tool::Tool_debug("VELMORIN_TEST_SWITCH"), on) << value;
    }
    unsetenv("VELMORIN_TEST_SWITCH");
    EXPECT_EQ(tool::Tool_debug("VELMORIN_TEST_SWITCH"), 0);
}

TEST(Hexadecimal, BytesToTextAndBack) {
    char text[16] = "";
    int length = -1;
    const unsigned char bytes[] = {0x0A, 0xFF, 0x00};
    EXPECT_EQ(tool::Tool_HexToString(bytes, 3, text, &length), 0);
    EXPECT_STREQ(text, "0aff00");
    EXPECT_EQ(length, 6);
    text[0] = '\0';
    EXPECT_EQ(tool::Tool_HexToString(bytes, 0, text, &length), 0);
    EXPECT_STREQ(text, "");

    const struct {
        const char* text;
        std::string bytes;
    } cases[] = {{"0AFf10", {"\x0A\xFF\x10", 3}}, {"7gg7-1 5", {"\x07\x00\xFF\x05", 4}}, {"", ""}};
    for (const auto& c : cases) {
        unsigned char decoded[8] = {};
        int count = -1;
        EXPECT_EQ(tool::Tool_StringToHex(c.text, static_cast<int>(std::strlen(c.text)), decoded, &count), 0);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(decoded), static_cast<std::size_t>(count)), c.bytes)
            << c.text;
    }
    unsigned char untouched = 0x5A;
    int count = 77;
    testing::internal::CaptureStdout();
    EXPECT_EQ(tool::Tool_StringToHex("ABC", 3, &untouched, &count), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "error\n");
    EXPECT_EQ(untouched, 0x5A);
    EXPECT_EQ(count, 77);
}

TEST(Banner, IsSixLines) {
    testing::internal::CaptureStdout();
    tool::Tool_SetInfor("velmorin", "V1.00(00)", "NULL");
    const std::regex expected(
        "-{58}\nProcess Name: velmorin\nVersion Info: V1\\.00\\(00\\)\n[^\n:]+: NULL\n"
        "Compile Date: 20[0-9]{2}-(0[1-9]|1[0-2])-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-5][0-9]\n-{58}\n");
    const std::string banner = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::regex_match(banner, expected)) << banner;
}

}  // namespace
