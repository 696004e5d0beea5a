#include "arguments.h"

#include <charconv>
#include <cinttypes>
#include <cstdio>

std::int64_t ParseNumber(const std::string& name, const std::string& text, NumberRange range) {
    const bool prefixed = range.base == 16 && (text.starts_with("0x") || text.starts_with("0X"));
    const char* const end = text.data() + text.size();
    std::int64_t value = 0;
    const auto [stop, error] = std::from_chars(text.data() + (prefixed ? 2 : 0), end, value, range.base);
    if (error == std::errc() && stop == end && value >= range.low && value <= range.high) return value;
    char expected[96];
    std::snprintf(expected, sizeof expected,
                  range.base == 16 ? " is not hexadecimal from %" PRIx64 " to %" PRIx64
                                   : " is not a number from %" PRId64 " to %" PRId64,
                  range.low, range.high);
    throw CLI::ValidationError(name, "'" + text + "'" + expected);
}
