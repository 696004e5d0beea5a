// `velmorinctl update` and `velmorinctl download`: jobs that go to a device now.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "runoptions.h"
#include "stagedjob.h"

/// Downloads the image to every update address, one job after the other. The first failure's exit status.
int Update(const std::string& image, const velmorin::Target& target, const std::vector<int>& update_addresses,
           const RunOptions& options);

/// Which of the staged jobs to download.
struct DownloadChoice {
    std::optional<int> timestamp;
    bool all = false;  ///< every whole one, oldest first; else the oldest one alone
};

/// Downloads staged jobs. The first failure's exit status.
int Download(const DownloadChoice& choice, const RunOptions& options);
