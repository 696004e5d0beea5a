// Whole jobs in memory, each with one kind of fault, by the session and by the watched run; a table of each
// tells how they came out. The jobs follow from a seed:
//
//   VELMORIN_SEED=N VELMORIN_JOBS=N campaign
//
// Exit status 1 when a job came out wrong, or tried for ever as a watched run.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>

#include "seed.h"
#include "trial.h"

namespace {

using Random = std::mt19937;

double Chance(Random& random, double most) {
    return std::uniform_real_distribution<>(most / 20, most)(random);
}

int Between(Random& random, int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random);
}

void Nothing(Disturbance&, Random&, int) {}

void FramesReordered(Disturbance& d, Random& r, int) {
    d.line[0] = {.slow = Chance(r, 0.003), .slow_ms = Between(r, 20, 800), .in_order = false};
    d.line[1] = {.slow = Chance(r, 0.5), .slow_ms = Between(r, 20, 800), .in_order = false};
}

void DeviceRefuses(Disturbance& d, Random& r, int) {
    const auto kind = r() % 4;
    if (kind == 0) d.device.refuse_start = 1;
    if (kind == 1) d.device.fail_check = 1;
    auto& groups = kind == 2 ? d.device.reject_groups : d.device.erase_fails;
    if (kind >= 2) groups.push_back({r() % 2, Between(r, 1, 4)});
}

void Everything(Disturbance& d, Random& r, int end) {
    d.line[0] = {.lost = Chance(r, 0.0005), .doubled = Chance(r, 0.0005)};
    d.line[1] = {.lost = Chance(r, 0.05), .doubled = Chance(r, 0.1), .slow = Chance(r, 0.1), .slow_ms = 300};
    d.deaf_from = Between(r, 1, end);
    d.deaf_ms = Between(r, 10, 6000);
}

/// Sets one kind of fault up. `end` is when an undisturbed job ends, in milliseconds; its transfer begins at
/// 4040.
const struct Fault {
    const char* name;
    void (*set)(Disturbance& d, Random& r, int end);
} kFaults[] = {
    {"none", Nothing},
    {"replies lost", [](auto& d, auto& r, int) { d.line[1].lost = Chance(r, 0.4); }},
    {"frames lost both ways",
     [](auto& d, auto& r, int) { d.line[0].lost = d.line[1].lost = Chance(r, 0.01); }},
    {"frames doubled",
     [](auto& d, auto& r, int) { d.line[0].doubled = d.line[1].doubled = Chance(r, 0.004); }},
    {"frames delayed",
     [](auto& d, auto& r, int) {
         d.line[0].slow = d.line[1].slow = Chance(r, 0.5);
         d.line[0].slow_ms = d.line[1].slow_ms = Between(r, 10, 1500);
     }},
    {"frames overtaken", FramesReordered},
    {"replies doubled, late",
     [](auto& d, auto& r, int) {
         d.line[1] = {.doubled = Chance(r, 0.5), .slow_ms = Between(r, 500, 5000), .in_order = false};
     }},
    {"device deaf for a while",
     [](auto& d, auto& r, int end) {
         d.deaf_from = Between(r, 1, end);
         d.deaf_ms = Between(r, 100, 15000);
     }},
    {"device starts anew and forgets",
     [](auto& d, auto& r, int end) {
         d.deaf_from = Between(r, 4040, end);
         d.deaf_ms = Between(r, 10, 10000);
         d.forgets = true;
     }},
    {"device gone for good",
     [](auto& d, auto& r, int end) {
         d.deaf_from = Between(r, 1, end);
         d.deaf_ms = 10'000'000;
     }},
    {"device refuses", DeviceRefuses},
    {"a little of everything", Everything},
};
constexpr std::size_t kKinds = std::size(kFaults);

using Tally = std::array<int, 5>;  // of jobs, by Outcome

/// All jobs of one of the two. False when one was wrong.
bool RunAll(std::FILE* report, bool watched, Random random, std::size_t jobs) {
    bool right = true;
    std::array<Tally, kKinds> tallies{};
    for (std::size_t job = 0; job < jobs; ++job) {
        const Fault& fault = kFaults[job % kKinds];
        Random own(random());
        Trial trial(watched, own);
        Disturbance disturbance;
        fault.set(disturbance, own, trial.LastsMs());
        const Outcome outcome = trial.Run(disturbance);
        ++tallies[job % kKinds].at(static_cast<std::size_t>(outcome));
        if (fault.set == Nothing && outcome != Outcome::kWell)
            trial.fault += " undisturbed, it did not end well";
        if (watched && outcome == Outcome::kTrying) trial.fault += " tries for ever";
        if (trial.fault.empty()) continue;
        right = false;
        std::fprintf(report, "job %zu, %s: %s\n", job, fault.name, trial.fault.c_str());
    }
    std::fprintf(report,
                 "\n%s:\n\n| Fault | Ended well | Recovered | Refused | Still trying | Wrong |\n"
                 "|---|---|---|---|---|---|\n",
                 watched ? "The watched run" : "The session");
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        std::fprintf(report, "| %s", kFaults[kind].name);
        for (const int count : tallies[kind]) std::fprintf(report, " | %d", count);
        std::fputs(" |\n", report);
    }
    return right;
}

}  // namespace

int main() {
    const Random random = SeededRandom();
    const char* jobs = std::getenv("VELMORIN_JOBS");
    // What the session prints goes nowhere, and what a sanitizer says still comes.
    std::FILE* const report = stdout;
    stdout = stderr = std::fopen("/dev/null", "w");
    bool right = true;
    for (const bool watched : {false, true})
        right = RunAll(report, watched, random, jobs != nullptr ? std::stoul(jobs) : 15 * kKinds) && right;
    return right ? 0 : 1;
}
