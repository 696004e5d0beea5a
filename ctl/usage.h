// Command lines that cannot be carried out.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

/// Says on standard error what is wrong with the command line, unknown words first, each with the known one
/// that comes close. Returns kExitUsage.
int FailUsage(const CLI::App& app, const CLI::ParseError& error);
