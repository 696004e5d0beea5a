// One whole job in memory: the real session or the watched run, a simulated device that takes nobody's word,
// and a bus between them with everything that may go wrong there.
#pragma once

#include <random>
#include <string>

#include "benchdir.h"
#include "desk.h"
#include "update.h"

/// One direction of the bus. Chances are between 0 and 1, for each frame.
struct LineFaults {
    double lost = 0;     ///< not delivered, as a frame that every node sees damaged and nobody repeats
    double doubled = 0;  ///< delivered twice, the second time up to `slow_ms` (at least 20) later
    double slow = 0;     ///< delivered later, by up to `slow_ms`
    int slow_ms = 0;
    bool in_order = true;  ///< what follows a slow frame waits behind it; else it overtakes
    double mangled = 0;    ///< delivered with one to three bits flipped, as by a node that is broken itself
};

/// What goes wrong in one job. Moments are milliseconds; 0: never.
struct Disturbance {
    sim::Faults device;
    LineFaults line[2];  ///< by Desk::Way

    int deaf_from = 0;      ///< the device neither hears nor sends from then on,
    int deaf_ms = 0;        ///< for so long
    bool forgets = false;   ///< and then knows nothing of a transfer: it was started anew
    int held_from = 0;      ///< its replies are held back from then on,
    int held_ms = 0;        ///< for so long, and then come all at once
    double other_node = 0;  ///< chance a reply of address bytes or group addresses that are not the job's
    int forged_at = 0;  ///< when a program check or reset reply comes that says yes and is not the device's
    // Chances every 10 ms:
    double stray = 0;         ///< of a reply that nobody asked for
    double chatter = 0;       ///< of other nodes' frames, at most 2
    double full_queue = 0;    ///< that writes fail, or succeed again
    double broken_reads = 0;  ///< of a read that fails or is cut short
};

/// How a job came out.
enum class Outcome {
    kWell,       ///< result 0, in the time that an undisturbed job takes
    kRecovered,  ///< result 0, later
    kRefused,    ///< ended with a fault's code
    kTrying,     ///< still trying by the protocol's rules when its time was over
    kDeceived,   ///< result 0 without the image, after a forged or mangled yes
    kWrong,      ///< anything else
};

class Trial {
  public:
    /// The job and what follows from `random`, which lives longer, as the bench does.
    Trial(const BenchDir& bench, bool watched, std::mt19937& random);

    /// Milliseconds that the undisturbed job takes at most; its transfer begins at 4040.
    int LastsMs() const;
    /// Runs the job to its end or the end of its time. `fault` says what is wrong with it.
    Outcome Run(const Disturbance& disturbance);

    std::string fault;
    std::string misread;  ///< how the log of the session is wrongly explained, which may happen now and then
    Desk::Micros Ended() const { return desk_ ? desk_->now : 0; }

  private:
    void RunSession();
    void RunWatch();
    std::string WronglyExplained(const std::vector<velmorin::Update>& updates,
                                 const std::vector<velmorin::Update>& filtered) const;
    Desk::Fate FateOf(Desk::Way way, can_frame& frame);
    void NoteYes(const can_frame& reply);
    void NoteForgery(const can_frame& frame);
    void Tick();
    void SendStray();
    void SpoilAddress(can_frame& frame);
    bool Happens(double chance) { return std::uniform_real_distribution<>(0, 1)(random_) < chance; }
    unsigned int Any(unsigned int limit) { return static_cast<unsigned int>(random_() % limit); }
    Outcome Judge();

    const BenchDir& bench_;
    const bool watched_;
    std::mt19937& random_;
    const std::string name_, image_;
    sim::Settings settings_;
    Disturbance disturbance_;
    canframe session_;
    std::optional<Desk> desk_;
    Desk::Micros last_due_[2] = {};
    std::string held_;         // the image that the device last said yes to
    bool yes_said_[256] = {};  // by PF: the device said yes of itself
    bool forged_ = false;      // a yes has arrived that the device did not say, or not of itself
    int result_ = -1;          // -1: not ended
};
