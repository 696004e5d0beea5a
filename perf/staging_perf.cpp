// What staging costs: time to stage an image and to load it again, rows per second, size of the file, and how
// all of it grows.
//
// The claim these figures stand for: loading 1 MiB takes at most 20 times as long as 64 KiB. The growth
// column is the time over that of 64 KiB. scripts/perf sets staging beside the sqlite3 program.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <map>
#include <string>

#include "benchdir.h"
#include "db.h"
#include "quiet.h"
#include "stagedjob.h"

using namespace velmorin;

namespace {

using Clock = std::chrono::steady_clock;

void StageIt(std::size_t size) {
    const std::string image = TestImage(size);
    JobRow job = DescribeJob("image", {0xE0, 0x10, 0x20}, image);
    if (StageImage(kStagingFile, image, &job)) std::abort();
}

void LoadIt(std::size_t size) {
    std::vector<JobRow> jobs;
    std::string image, damage;
    if (ReadJobs(kStagingFile, &jobs) || ReadStagedImage(kStagingFile, jobs.at(0), true, &image, &damage))
        std::abort();
    std::list<s_addnode> cache;
    PackForDevice(image, &jobs[0], &cache);
    if (!damage.empty() || cache.size() != size / 1024) std::abort();
}

/// Seconds that `work` takes in a process of its own, as it does in real life: no warm heap, no former image.
template <typename Work>
double Seconds(const Work& work) {
    const Quiet quiet;
    int result[2];
    if (pipe(result) != 0) std::abort();
    const pid_t child = fork();
    if (child == 0) {
        const auto start = Clock::now();
        work();
        const double taken = std::chrono::duration<double>(Clock::now() - start).count();
        _exit(write(result[1], &taken, sizeof taken) == sizeof taken ? 0 : 1);
    }
    double seconds = 0;
    if (read(result[0], &seconds, sizeof seconds) != sizeof seconds) std::abort();
    waitpid(child, nullptr, 0);
    close(result[0]);
    close(result[1]);
    return seconds;
}

/// The shortest of a few runs of `work`: other programs only ever add.
template <typename Work>
double BestSeconds(const Work& work) {
    double best = 1e9;
    for (int run = 0; run < 5; ++run) best = std::min(best, Seconds(work));
    return best;
}

void Tell(benchmark::State& state, const char* family, double seconds) {
    static std::map<std::string, double> first;
    const double base = first.try_emplace(family, seconds).first->second;
    const auto size = static_cast<double>(state.range(0));
    state.SetIterationTime(seconds);
    state.counters["rows/s"] = (size / 4 + size / 1024) / seconds;
    state.counters["growth"] = seconds / base;
}

void Stage(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        const BenchDir bench;
        Tell(state, "stage", Seconds([=] { StageIt(size); }));
        state.counters["file_KiB"] =
            static_cast<double>(std::filesystem::file_size(bench.StagingFile())) / 1024;
    }
}

void LoadStaged(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const BenchDir bench;
    Seconds([=] { StageIt(size); });
    for (auto _ : state) Tell(state, "load", BestSeconds([=] { LoadIt(size); }));
}

void Sizes(benchmark::internal::Benchmark* bench) {
    for (const int kib : {64, 256, 1024}) bench->Arg(kib << 10);
    bench->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(Stage)->Apply(Sizes);
BENCHMARK(LoadStaged)->Apply(Sizes);
}  // namespace

BENCHMARK_MAIN();
