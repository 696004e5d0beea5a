// Numbers on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

struct NumberRange {
    int base;  ///< 10, or 16, which also takes "0x" in front
    std::int64_t low;
    std::int64_t high;
};

/// The whole of `text` as a number in the range. Throws CLI::ValidationError that names the option or
/// argument, the text and the range.
std::int64_t ParseNumber(const std::string& name, const std::string& text, NumberRange range);

/// The numbers of a list with commas, in a range of ints.
std::vector<int> ParseNumbers(const std::string& name, const std::string& list, NumberRange range);

/// Adds an option that names a file to write; an empty name, as an unset variable gives it, is refused.
CLI::Option* AddOutputFile(CLI::App* app, const std::string& name, std::string* file,
                           const std::string& help);

/// Adds an option, or an argument for a name without dashes, that takes one number and nothing beside it. The
/// range fits into Value.
template <typename Value>
CLI::Option* AddNumber(CLI::App* app, const std::string& name, NumberRange range, Value* value,
                       const std::string& help) {
    const auto set = [=](const std::string& text) {
        *value = static_cast<Value>(ParseNumber(name, text, range));
    };
    return app->add_option_function<std::string>(name, set, help)->type_name(range.base == 16 ? "HEX" : "N");
}
