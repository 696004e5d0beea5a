// What an update costs: processor time per pass, packing, memory. Waits are replaced, so a job of hours takes
// seconds.
//
// The claims these figures stand for: CPU per pass does not grow with the image; packing 1 MiB, its row in
// the staging file included, takes at most 100 ms; the peak resident size is at most 9.5 times the image plus
// 8 MiB.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "benchdir.h"
#include "canframe.h"
#include "quiet.h"

using namespace velmorin;

namespace {

constexpr int kSizes[] = {64 << 10, 1 << 20, 4 << 20};

/// Answers every command at once with yes.
void Answer(int bus, can_frame frame) {
    const unsigned int pf = frame.can_id >> 16 & 0xFF;
    if (pf == kPfData) return;
    frame.can_id = CAN_EFF_FLAG | 0x10008AE0U | (pf + 1) << 16;
    if (pf == kPfStartDownload || pf == kPfProgramCheck) frame.data[3] = frame.data[5] = 0;
    if (pf == kPfGroupEnd) {
        static unsigned int address = 0x08000000U;
        address += kGroupSize;
        frame.data[3] = kGroupRight;
        std::memcpy(frame.data + 4, &address, 4);
    }
    if (write(bus, &frame, sizeof frame) < 0) std::abort();
    if (pf == kPfAddressRequest) {
        frame.can_id = CAN_EFF_FLAG | 0x10008AE0U | kPfGoAhead << 16;
        if (write(bus, &frame, sizeof frame) < 0) std::abort();
    }
}

double CpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void Job(benchmark::State& state) {
    const BenchDir bench;
    const std::string image = bench.Write("image", TestImage(static_cast<std::size_t>(state.range(0))));
    unsigned long passes = 0;
    double cpu = 0;
    for (auto _ : state) {
        const Quiet quiet;
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends) != 0) std::abort();
        canframe session;
        session.m_canhandle = new CAN_Port{ends[0], 0};
        session.SetAddress(1, 0xE0, 0x10, 0x20);
        session.LoadData(image.c_str());
        const double start = CpuSeconds();
        while (session.m_finished != 1) {
            session.Runloop();
            can_frame frame;
            while (read(ends[1], &frame, sizeof frame) == sizeof frame) Answer(ends[1], frame);
        }
        cpu += CpuSeconds() - start;
        if (session.m_errorcode != kResultSuccess) std::abort();
        passes += session.m_loopcount;
        close(ends[1]);
    }
    state.counters["passes"] = static_cast<double>(passes) / static_cast<double>(state.iterations());
    state.counters["passes/s"] = static_cast<double>(passes) / cpu;
    state.counters["ns/pass"] = cpu * 1e9 / static_cast<double>(passes);
}

void Packing(benchmark::State& state) {
    const BenchDir bench;
    const std::string image = bench.Write("image", TestImage(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        const Quiet quiet;
        canframe session;
        session.LoadData(image.c_str());
        benchmark::DoNotOptimize(session.m_addlist.size());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// Peak resident size of a fresh process that packs the image, as the kernel counts it.
void PeakMemory(benchmark::State& state) {
    const BenchDir bench;
    const std::string image = bench.Write("image", TestImage(static_cast<std::size_t>(state.range(0))));
    const std::string command = "/proc/self/exe";
    char self[4096] = "";
    if (readlink(command.c_str(), self, sizeof self - 1) < 0) std::abort();
    double peak_kib = 0;
    for (auto _ : state) {
        std::FILE* child = popen((std::string(self) + " --pack " + image).c_str(), "r");
        char line[256];
        while (std::fgets(line, sizeof line, child) != nullptr) std::sscanf(line, "VmHWM: %lf", &peak_kib);
        pclose(child);
    }
    state.counters["peak_KiB"] = peak_kib;
    state.counters["peak/limit"] = peak_kib * 1024 / (9.5 * static_cast<double>(state.range(0)) + (8 << 20));
}

int PackAndTell(const char* image) {
    canframe session;
    session.LoadData(image);
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmHWM:") == 0) std::puts(line.c_str());
    }
    return 0;
}

void Sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : kSizes) bench->Arg(size);
}

BENCHMARK(Job)->Apply(Sizes)->Iterations(1)->Repetitions(3)->ReportAggregatesOnly()->Unit(
    benchmark::kMillisecond);
BENCHMARK(Packing)->Apply(Sizes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(PeakMemory)->Apply(Sizes)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--pack") == 0) return PackAndTell(argv[2]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
