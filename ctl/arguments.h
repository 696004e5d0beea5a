// Numbers on the command line.
#pragma once

#include <CLI/CLI.hpp>

struct NumberRange {
    int base;  ///< 10, or 16, which also takes "0x" in front
    int low;
    int high;
};

/// Adds an option, or an argument for a name without dashes, that takes one number and nothing beside it.
CLI::Option* AddNumber(CLI::App* app, const std::string& name, NumberRange range, int* value,
                       const std::string& help);
