// The main loop around a session, and the two signals that end it early.
#pragma once

class canframe;

/// Exit status of a program whose job a signal ended, less the signal's number.
constexpr int kSignalStatus = 128;

/// Holds those of the descriptors 0 to 2 that are closed, so that printing to them fails: else the next file
/// or socket took their number, and what is printed would go there. Programs call it before they open
/// anything.
void HoldStandardDescriptors();

/// From now on SIGINT and SIGTERM ask the main loop to end instead of ending the process, also when the
/// parent had them ignored, as a shell does for a background job; SIGPIPE does nothing: nobody who stops
/// reading may stop an update. Nor does SIGXFSZ: a file that may not grow is a fault like a full disk.
/// Standard output gives every line as it happens, to a pipe too.
void PrepareProcess();

/// Runs passes until the session is finished. 0; or the number of the signal that ended the job early,
/// between two passes: its result is then kResultInterrupted.
int RunUntilFinished(canframe& session);
/// The same for a job that was packed into the session: frees its cache and records its result afterwards.
int RunJob(canframe& session);
