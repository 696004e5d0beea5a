// How the person's tool speaks: faults and notes on standard error, each with what it is about and why.
#pragma once

#include <cstdio>
#include <string>

#include "exitstatus.h"
#include "fault.h"

/// Where what was asked for goes: velmorinctl's own standard output. What the update's own layers trace goes
/// there as well with CAN_UPDATE=ON in the environment, and else nowhere. The first call comes before any
/// other output.
std::FILE* Out();

/// Prints "velmorinctl: what: why" and returns the status.
int Fail(const std::string& what, const std::string& why, int status = kExitFailure);
/// The same for a fault of the staging file; `what` is the file unless given. Its exit status.
int Fail(const velmorin::Fault& fault, const std::string& what = "");
/// The exit status that a fault of the staging file is.
int StatusOf(const velmorin::Fault& fault);
/// Prints "velmorinctl: note: text".
void Note(const std::string& text);

/// The staging file as the system knows it.
std::string StagingFile();
/// Flushes standard output; kExitFailure when what was printed did not get there, else 0.
int FinishOutput();
