// Whole jobs in memory, each with one kind of fault, and a table of how they came out. The jobs follow from a
// seed:
//
//   VELMORIN_SEED=N VELMORIN_JOBS=N campaign
//
// Exit status 1 when a job came out wrong, broke a rule of the protocol, or memory grew from job to job.
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <random>
#include <string>

#include "world.h"

namespace {

using Random = std::mt19937;

double Chance(Random& random, double most) {
    return std::uniform_real_distribution<>(most / 20, most)(random);
}

int Between(Random& random, int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random);
}

/// Sets one kind of fault up. `end` is the pass in which an undisturbed job ends; its transfer begins in pass
/// 404.
struct Fault {
    const char* name;
    void (*set)(Disturbance& d, Random& r, int end);
};

void Nothing(Disturbance&, Random&, int) {}

void PacketsLost(Disturbance& d, Random& r, int) {
    d.to_device.lost = Chance(r, 0.003);
}

void RepliesLost(Disturbance& d, Random& r, int) {
    d.to_updater.lost = Chance(r, 0.4);
}

void FramesLost(Disturbance& d, Random& r, int) {
    d.to_device.lost = d.to_updater.lost = Chance(r, 0.01);
}

void FramesDoubled(Disturbance& d, Random& r, int) {
    d.to_device.doubled = d.to_updater.doubled = Chance(r, 0.004);
}

void FramesDelayed(Disturbance& d, Random& r, int) {
    d.to_device.slow = d.to_updater.slow = Chance(r, 0.5);
    d.to_device.slow_ms = d.to_updater.slow_ms = Between(r, 10, 1500);
}

void FramesReordered(Disturbance& d, Random& r, int) {
    d.to_device = {.slow = Chance(r, 0.003), .slow_ms = Between(r, 20, 800), .in_order = false};
    d.to_updater = {.slow = Chance(r, 0.5), .slow_ms = Between(r, 20, 800), .in_order = false};
}

void RepliesDoubledLate(Disturbance& d, Random& r, int) {
    d.to_updater = {.doubled = Chance(r, 0.5), .slow_ms = Between(r, 500, 5000), .in_order = false};
}

void RepliesHeld(Disturbance& d, Random& r, int end) {
    d.held_from = Between(r, 350, end);
    d.held_ms = Between(r, 3000, 15000);
}

void DeviceDeaf(Disturbance& d, Random& r, int end) {
    d.deaf_from = Between(r, 1, end);
    d.deaf_passes = Between(r, 10, 1500);
}

void DeviceStartsAnew(Disturbance& d, Random& r, int end) {
    d.deaf_from = Between(r, 404, end);
    d.deaf_passes = Between(r, 1, 1000);
    d.forgets = true;
}

void DeviceGone(Disturbance& d, Random& r, int end) {
    d.deaf_from = Between(r, 1, end);
    d.deaf_passes = World::kMaxPasses;
}

void DeviceRefuses(Disturbance& d, Random& r, int) {
    switch (r() % 4) {
        case 0:
            d.device.refuse_start = 1;
            break;
        case 1:
            d.device.fail_check = 1;
            break;
        case 2:
            d.device.reject_groups.push_back({r() % 2, Between(r, 1, 4)});
            break;
        default:
            d.device.erase_fails.push_back({r() % 2, Between(r, 1, 4)});
            break;
    }
}

void OtherDevices(Disturbance& d, Random& r, int) {
    d.other_node = Chance(r, 0.5);
}

void StrayReplies(Disturbance& d, Random& r, int) {
    d.stray = Chance(r, 0.003);
}

void FullBus(Disturbance& d, Random& r, int) {
    d.chatter = Chance(r, 1.5);
}

void FailingCalls(Disturbance& d, Random& r, int) {
    d.full_queue = Chance(r, 0.003);
    d.broken_reads = Chance(r, 0.1);
}

void MangledFrames(Disturbance& d, Random& r, int) {
    d.to_device.mangled = Chance(r, 0.005);
    d.to_updater.mangled = Chance(r, 0.2);
}

void ForgedYes(Disturbance& d, Random& r, int end) {
    d.forged_at = Between(r, 1, end);
}

void Everything(Disturbance& d, Random& r, int end) {
    d.to_device = {.lost = Chance(r, 0.0005), .doubled = Chance(r, 0.0005)};
    d.to_updater = {
        .lost = Chance(r, 0.05), .doubled = Chance(r, 0.1), .slow = Chance(r, 0.1), .slow_ms = 300};
    d.deaf_from = Between(r, 1, end);
    d.deaf_passes = Between(r, 1, 600);
    d.stray = Chance(r, 0.0003);
    d.other_node = Chance(r, 0.02);
    d.chatter = Chance(r, 0.2);
    d.full_queue = Chance(r, 0.0005);
}

