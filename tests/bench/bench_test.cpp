#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "benchdir.h"
#include "process.h"
#include "sqlrows.h"

namespace {

using Words = std::vector<std::string>;

class Bench : public testing::Test {
  protected:
    /// Puts a device on the bench; it listens when this returns.
    void StartDevice(const Words& options) {
        Words command = {VELMORIN_SIM, "--bench", bench.Root().string(), "--save", Saved(), "--log",
                         Log(),        "--once"};
        command.insert(command.end(), options.begin(), options.end());
        device = std::make_unique<Process>(command);
        ASSERT_TRUE(device->WaitForOutput("ready")) << device->errors;
    }

    /// Runs velmorin to its end; its exit status.
    int Update(const Words& arguments, const Process::Environment& environment = {}) {
        Words command = {VELMORIN};
        command.insert(command.end(), arguments.begin(), arguments.end());
        updater = std::make_unique<Process>(command, environment);
        return updater->Wait();
    }

    /// A whole direct job with `size` bytes against a device with these options; the result in the job's row.
    std::string ResultOf(std::size_t size, const Words& device_options) {
        image = TestImage(size);
        StartDevice(device_options);
        EXPECT_EQ(Update({bench.Write("image", image), "e0", "10", "20"}), 0);
        device_status = device->Wait();
        const auto rows = SqlRows(bench.StagingFile(), "SELECT state || ' ' || result FROM tag_history");
        return rows.empty() ? "no row" : rows.front();
    }

    std::string Saved() const { return (bench.Root() / "received").string(); }
    std::string Log() const { return (bench.Root() / "log").string(); }

    /// How often a frame whose identifier starts so crossed the bus.
    std::size_t Crossed(const std::string& identifier) const {
        const std::string log = BenchDir::Read(Log());
        const std::regex frame(" can0 " + identifier);
        return static_cast<std::size_t>(
            std::distance(std::sregex_iterator(log.begin(), log.end(), frame), std::sregex_iterator()));
    }

    void ExpectDelivered() const {
        EXPECT_EQ(device_status, 0) << device->output;
        EXPECT_TRUE(BenchDir::Read(Saved()) == image) << "the image that arrived differs";
    }

