// How the text library grows with its texts, and how loading a big file compares with std::getline.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "stlstrings.h"

namespace {

constexpr int kLines = 1'000'000;
constexpr double kAllowedRatio = 1.5;

/// A folder of its own, removed with all it holds.
class TempFolder {
  public:
    TempFolder() {
        std::string name = std::filesystem::temp_directory_path() / "text_perf.XXXXXX";
        if (const char* made = mkdtemp(name.data())) path = made;
    }
    ~TempFolder() { std::filesystem::remove_all(path); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path path;
};

/// kLines lines of 16 to 116 bytes, 64 MiB in all.
void WriteLines(const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    for (unsigned int i = 0; i < kLines; ++i) {
        out << std::string(16 + (i * 37) % 101, static_cast<char>('a' + i % 26)) << '\n';
    }
}

template <typename Load>
double MillisecondsOf(Load load) {
    const auto start = std::chrono::steady_clock::now();
    load();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Both loads in turn over the same file; the best time of each counts, so that a busy machine disturbs less.
void LoadFromFileAgainstGetline(benchmark::State& state) {
    const TempFolder folder;
    const std::string path = folder.path / "lines.txt";
    WriteLines(path);
    double getline_ms = std::numeric_limits<double>::infinity();
    double load_ms = getline_ms;
    for ([[maybe_unused]] auto _ : state) {
        std::vector<std::string> lines;
        getline_ms = std::min(getline_ms, MillisecondsOf([&] {
                                  std::ifstream in(path);
                                  for (std::string line; std::getline(in, line);) lines.push_back(line);
                              }));
        CStringList list;
        load_ms = std::min(load_ms, MillisecondsOf([&] { list.LoadFromFile(path); }));
        if (list.GetCount() != kLines || lines.size() != kLines) state.SkipWithError("lines are missing");
    }
    state.counters["getline_ms"] = getline_ms;
    state.counters["load_ms"] = load_ms;
    state.counters["ratio"] = load_ms / getline_ms;
    if (load_ms > kAllowedRatio * getline_ms)
        state.SkipWithError("LoadFromFile takes over 1.5 times getline");
}
BENCHMARK(LoadFromFileAgainstGetline)->Iterations(5)->Unit(benchmark::kMillisecond);

void FindReplace(benchmark::State& state) {
    const CString s = StringOfChars('a', static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(FindReplaceStr(s, "aa", "b"));
    state.SetComplexityN(state.range(0));
}

void Parse(benchmark::State& state) {
    const CString s = FindReplaceChar(StringOfChars('a', static_cast<int>(state.range(0))), 'a', ',');
    for ([[maybe_unused]] auto _ : state) {
        CStringList fields;
        ParseStr(s, ',', fields);
        benchmark::DoNotOptimize(fields.GetCount());
    }
    state.SetComplexityN(state.range(0));
}

void Filter(benchmark::State& state) {
    const CString s = StringOfChars('7', static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(FilterStr(s, ALPHABET_NUMBER, CCharset(), false));
    state.SetComplexityN(state.range(0));
}

void RemoveDuplicates(benchmark::State& state) {
    CStringList numbers;
    for (int i = 0; i < state.range(0); ++i) numbers << (CString() += i % 1000);
    for ([[maybe_unused]] auto _ : state) {
        CStringList list(numbers);
        benchmark::DoNotOptimize(list.RemoveDuplicates().GetCount());
    }
    state.SetComplexityN(state.range(0));
}

BENCHMARK(FindReplace)->RangeMultiplier(8)->Range(1 << 10, 1 << 19)->Complexity();
BENCHMARK(Parse)->RangeMultiplier(8)->Range(1 << 10, 1 << 19)->Complexity();
BENCHMARK(Filter)->RangeMultiplier(8)->Range(1 << 10, 1 << 19)->Complexity();
BENCHMARK(RemoveDuplicates)->RangeMultiplier(8)->Range(1 << 10, 1 << 19)->Complexity();

}  // namespace

BENCHMARK_MAIN();