const Fault kFaults[] = {
    {"none", Nothing},
    {"packets and commands lost", PacketsLost},
    {"replies lost", RepliesLost},
    {"frames lost both ways", FramesLost},
    {"frames doubled", FramesDoubled},
    {"frames delayed", FramesDelayed},
    {"frames overtaken", FramesReordered},
    {"replies doubled, late", RepliesDoubledLate},
    {"replies held beyond the time-out", RepliesHeld},
    {"device deaf for a while", DeviceDeaf},
    {"device starts anew and forgets", DeviceStartsAnew},
    {"device gone for good", DeviceGone},
    {"device refuses", DeviceRefuses},
    {"replies of other devices", OtherDevices},
    {"replies nobody asked for", StrayReplies},
    {"bus full of others' frames", FullBus},
    {"writes and reads that fail", FailingCalls},
    {"frames mangled by a node", MangledFrames},
    {"a yes that is forged", ForgedYes},
    {"a little of everything", Everything},
};

unsigned int FromEnvironment(const char* name, unsigned int otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr || *text == '\0' ? otherwise
                                            : static_cast<unsigned int>(std::strtoul(text, nullptr, 10));
}

/// What the session prints goes nowhere while one of these lives.
class Quiet {
  public:
    Quiet() : out_(dup(STDOUT_FILENO)), err_(dup(STDERR_FILENO)) {
        std::fflush(stdout);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    ~Quiet() {
        std::fflush(stdout);
        dup2(out_, STDOUT_FILENO);
        dup2(err_, STDERR_FILENO);
        close(out_);
        close(err_);
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

  private:
    int out_;
    int err_;
};

Job AnyJob(Random& random) {
    const bool archive = random() % 4 == 0;
    return {archive ? "image.tar.gz" : "image.bin", static_cast<std::size_t>(Between(random, 1, 4096)),
            random() % 2 == 0 ? sim::Plan::kA : sim::Plan::kB};
}

struct Tally {
    int jobs = 0;
    std::array<int, 6> outcomes{};  // by Outcome

    void Add(Outcome outcome) {
        ++jobs;
        ++outcomes[static_cast<std::size_t>(outcome)];
    }
};

void PrintRow(const char* name, const Tally& tally) {
    std::printf("%-34s %5d", name, tally.jobs);
    for (const int count : tally.outcomes) std::printf(" %9d", count);
    std::printf("\n");
}

/// Runs one job. Empty, or what is wrong with it.
std::string RunOne(const BenchDir& bench, const Fault& fault, unsigned int seed, Tally* tally, Tally* all) {
    const Quiet quiet;
    Random random(seed);
    Disturbance disturbance;
    const Job job = AnyJob(random);
    fault.set(disturbance, random, PassesNeeded(job.size));
    World world(bench, job, disturbance, random);
    const Outcome outcome = world.Run();
    tally->Add(outcome);
    all->Add(outcome);
    if (fault.set == Nothing && outcome != Outcome::kWell)
        world.fault = "an undisturbed job did not end well";
    if (world.fault.empty()) return "";
    return std::string(fault.name) + ": " + world.fault + " (pass " + std::to_string(world.passes) + ")";
}

}  // namespace

int main() {
    const unsigned int seed = FromEnvironment("VELMORIN_SEED", std::random_device()());
    const unsigned int jobs = FromEnvironment("VELMORIN_JOBS", 15 * std::size(kFaults));
    std::printf("VELMORIN_SEED=%u VELMORIN_JOBS=%u\n", seed, jobs);
    std::optional<BenchDir> bench;

    bool failed = false;
    std::array<Tally, std::size(kFaults)> tallies;
    Tally all;
    std::size_t memory = 0;
    for (unsigned int job = 0; job < jobs; ++job) {
        if (job == jobs / 2) memory = mallinfo2().uordblks;
        if (job % 500 == 0) bench.emplace();  // every row is read to close a job's
        const std::size_t kind = job % std::size(kFaults);
        const std::string wrong =
            RunOne(*bench, kFaults[kind], seed + job * 2654435761U, &tallies[kind], &all);
        if (wrong.empty()) continue;
        failed = true;
        std::printf("job %u, %s\n", job, wrong.c_str());
    }

    std::printf("\n%-34s %5s %9s %9s %9s %9s %9s %9s\n", "fault", "jobs", "well", "recovered", "refused",
                "trying", "deceived", "wrong");
    for (std::size_t kind = 0; kind < std::size(kFaults); ++kind) PrintRow(kFaults[kind].name, tallies[kind]);
    PrintRow("all", all);

    // One group that is not freed holds 8 KiB. With a sanitizer, which looks itself, both read as zero.
    const std::size_t now = mallinfo2().uordblks;
    std::printf("\nmemory in use: %zu bytes after half of the jobs, %zu after all\n", memory, now);
    if (now > memory + std::size_t{jobs} * 100) {
        std::printf("memory grew\n");
        failed = true;
    }
    return failed ? 1 : 0;
}