    BenchDir bench;
    std::string image;
    int device_status = -1;
    std::unique_ptr<Process> device, updater;
};

TEST_F(Bench, DeliversUnderPlanBAndPrintsItsCourse) {
    EXPECT_EQ(ResultOf(1500, {"--plan", "B"}), "1 0");
    ExpectDelivered();
    EXPECT_EQ(updater->errors, "velmorin: on the bench in " + bench.Root().string() + "\n");
    const std::regex course(
        "-{58}\nProcess Name: velmorin\nVersion Info: V1\\.00\\(00\\)\n[^\n]*: NULL\nCompile Date: "
        "[^\n]*\n-{58}\n"
        "chargeaddress:e0 devaddress:10 updateaddress:20\nCAN ID:1079e08a\nsend file size:1500\n"
        "loop//loop-1:2 dataleave:476\n"
        "send count:0 countmax:3 packcout:256\ngroupaddress:[0-9a-f]{8} crc32B:[0-9a-f]{8}\n"
        "send count:0 countmax:3 packcout:256\ngroupaddress:[0-9a-f]{8} crc32B:[0-9a-f]{8}\n"
        "time use = [0-9]+ ms\nerror code:0\nupdate finished\\.{8}\n");
    EXPECT_TRUE(std::regex_match(updater->output, course)) << updater->output;
    EXPECT_EQ(Crossed("1079E08A#011020"), 512U);
    EXPECT_EQ(Crossed("1077E08A"), 2U);
}

TEST_F(Bench, DeliversUnderPlanA) {
    EXPECT_EQ(ResultOf(2048, {"--plan", "A"}), "1 0");
    ExpectDelivered();
}

TEST_F(Bench, DeliversAnArchiveWithItsExactSize) {
    image = TestImage(1030);
    StartDevice({"--plan", "A"});
    EXPECT_EQ(Update({bench.Write("fw.tar.gz", image), "e0", "10", "20"}), 0);
    device_status = device->Wait();
    ExpectDelivered();
    EXPECT_GE(Crossed("1074E08A#0110200604000000"), 1U);
}

TEST_F(Bench, RecordsARefusedDownload) {
    EXPECT_EQ(ResultOf(1024, {"--refuse-start", "3"}), "1 10");
    EXPECT_EQ(device_status, 1);
    EXPECT_NE(updater->output.find("error code:10\nupdate finished........\n"), std::string::npos);
}

TEST_F(Bench, RecordsARefusedProgramCheck) {
    EXPECT_EQ(ResultOf(1024, {"--fail-check", "1"}), "1 5");
    EXPECT_EQ(device_status, 1);
    EXPECT_EQ(Crossed("107EE08A"), 0U);
}

TEST_F(Bench, RecordsAGroupRefusedThreeTimes) {
    EXPECT_EQ(ResultOf(1024, {"--reject-group", "0:3"}), "1 12");
    EXPECT_EQ(device_status, 1);
    EXPECT_EQ(Crossed("1077E08A"), 3U);
}

TEST_F(Bench, SendsARefusedGroupAgain) {
    EXPECT_EQ(ResultOf(2048, {"--reject-group", "1:1"}), "1 0");
    ExpectDelivered();
    EXPECT_EQ(Crossed("1077E08A"), 3U);
}

TEST_F(Bench, SendsAGroupAgainThatCouldNotBeErased) {
    EXPECT_EQ(ResultOf(1024, {"--erase-fail", "0:2"}), "1 0");
    ExpectDelivered();
}

TEST_F(Bench, OutlivesLostFrames) {
    EXPECT_EQ(ResultOf(3000, {"--drop", "0.15", "--seed", "4"}), "1 0");
    ExpectDelivered();
    EXPECT_GE(Crossed("1077E08A"), 4U) << "a packet was lost, and its group sent again";
}

TEST_F(Bench, OutlivesADeviceThatGoesSilentAndComesBack) {
    EXPECT_EQ(ResultOf(2048, {"--mute-heartbeats", "6"}), "1 0");
    ExpectDelivered();
    EXPECT_GE(Crossed("1072E08A"), 2U) << "the lost link starts the download over";
}

TEST_F(Bench, OutlivesSlowReplies) {
    EXPECT_EQ(ResultOf(1024, {"--delay", "300"}), "1 0");
    ExpectDelivered();
}

TEST_F(Bench, MissingBusEndsWithStatus1) {
    EXPECT_EQ(Update({bench.Write("image", "image"), "e0", "10", "20"}), 1);
    EXPECT_NE(updater->errors.find("SIOCGIFINDEX: No such device\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile())) << "the port comes before the image";
}

TEST_F(Bench, AddressesAreHexadecimalAndChooseThePort) {
    const struct {
        Words addresses;
        const char* line;
        const char* heartbeat;
    } cases[] = {
        {{"0xE1", "0x11", "2a"}, "chargeaddress:e1 devaddress:11 updateaddress:2a\n", "1070E18A#0211"},
        {{"zz", "", "10 "}, "chargeaddress:00 devaddress:00 updateaddress:10\n", "1070008A#0000"},
    };
    for (const auto& c : cases) {
        StartDevice({});
        Words command = {VELMORIN, bench.Write("image", "image")};
        command.insert(command.end(), c.addresses.begin(), c.addresses.end());
        Process run(command);
        EXPECT_TRUE(run.WaitForOutput("loop//loop-1:1 dataleave:5\n")) << "lines reach a pipe as they happen";
        EXPECT_NE(run.output.find(c.line), std::string::npos);
        for (int i = 0; i < 50 && Crossed(c.heartbeat) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        EXPECT_GE(Crossed(c.heartbeat), 1U) << c.heartbeat;
        device.reset();
    }
}

TEST_F(Bench, JobFileRunsTheSameJobAsTheCommandLine) {
    image = TestImage(1024);
    bench.Write("mnt/nandflash/download/module.bin", image);
    bench.Write(
        "mnt/nandflash/download/update.conf",
        "# left by the station\r\ndesDeviceType=9\r\nsomethingElse=1\r\nPortSN=1\r\ndesDeviceAddress=224\r\n"
        "desDeviceType=16\r\ndesSubDeviceAddress=32\r\n"
        "desFirewareName=/mnt/nandflash/download/module.bin\r\n");
    StartDevice({});
    EXPECT_EQ(Update({"one", "two", "three"}), 0);
    device_status = device->Wait();
    ExpectDelivered();
    EXPECT_EQ(Crossed("1079E08A#011020"), 256U);
    EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT name,chargeaddress,result FROM tag_history"),
              (Words{"/mnt/nandflash/download/module.bin|e0|0"}));
    EXPECT_NE(updater->output.find(std::string("eg:./") + VELMORIN +
                                   " pathdownfile chargeaddress devaddress updateaddress\nCAN ID:1079e08a\n"),
              std::string::npos);
}

TEST_F(Bench, MissingJobFileEndsWithStatus255AfterTheUsageLine) {
    EXPECT_EQ(Update({}), 255);
    const std::regex expected(
        "-{58}\n([^\n]*\n){4}-{58}\neg:\\./[^\n]* pathdownfile chargeaddress devaddress "
        "updateaddress\n");
    EXPECT_TRUE(std::regex_match(updater->output, expected)) << updater->output;
}

TEST_F(Bench, ABusThatGoesAwayIsSilence) {
    StartDevice({});
    Process run({VELMORIN, bench.Write("image", TestImage(1024)), "e0", "10", "20"});
    ASSERT_TRUE(run.WaitForOutput("send count"));
    device.reset();
    EXPECT_EQ(run.Wait(), 0);  // three starts without a reply
    EXPECT_NE(run.errors.find("write: incomplete CAN frame\n"), std::string::npos);
    EXPECT_EQ(run.errors.find("read:"), std::string::npos) << run.errors;
}

}  // namespace
