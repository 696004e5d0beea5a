// The main loop around a session, and the two signals that end it early.
#pragma once

class canframe;

/// From now on SIGINT and SIGTERM ask the main loop to end instead of ending the process, and SIGPIPE does
/// nothing: nobody who stops reading may stop an update. Standard output gives every line as it happens, to a
/// pipe too.
void PrepareProcess();

/// Runs passes until the session is finished, then frees its cache and records its result. 0; or the number
/// of the signal that ended the job early, between two passes: its result is then kResultInterrupted.
int RunJob(canframe& session);
