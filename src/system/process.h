// What every program of ours sets up before its work, and the signals that end a job early.
#pragma once

namespace velmorin {

/// Exit status of a program whose job a signal ended, less the signal's number.
constexpr int kSignalStatus = 128;

/// Opens /dev/null on closed descriptors 0 to 2, so that no later file or socket receives our output.
void HoldStandardDescriptors();

/// Ignores SIGPIPE and SIGXFSZ: nobody who stops reading may stop an update, and a file-size limit acts like
/// a full disk.
void IgnoreWriteSignals();

/// From now on SIGINT, SIGTERM and SIGHUP are only noted. The first two also when the parent had them
/// ignored, as a shell does for a background job; SIGHUP not then: `nohup` asked for it.
void CatchEndSignals();

/// From now on SIGINT, SIGTERM and SIGHUP end the process at once with exit status kSignalStatus + number,
/// without any clean-up: for work that may be killed at any time. Ignored ones as in CatchEndSignals.
void EndAtOnceOnSignals();

/// Holds, ignores and catches as above. Standard output gives every line as it happens, to a pipe too, and
/// waits are exact.
void PrepareProcess();

/// The last signal noted, 0 for none.
int CaughtSignal();

}  // namespace velmorin
