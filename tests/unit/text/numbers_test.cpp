// Numbers read from texts, and written as texts.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <sstream>

#include "text_support.h"

TEST(Number, Is32BitsWideOnEveryMachine) {
    const struct {
        const char* text;
        int number;
        unsigned long unsigned_number;
    } cases[] = {
        {"", 0, 0},
        {"0x8A", 0, 0},
        {" 42abc", 42, 42},
        {"\t\n +7", 7, 7},
        {"- 7", 0, 0},
        {"-1", -1, 4294967295},
        {"2147483648", 2147483647, 2147483648},
        {"4294967296", 2147483647, 4294967295},
        {"99999999999999999999999", 2147483647, 4294967295},
        {"-2147483648", -2147483647 - 1, 2147483648},
        {"-4294967295", -2147483647 - 1, 1},
        {"-4294967296", -2147483647 - 1, 4294967295},
        {"-99999999999", -2147483647 - 1, 4294967295},
        {"-99999999999999999999999", -2147483647 - 1, 4294967295},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CString(c.text).GetInteger(), c.number) << c.text;
        EXPECT_EQ(CString(c.text).GetUnsignedInteger(), c.unsigned_number) << c.text;
    }
    EXPECT_EQ(CString(" -1.5e3x").GetFloat(), -1500);
    EXPECT_EQ(CString("x").GetFloat(), 0);
}

TEST(Number, WrittenPlainlyOrWithAnExponent) {
    CString s;
    EXPECT_EQ(Raw(s = 3.0f), "3.000000e+00");
    EXPECT_EQ(Raw(s = -7), "-7");
    EXPECT_EQ(Raw(s += 10000000000LL), "-710000000000");
    EXPECT_EQ(Raw(s = LLONG_MIN), "-9223372036854775808");
    EXPECT_EQ(Raw(s = -1.5e-123), "-1.500000e-123");
    EXPECT_EQ(Raw((s = 1) += 0.1f), "11.000000e-01");
    EXPECT_EQ(Raw((s = 'x') += 2.0), "x2.000000e+00");
    EXPECT_EQ(Raw(SignStr(258)), std::string("\2\1\0\0", 4));
    EXPECT_EQ(Raw(SignStr(-1)), "\xFF\xFF\xFF\xFF");
}

TEST(MemorySize, DigitsAndTheFirstSuffixLetterCount) {
    const char* const cases[][3] = {
        {"10k", "10 x 1024 k = 10240", "10 x 1024 K = 10240"},
        {"1.5M", "15 x 1048576 m = 15728640", "15 x 1048576 M = 15728640"},
        {"-5k", "5 x 1024 k = 5120", "5 x 1024 K = 5120"},
        {"", "0 x 1 b = 0", "0 x 1 b = 0"},
        {"k", "0 x 1024 k = 0", "0 x 1024 K = 0"},
        {"5bk", "5 x 1 b = 5", "5 x 1 b = 5"},
        {"5 Kb", "5 x 1024 k = 5120", "5 x 1024 K = 5120"},
        {"3T", "3 x 1 b = 3", "3 x 1099511627776 T = 3298534883328"},
        {"1g2", "12 x 1073741824 g = 0", "12 x 1073741824 G = 12884901888"},
        {"99999999999", "2147483647 x 1 b = 2147483647", "2147483647 x 1 b = 2147483647"},
        {"2147483647t", "2147483647 x 1 b = 2147483647", "2147483647 x 1099511627776 T = -1099511627776"},
    };
    for (const auto& c : cases) {
        int multiplier = 0;
        long long multiplier64 = 0;
        char unit = 0;
        std::ostringstream parsed, parsed64;
        parsed << ParseMemSizeStr(c[0], multiplier, unit);
        parsed << " x " << multiplier << ' ' << unit << " = " << ParseMemSizeStr(c[0]);
        parsed64 << ParseMemSizeStr64(c[0], multiplier64, unit);
        parsed64 << " x " << multiplier64 << ' ' << unit << " = " << ParseMemSizeStr64(c[0]);
        EXPECT_EQ(parsed.str(), c[1]);
        EXPECT_EQ(parsed64.str(), c[2]);
    }
}

TEST(MemorySize, WrittenInTheLargestUnitItFills) {
    const struct {
        long long size;
        const char* text;
    } cases[] = {
        {LLONG_MIN, "-9223372036854775808 b"},
        {-5000, "-5000 b"},
        {1024, "1 Kb"},
        {1536, "1.5 Kb"},
        {1048575, "1024 Kb"},
        {1099511627775, "1024 Gb"},
        {1099511627776, "1 Tb"},
        {LLONG_MAX, "8.38861e+06 Tb"},
    };
    for (const auto& c : cases) EXPECT_EQ(Raw(MemSizeStr(c.size)), c.text);

    long long divisor = 0;
    CString unit("old");
    EXPECT_EQ(Raw(MemSizeStr(3 << 20, divisor, unit)), "3");
    EXPECT_EQ(divisor, 1048576);
    EXPECT_EQ(Raw(unit), "Mb");
}

TEST(SiUnit, FollowsTheDecimalExponent) {
    const struct {
        double value;
        const char *text, *prefix;
    } cases[] = {
        {1e30, "1e+06 Y", "yotta"},
        {9.9e23, "990 Z", "zetta"},
        {9.5e8, "950 M", "mega"},
        {1500, "1.5 k", "kilo"},
        {250, "2.5 h", "hecto"},
        {42, "4.2 da", "deca"},
        {5, "5 ", ""},
        {-42, "-42 ", ""},
        {0.25, "2.5 d", "deci"},
        {0.025, "2.5 c", "centi"},
        {2.5e-5, "0.025 m", "milli"},
        {2.5e-8, "0.025 mu", "micro"},
        {2.5e-11, "0.025 n", "nano"},
        {2.5e-14, "0.025 p", "pico"},
        {2.5e-15, "2.5 f", "femto"},
        {0, "0 y", "yocto"},
        {INFINITY, "inf Y", "yotta"},
        {-INFINITY, "-inf ", ""},
    };
    for (const auto& c : cases) {
        double factor = 0;
        CString prefix, symbol;
        const CString number = SI_UnitStr(c.value, factor, prefix, symbol);
        EXPECT_EQ(Raw(prefix), c.prefix) << c.value;
        EXPECT_EQ(Raw(number) + " " + Raw(symbol), c.text) << c.value;
        EXPECT_EQ(Raw(SI_UnitStr(c.value)), c.text) << c.value;
        if (std::isinf(c.value)) continue;
        EXPECT_NEAR(number.GetFloat() * factor, c.value, std::abs(c.value) * 1e-5);
    }
}
