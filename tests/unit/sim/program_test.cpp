// The command line, and how a run ends.
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "command.h"
#include "fd.h"
#include "options.h"
#include "runner.h"

namespace sim {
namespace {

/// The exit status, none to go on, and whatever was printed on standard error.
std::pair<std::optional<int>, std::string> Parse(std::vector<const char*> arguments, Options& options) {
    arguments.insert(arguments.begin(), "velmorin-sim");
    testing::internal::CaptureStderr();
    const std::optional<int> status =
        ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
    return {status, testing::internal::GetCapturedStderr()};
}

TEST(SimOptions, ReadsNumbersInTheirBases) {
    Options options;
    const auto [status, error] =
        Parse({"--can",          "c",          "--address",      "0x1f", "--base",       "fffffc00",
               "--seed",         "4294967295", "--refuse-start", "10",   "--fail-check", "0xfe",
               "--reject-group", "0:1",        "--reject-group", "12:3", "--drop",       "0.5",
               "--delay",        "250"},
              options);
    EXPECT_EQ(error, "");
    EXPECT_EQ(status, std::nullopt);
    const Settings& device = options.device;
    const Faults& faults = device.faults;
    EXPECT_EQ(std::tuple(device.address, device.base, device.seed),
              std::tuple(0x1F, 0xFFFFFC00U, 4294967295U));
    EXPECT_EQ(std::pair(faults.refuse_start, faults.fail_check),
              std::pair(std::uint8_t{10}, std::uint8_t{0xFE}));
    ASSERT_EQ(faults.reject_groups.size(), 2U);
    EXPECT_EQ(std::pair(faults.reject_groups[1].index, faults.reject_groups[1].times),
              std::pair(std::size_t{12}, 3));
    EXPECT_EQ(std::pair(faults.drop_percent, faults.delay), std::pair(0.5, Micros{250'000}));
}

TEST(SimOptions, NamesTheOptionThatIsWrong) {
    const std::vector<std::vector<const char*>> wrong = {
        {"--address", "100"},       {"--address", "-1"},
        {"--address", "0x"},        {"--plan", "b"},
        {"--base", "100000000"},    {"--base", "8g"},
        {"--seed", "4294967296"},   {"--seed", ""},
        {"--drop", "-1"},           {"--drop", "100.5"},
        {"--drop", "nan"},          {"--drop", "5%"},
        {"--delay", "1.5"},         {"--delay", "600001"},
        {"--refuse-start", "0"},    {"--refuse-start", "256"},
        {"--fail-check", "0x0"},    {"--fail-check", "ab"},
        {"--reject-group", "1"},    {"--reject-group", ":1"},
        {"--reject-group", "1:0"},  {"--erase-fail", "1:2:3"},
        {"--mute-heartbeats", "x"}, {"--no-such-option"},
    };
    for (auto arguments : wrong) {
        const std::string name = arguments.front();
        arguments.insert(arguments.begin(), {"--bench", "/b"});
        Options options;
        const auto [status, error] = Parse(arguments, options);
        EXPECT_EQ(status, 2) << name << " " << arguments.back();
        EXPECT_NE(error.find(name), std::string::npos) << error;
    }
    for (const std::vector<const char*>& bus :
         {std::vector<const char*>{}, {"--bench", "/b", "--can", "can0"}}) {
        Options options;
        EXPECT_EQ(Parse(bus, options).first, 2);
    }
}

/// A bus on which one updater says what the test wrote down, and leaves.
class ScriptedBus : public Bus {
  public:
    ScriptedBus() : fd_(eventfd(1, 0)) {}
    int fd() const override { return fd_.get(); }
    std::optional<BusEvent> Receive() override {
        if (next == script.size()) return BusEvent{BusEvent::kNodeGone, 1, {}};
        return BusEvent{BusEvent::kFrame, 1, Command(script[next++])};
    }
    void Send(const can_frame& frame) override { sent.push_back(frame); }

    std::vector<std::string> script;
    std::size_t next = 0;
    std::vector<can_frame> sent;

  private:
    Fd fd_;
};

class SimRun : public testing::Test {
  protected:
    SimRun() {
        char name[] = "/tmp/simrunXXXXXX";
        dir = mkdtemp(name);
        options.once = true;
        options.save = dir + "/image";
        std::vector<std::string>& script = bus.script;
        script = {"70 0110", "72 011020", "74 011020 02", "77 011020 00400008"};
        for (int i = 0; i < 256; ++i) {
            char packet[24];
            std::snprintf(packet, sizeof packet, "79 011020 %02x 11111111", static_cast<unsigned>(i));
            script.emplace_back(packet);
        }
        // Checksums of 1024 bytes 0x11, and of the first two of them, which the address request names as the
        // size.
        script.insert(script.end(), {"7a 011020 6c918b72", "7c 011020 1d11b078", "7e 011020 aa"});
    }
    ~SimRun() override { std::filesystem::remove_all(dir); }

    int Run() {
        const Fd no_signal(eventfd(0, 0));
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = Runner(options, bus, nullptr).Run(no_signal.get());
        summary = testing::internal::GetCapturedStdout();
        notes = testing::internal::GetCapturedStderr();
        return status;
    }

    std::string Saved() const {
        std::ifstream file(options.save, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string dir, summary, notes;
    Options options;
    ScriptedBus bus;
};

TEST_F(SimRun, OnceEndsWellOnlyAfterACompleteAndCorrectJob) {
    EXPECT_EQ(Run(), 0) << notes;
    EXPECT_EQ(Saved(), "\x11\x11");
    EXPECT_NE(
        summary.find("1 groups, 0 rejected, 0 erase failed; image 2 bytes, checksum 78b0111d; 0 violations; "
                     "job complete\n"),
        std::string::npos)
        << summary;

    const struct {
        const char* what;
        std::size_t left_out;
        Faults faults;
    } bad[] = {
        {"no reset", 262, {}},
        {"a packet missing", 100, {}},
        {"no program check", 261, {}},
        {"refused", 999, {.refuse_start = 1}},
        {"failed check", 999, {.fail_check = 1}},
    };
    const std::vector<std::string> whole = bus.script;
    for (const auto& each : bad) {
        bus.script = whole;
        if (each.left_out < whole.size())
            bus.script.erase(bus.script.begin() + static_cast<std::ptrdiff_t>(each.left_out));
        bus.next = 0;
        options.device.faults = each.faults;
        EXPECT_EQ(Run(), 1) << each.what << ": " << summary;
    }
}

TEST_F(SimRun, AFrameThatNoLossExplainsSpoilsTheJob) {
    bus.script.insert(bus.script.begin() + 50, "79 021020 00 11111111");
    EXPECT_EQ(Run(), 1);
    EXPECT_NE(summary.find("1 violations; job complete"), std::string::npos) << summary;
    EXPECT_NE(notes.find("command 79 with other address bytes"), std::string::npos) << notes;
}

TEST_F(SimRun, AnImageThatCannotBeSavedIsAnError) {
    options.save = dir + "/none/image";
    EXPECT_EQ(Run(), 1);
    EXPECT_NE(notes.find("--save " + options.save + ": No such file or directory"), std::string::npos)
        << notes;
}

}  // namespace
}  // namespace sim
