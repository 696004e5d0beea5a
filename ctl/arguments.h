// Numbers on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

struct NumberRange {
    int base;  ///< 10, or 16, which also takes "0x" in front
    int low;
    int high;
};

/// The number that `text` is and nothing beside it. CLI::ValidationError, with the option's name, when it is
/// none.
int ParseNumber(const std::string& name, const std::string& text, NumberRange range);
/// The numbers of a list with commas.
std::vector<int> ParseNumbers(const std::string& name, const std::string& list, NumberRange range);

/// Adds an option, or an argument for a name without dashes, that takes one number and nothing beside it.
CLI::Option* AddNumber(CLI::App* app, const std::string& name, NumberRange range, int* value,
                       const std::string& help);
