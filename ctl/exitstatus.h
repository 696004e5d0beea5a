// The exit statuses of every command; a signal's is kSignalStatus (process.h) plus its number.
#pragma once

constexpr int kExitDone = 0;
constexpr int kExitFailure = 1;       ///< memory, standard output, or a result that could not be recorded
constexpr int kExitUsage = 2;         ///< the command line
constexpr int kExitStaging = 3;       ///< the image, the staging file or a log; no such job
constexpr int kExitBus = 4;           ///< no such interface, no CAN, cannot be set up, down, bus off
constexpr int kExitSilent = 5;        ///< the device does not answer
constexpr int kExitRefused = 6;       ///< the device refused the download, or its version check failed
constexpr int kExitGroupRefused = 7;  ///< a group was refused three times
constexpr int kExitImageRefused = 8;  ///< the device refused the image
constexpr int kExitBusy = 9;          ///< another update is running
