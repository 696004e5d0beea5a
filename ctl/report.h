// How the person's tool speaks: faults and notes on standard error, each with what it is about and why.
#pragma once

#include <string>

constexpr int kExitFailure = 1;     ///< exit status of a command that did not do its work
constexpr int kExitUsage = 2;       ///< exit status of a command line that cannot be carried out
constexpr int kExitUnreadable = 3;  ///< exit status when the file that a command works on cannot be read

/// Prints "velmorinctl: what: why" and returns kExitFailure.
int Fail(const std::string& what, const std::string& why);
/// Prints "velmorinctl: note: text".
void Note(const std::string& text);

/// The staging file as the system knows it.
std::string StagingFile();
/// Flushes standard output; kExitFailure when what was printed did not get there, else 0.
int FinishOutput();
