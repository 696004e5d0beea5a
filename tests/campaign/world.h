// One whole job in memory: the real session, a simulated device that takes nobody's word, and a bus between
// them with everything that may go wrong there.
#pragma once

#include <optional>
#include <random>
#include <string>

#include "benchdir.h"
#include "buslog.h"
#include "canframe.h"
#include "device.h"
#include "faultyline.h"
#include "sessionwatch.h"

/// What goes wrong in one job. Moments are passes; 0: never.
struct Disturbance {
    sim::Faults device;
    LineFaults to_device;
    LineFaults to_updater;

    int deaf_from = 0;      ///< the device neither hears nor sends from this pass on,
    int deaf_passes = 0;    ///< for so many
    bool forgets = false;   ///< and then knows nothing of a transfer: it was started anew
    int held_from = 0;      ///< its replies are held back from this pass on,
    int held_ms = 0;        ///< for so long, and then come all at once
    double stray = 0;       ///< chance a pass of a reply that nobody asked for
    double other_node = 0;  ///< chance a reply of address bytes or group addresses that are not the job's
    int forged_at = 0;      ///< pass of a program check or reset reply that says yes and is not the device's
    double chatter = 0;     ///< other nodes' frames a pass, at most 2
    double full_queue = 0;  ///< chance a pass that writes fail, or succeed again
    double broken_reads = 0;  ///< chance a pass of a read that fails or is cut short
};

/// How a job came out.
enum class Outcome {
    kWell,       ///< result 0, in the time that an undisturbed job takes
    kRecovered,  ///< result 0, later
    kRefused,    ///< ended with a fault's code
    kTrying,     ///< still trying by the protocol's rules when its passes were over
    kDeceived,   ///< result 0 without the image, after a forged or mangled yes
    kWrong,      ///< anything else
};

struct Job {
    std::string name;  ///< of the image file
    std::size_t size;
    sim::Plan plan;
};

/// Passes that an undisturbed job may take: the link, the steps before the first group, every group, the end.
constexpr int PassesNeeded(std::size_t size) {
    return 435 + 264 * static_cast<int>((size + 1023) / 1024);
}

class World {
  public:
    /// `random` lives longer than the world, and so does the bench.
    World(const BenchDir& bench, const Job& job, const Disturbance& disturbance, std::mt19937& random);

    /// Runs the job to its end, at most `kMaxPasses`, and records its result. `fault` says what is wrong with
    /// it.
    Outcome Run();

    static constexpr int kMaxPasses = 12000;
    std::string fault;
    int passes = 0;

  private:
    void RunPass(SessionWatch& watch);
    void Record(std::int64_t from_ms);
    void CompareExplained();
    void CarryOut();
    void CarryIn();
    void Disturb();
    void NoteYes(const can_frame& reply);
    void StartDevice();
    void SendStray();
    void SpoilAddress(can_frame& frame);
    bool Happens(double chance) { return std::uniform_real_distribution<>(0, 1)(random_) < chance; }
    int Any(int limit) { return static_cast<int>(random_() % static_cast<unsigned int>(limit)); }
    bool IsDeaf() const;
    Outcome Judge();

    const BenchDir& bench_;
    Job job_;
    Disturbance disturbance_;
    std::mt19937& random_;
    std::string image_;
    sim::Settings settings_;
    std::optional<sim::Device> device_;
    std::string held_;         // the image that the device last said yes to
    bool yes_said_[256] = {};  // by PF: the device said yes of itself
    bool forged_ = false;      // a yes has arrived that the device did not say, or not of itself
    std::int64_t now_ms_ = 0;
    int last_sign_ = 0;  // pass in which the session last wrote, or tried to
    FaultyLine out_;
    FaultyLine in_;
    canframe session_;
    velmorin::BusLog log_;  // of what the session read and wrote
};
