// The commands that work on the staging file or with what is staged in it. Each returns the program's exit
// status: 0 only when all of its work is done, and what is not has been said on standard error.
#pragma once

#include <string>

/// Where an image goes; each value from 0 to 255.
struct Target {
    int charge = 0;
    int device = 0;
    int update = 0;
    int port = -1;  ///< -1: the one that goes with the charge address
};

/// Packs the image into rows, then reads them back and compares. What is staged in part is closed at once.
int Stage(const std::string& image, const Target& target);
/// Downloads the open staged job, unless its rows are damaged, records the result and empties what is staged.
/// 128 plus its number when a signal ended it.
int Download();
/// Writes the payload of the open staged job to a file that does not exist yet. A damaged job's is written as
/// far as it goes, and that it is damaged is a failure.
int Export(const std::string& path);
/// Closes the open job of that timestamp as interrupted.
int Close(int timestamp);
/// Empties the staged groups and packets of every job.
int Clean();
