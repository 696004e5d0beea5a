// Locks between processes: one updater per interface, one download per staging file. The kernel gives a lock
// back when its holder ends, however that ends. The lock file stays; it holds the holder's process id and
// what it works on.
#pragma once

#include <optional>
#include <string>

namespace velmorin {

/// The lock of the downloads of staged jobs; longer than any interface's name.
constexpr char kDownloadLock[] = "staged-downloads";

/// Who holds a lock, as far as the holder has said so.
struct LockHolder {
    int pid = 0;   ///< 0: unknown
    int work = 0;  ///< what it works on: of the downloads the job's timestamp; 0: unknown
};

/// "process 4711", or that it has not told its number.
std::string HolderText(const LockHolder& holder);

class Lock {
  public:
    /// Tries to take the lock of that name, an interface's or kDownloadLock. Blocks for a quarter of a second
    /// at most.
    [[nodiscard]] explicit Lock(const std::string& name, int work = 0);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Writes down what is worked on now. Only the holder's call has an effect.
    void WorkOn(int work) const;

    /// Who has it instead; empty when it is ours, or when there is no lock file to tell.
    std::optional<LockHolder> Other() const { return other_; }
    /// Why there is no lock file, with its path; empty when there is one.
    const std::string& Fault() const { return fault_; }

  private:
    void TryToTake(int work);

    int fd_ = -1;
    std::optional<LockHolder> other_;
    std::string fault_;
};

/// Who holds the lock of that name at this moment. Makes no file and changes none.
std::optional<LockHolder> HolderOf(const std::string& name);

}  // namespace velmorin
