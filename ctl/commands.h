// The commands that work on the staging file or with what is staged in it. Each returns the program's exit
// status: 0 only when all of its work is done, and what is not has been said on standard error.
#pragma once

#include <optional>
#include <string>

#include "stagedjob.h"

/// Stages the image, whole or not at all, and tells which job it became and how long its download will take.
int Stage(const std::string& image, const velmorin::Target& target, bool as_json);
/// Writes the image of an open staged job to a file that does not exist yet: of the first whole one, or of
/// that timestamp's.
int Export(const std::string& path, std::optional<int> timestamp);
/// Closes the open job of that timestamp as interrupted; what was staged of it goes.
int Close(int timestamp);
/// Removes the groups and packets that no open job owns; with `all` everything staged, and closes every open
/// job.
int Clean(bool all);
