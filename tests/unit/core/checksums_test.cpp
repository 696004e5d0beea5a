#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tool.h"

namespace {

std::vector<unsigned char> Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

// Bit by bit, straight from the definitions.
unsigned int SlowA(const std::vector<unsigned char>& data) {
    unsigned int crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i + 3 < data.size(); i += 4) {
        crc ^= static_cast<unsigned int>(data[i]) | static_cast<unsigned int>(data[i + 1]) << 8 |
               static_cast<unsigned int>(data[i + 2]) << 16 | static_cast<unsigned int>(data[i + 3]) << 24;
        for (int bit = 0; bit < 32; ++bit) crc = (crc >> 31) != 0 ? crc << 1 ^ 0x04C11DB7U : crc << 1;
    }
    return crc;
}

unsigned int SlowB(const std::vector<unsigned char>& data) {
    unsigned int crc = 0xFFFFFFFFU;
    for (const unsigned char byte : data) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320U : crc >> 1;
    }
    return ~crc;
}

TEST(Checksums, GiveThePublishedCheckValues) {
    const auto zeros = std::vector<unsigned char>(4, 0);
    const auto digits = Bytes("12345678");
    const auto nine = Bytes("123456789");
    EXPECT_EQ(tool::crc32_planA(zeros.data(), 4), 0xC704DD7BU);
    EXPECT_EQ(tool::crc32_planA(digits.data(), 8), 0xFEFC54F9U);
    EXPECT_EQ(tool::crc32_planB(nine.data(), 9), 0xCBF43926U);
}

TEST(Checksums, AgreeWithABitwiseComputation) {
    std::vector<unsigned char> data;
    for (unsigned int i = 0; i < 4096; ++i) data.push_back(static_cast<unsigned char>(i * i * 31 + (i >> 3)));
    for (const std::size_t length : {4U, 8U, 1024U, 4096U}) {
        const std::vector<unsigned char> part(data.begin(), data.begin() + static_cast<long>(length));
        EXPECT_EQ(tool::crc32_planA(part.data(), part.size()), SlowA(part)) << length;
        EXPECT_EQ(tool::crc32_planB(part.data() + 1, static_cast<unsigned int>(length - 1)),
                  SlowB({part.begin() + 1, part.end()}))
            << length;
    }
}

TEST(Checksums, RefuseWhatTheyCannotCover) {
    const std::vector<unsigned char> data(1024, 0x5A);
    for (const unsigned long length : {0UL, 1UL, 2UL, 3UL, 5UL, 1023UL}) {
        EXPECT_EQ(tool::crc32_planA(data.data(), length), 0xFFFFFFFFU) << length;
    }
    EXPECT_EQ(tool::crc32_planA(nullptr, 4), 0xFFFFFFFFU);
    EXPECT_EQ(tool::crc32_planB(nullptr, 4), 0U);
    EXPECT_EQ(tool::crc32_planB(data.data(), 0), 0U);
}

}  // namespace
