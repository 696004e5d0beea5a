// The passes of a job, from the first to its end.
#pragma once

class canframe;

namespace velmorin {

/// Runs passes until the session is finished. 0; or the number of the signal that ended the job early,
/// between two passes: its result is then kResultInterrupted.
[[nodiscard]] int RunUntilFinished(canframe& session);
/// The same for a job that was packed into the session: frees its cache and records its result afterwards.
[[nodiscard]] int RunJob(canframe& session);

}  // namespace velmorin
