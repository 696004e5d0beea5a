// The command line, and how a run ends.
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "benchdir.h"
#include "command.h"
#include "fd.h"
#include "options.h"
#include "runner.h"

using namespace velmorin;

namespace sim {
namespace {

/// The exit status, none to go on, and whatever was printed on standard error.
std::pair<std::optional<int>, std::string> Parse(const std::string& line, Options& options) {
    std::istringstream in("velmorin-sim " + line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    std::vector<const char*> arguments;
    for (const std::string& word : words) arguments.push_back(word.c_str());
    testing::internal::CaptureStderr();
    const auto status = ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
    return {status, testing::internal::GetCapturedStderr()};
}

TEST(SimOptions, ReadsNumbersInTheirBases) {
    Options options;
    const auto parsed = Parse(
        "--can c --address 0x1f --base fffffc00 --seed 4294967295 --refuse-start 10 "
        "--fail-check 0xfe --reject-group 0:1 --reject-group 12:3 --drop 0.5 --delay 250",
        options);
    EXPECT_EQ(parsed, std::pair(std::optional<int>(), std::string()));
    const Settings& device = options.device;
    const Faults& faults = device.faults;
    EXPECT_EQ(std::tuple(device.address, device.base, device.seed),
              std::tuple(0x1F, 0xFFFFFC00U, 4294967295U));
    EXPECT_EQ(std::tuple(faults.refuse_start, faults.fail_check), std::tuple(10, 0xFE));
    EXPECT_EQ(std::tuple(faults.drop_percent, faults.delay), std::tuple(0.5, 250'000));
    ASSERT_EQ(faults.reject_groups.size(), 2U);
    EXPECT_EQ(std::tuple(faults.reject_groups[1].index, faults.reject_groups[1].times), std::tuple(12U, 3));
}

TEST(SimOptions, NamesTheOptionThatIsWrong) {
    const std::string wrong[] = {
        "--address 100",      "--address -1",      "--address 0x",     "--plan b",
        "--base 8g",          "--seed 4294967296", "--drop -1",        "--drop 100.5",
        "--drop nan",         "--drop 5%",         "--delay 600001",   "--refuse-start 0",
        "--refuse-start 256", "--fail-check ab",   "--reject-group 1", "--reject-group 1:0",
        "--erase-fail 1:2:3", "--no-such-option",  "--bench /b"};
    for (const std::string& each : wrong) {
        Options options;
        const auto [status, error] = Parse("--can can0 " + each, options);
        EXPECT_EQ(status, 2) << each;
        EXPECT_NE(error.find(each.substr(0, each.find(' '))), std::string::npos) << error;
    }
    Options options;
    EXPECT_EQ(Parse("", options).first, 2) << "no bus";
}

/// A bus on which one updater says what the test wrote down, and leaves.
class ScriptedBus : public Bus {
  public:
    explicit ScriptedBus(std::vector<can_frame> script) : script_(std::move(script)) {}
    int fd() const override { return fd_.get(); }
    std::optional<BusEvent> Receive() override {
        if (next_ == script_.size()) return BusEvent{BusEvent::kNodeGone, 1, {}};
        return BusEvent{BusEvent::kFrame, 1, script_[next_++]};
    }
    void Send(const can_frame&) override {}

  private:
    Fd fd_{eventfd(1, 0)};
    std::vector<can_frame> script_;
    std::size_t next_ = 0;
};

/// The exit status, and whatever was printed.
std::pair<int, std::string> RunJob(const Options& options, const std::vector<can_frame>& script) {
    ScriptedBus bus(script);
    const Fd no_signal(eventfd(0, 0));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = Runner(options, bus, nullptr).Run(no_signal.get());
    return {status, testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr()};
}

TEST(SimRun, OnceEndsWellOnlyAfterACompleteAndCorrectJob) {
    const BenchDir bench;
    Options options;
    options.once = true;
    options.save = bench.Root() / "image";
    // Checksums of 1024 bytes 0x11, and of the first two, which the address request names as the size.
    std::vector<can_frame> whole;
    for (const char* command : {"70 0110", "72 011020", "74 011020 02", "77 011020 00400008",
                                "7a 011020 6c918b72", "7c 011020 1d11b078", "7e 011020 aa"})
        whole.push_back(Command(command));
    for (int i = 255; i >= 0; --i) whole.insert(whole.begin() + 4, Packet(i, "11111111"));
    std::vector<can_frame> strange = whole;
    strange.insert(strange.begin() + 50, Command("79 021020 00 11111111"));

    const auto expect = [&](int status, const std::vector<can_frame>& script, const std::string& text) {
        const auto [ended, printed] = RunJob(options, script);
        EXPECT_EQ(ended, status) << text;
        EXPECT_NE(printed.find(text), std::string::npos) << text << " is not in " << printed;
    };
    expect(0, whole,
           "1 groups, 0 rejected, 0 erase failed; image 2 bytes, checksum 78b0111d; 0 violations; job "
           "complete\n");
    EXPECT_EQ(BenchDir::Read(options.save), "\x11\x11");
    for (const auto& [left_out, text] :
         {std::pair(100, "1 rejected"), std::pair(261, "no checksum"), std::pair(262, "job aborted\n")}) {
        std::vector<can_frame> script = whole;
        script.erase(script.begin() + left_out);
        expect(1, script, text);
    }
    expect(1, strange, "1 violations; job complete");
    expect(1, strange, "command 79 with other address bytes");
    options.save = bench.Root() / "none/image";
    expect(1, whole, "--save " + options.save + ": No such file or directory");
}

}  // namespace
}  // namespace sim
