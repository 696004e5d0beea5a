#include <array>

#include "tool.h"

namespace {

using Table = std::array<unsigned int, 256>;

constexpr Table MakeForwardTable() {
    Table table{};
    for (unsigned int i = 0; i < table.size(); ++i) {
        unsigned int c = i << 24;
        for (int bit = 0; bit < 8; ++bit) c = (c & 0x80000000U) != 0 ? c << 1 ^ 0x04C11DB7U : c << 1;
        table[i] = c;
    }
    return table;
}

constexpr Table MakeReflectedTable() {
    Table table{};
    for (unsigned int i = 0; i < table.size(); ++i) {
        unsigned int c = i;
        for (int bit = 0; bit < 8; ++bit) c = (c & 1U) != 0 ? c >> 1 ^ 0xEDB88320U : c >> 1;
        table[i] = c;
    }
    return table;
}

constexpr Table s_table = MakeForwardTable();
constexpr Table s_gen_table = MakeReflectedTable();
static_assert(s_table[1] == 0x04C11DB7U);
static_assert(s_gen_table[1] == 0x77073096U && s_gen_table[3] == 0x990951BAU);

}  // namespace

unsigned int tool::crc32_planA(const unsigned char* data, unsigned long length) {
    unsigned int crc = 0xFFFFFFFFU;
    if (data == nullptr || length == 0 || length % 4 != 0) return crc;
    for (const unsigned char* end = data + length; data != end; data += 4) {
        for (int i = 3; i >= 0; --i) crc = s_table[crc >> 24 ^ data[i]] ^ crc << 8;
    }
    return crc;
}

unsigned int tool::crc32_planB(const unsigned char* data, unsigned int length) {
    if (data == nullptr || length == 0) return 0;
    unsigned int crc = 0xFFFFFFFFU;
    for (unsigned int i = 0; i < length; ++i) crc = s_gen_table[(crc ^ data[i]) & 0xFF] ^ crc >> 8;
    return crc ^ 0xFFFFFFFFU;
}
