#include "arguments.h"

#include <algorithm>
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

std::vector<int> ParseNumbers(const std::string& name, const std::string& list, NumberRange range) {
    std::vector<int> numbers;
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t end = std::min(list.find(',', start), list.size());
        numbers.push_back(static_cast<int>(ParseNumber(name, list.substr(start, end - start), range)));
        start = end + 1;
    }
    return numbers;
}

CLI::Option* AddOutputFile(CLI::App* app, const std::string& name, std::string* file,
                           const std::string& help) {
    return app->add_option(name, *file, help)
        ->check([](const std::string& given) { return given.empty() ? "'' names no file" : ""; })
        ->type_name("FILE");
}
