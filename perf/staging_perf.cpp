// What staging costs: time to stage an image and to load it again, rows per second, size of the file, and how
// all of it grows.
//
// The claims these figures stand for: both grow linearly; loading 1 MiB takes at most 20 times as long as 64
// KiB, also from a file that was staged without the index. The growth column is the time over that of 64 KiB.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <map>
#include <string>

#include "Load.h"
#include "Packdata.h"
#include "benchdir.h"
#include "db.h"
#include "quiet.h"
#include "sqlrows.h"

using namespace velmorin;

namespace {

using Clock = std::chrono::steady_clock;

void StageImage(const BenchDir& bench, std::size_t size) {
    const std::string image = bench.Write("image", TestImage(size));
    PackData packer;
    packer.Pack_Init(1, 0xE0, 0x10, 0x20);
    if (packer.Pack_Runing(image.c_str()) != 0) std::abort();
}

void LoadImage(std::size_t size) {
    Load loader;
    s_history record{};
    std::list<s_addnode> cache;
    loader.Load_DbToCache(&record, &cache);
    if (cache.size() != size / 1024 || cache.back().dataqueue.size() != 256) std::abort();
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
template <typename Prepare, typename Work>
double BestSeconds(const Prepare& prepare, const Work& work) {
    double best = 1e9;
    for (int run = 0; run < 5; ++run) {
        prepare();
        best = std::min(best, Seconds(work));
    }
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
        Tell(state, "stage", Seconds([&] { StageImage(bench, size); }));
        const auto kib = [&] {
            return static_cast<double>(std::filesystem::file_size(bench.StagingFile())) / 1024;
        };
        state.counters["file_KiB"] = kib();
        SqlRows(bench.StagingFile(), "DROP INDEX tag_data_group; VACUUM");
        state.counters["no_index_KiB"] = kib();
    }
}

void LoadStaged(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const BenchDir bench;
    Seconds([&] { StageImage(bench, size); });
    for (auto _ : state) Tell(state, "load", BestSeconds([] {}, [&] { LoadImage(size); }));
}

/// The first loading of a file that another program staged: the index is made then.
void LoadFirstTime(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const BenchDir bench;
    Seconds([&] { StageImage(bench, size); });
    const auto drop = [&] { SqlRows(bench.StagingFile(), "DROP INDEX tag_data_group"); };
    for (auto _ : state) Tell(state, "first", BestSeconds(drop, [&] { LoadImage(size); }));
}

/// The same when the file cannot be written: every group is searched for. A reader keeps the index from being
/// made.
void LoadUnwritable(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const BenchDir bench;
    Seconds([&] { StageImage(bench, size); });
    SqlRows(bench.StagingFile(), "DROP INDEX tag_data_group");
    sqlite3* reader = nullptr;
    sqlite3_open(bench.StagingFile().c_str(), &reader);
    sqlite3_exec(reader, "BEGIN; SELECT * FROM tag_infor", nullptr, nullptr, nullptr);
    for (auto _ : state) Tell(state, "unwritable", Seconds([&] { LoadImage(size); }));
    sqlite3_close(reader);
}

void Sizes(benchmark::internal::Benchmark* bench) {
    for (const int kib : {64, 256, 1024}) bench->Arg(kib << 10);
    bench->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(Stage)->Apply(Sizes);
BENCHMARK(LoadStaged)->Apply(Sizes);
BENCHMARK(LoadFirstTime)->Apply(Sizes);
BENCHMARK(LoadUnwritable)
    ->Arg(64 << 10)
    ->Arg(256 << 10)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
