// Whole jobs with the real programs on a bench, at the bus's own pace: what the programs themselves add to a
// job.
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
    void StartDevice(const Words& options = {}) {
        Words command = {VELMORIN_SIM, "--bench", bench.Root().string(), "--save", Saved(), "--log",
                         Log(),        "--once"};
        command.insert(command.end(), options.begin(), options.end());
        device = std::make_unique<Process>(command);
        ASSERT_TRUE(device->WaitForOutput("ready")) << device->errors;
    }

    /// Runs velmorin to its end; its exit status.
    int Update(Words arguments) {
        arguments.insert(arguments.begin(), VELMORIN);
        updater = std::make_unique<Process>(arguments);
        return updater->Wait();
    }

    std::string Saved() const { return (bench.Root() / "received").string(); }
    std::string Log() const { return (bench.Root() / "log").string(); }

    /// Has a frame whose identifier and data start so crossed the bus?
    bool Crossed(const std::string& frame) const {
        return BenchDir::Read(Log()).find(" can0 " + frame) != std::string::npos;
    }

    void ExpectDelivered(const std::string& image) const {
        EXPECT_EQ(device->Wait(), 0) << device->output;
        EXPECT_TRUE(BenchDir::Read(Saved()) == image) << "the image that arrived differs";
    }

    BenchDir bench;
    std::unique_ptr<Process> device, updater;
};

constexpr char kBanner[] =
    "-{58}\nProcess Name: velmorin\nVersion Info: V1\\.00\\(00\\)\n[^\n]*: NULL\nCompile Date: "
    "[^\n]*\n-{58}\n";

TEST_F(Bench, DeliversAndPrintsItsCourse) {
    const std::string image = TestImage(1500);
    StartDevice();
    EXPECT_EQ(Update({bench.Write("image", image), "e0", "10", "20"}), 0);
    ExpectDelivered(image);
    EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT state,result FROM tag_history"), Words{"1|0"});
    EXPECT_EQ(updater->errors, "velmorin: on the bench in " + bench.Root().string() + "\n");
    const std::regex course(
        kBanner +
        std::string("chargeaddress:e0 devaddress:10 updateaddress:20\nCAN ID:1079e08a\n"
                    "send file size:1500\nloop//loop-1:2 dataleave:476\n"
                    "(send count:0 countmax:3 packcout:256\ngroupaddress:[0-9a-f]{8} crc32B:[0-9a-f]{8}\n){2}"
                    "time use = [0-9]+ ms\nerror code:0\nupdate finished\\.{8}\n"));
    EXPECT_TRUE(std::regex_match(updater->output, course)) << updater->output;
}

TEST_F(Bench, RecordsARefusal) {
    StartDevice({"--refuse-start", "3"});
    EXPECT_EQ(Update({bench.Write("image", "image"), "e0", "10", "20"}), 0);
    EXPECT_EQ(device->Wait(), 1);
    EXPECT_TRUE(updater->output.ends_with("error code:10\nupdate finished........\n")) << updater->output;
}

TEST_F(Bench, MissingBusEndsWithStatus1) {
    EXPECT_EQ(Update({bench.Write("image", "image"), "e0", "10", "20"}), 1);
    EXPECT_NE(updater->errors.find("SIOCGIFINDEX: No such device\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile())) << "the port comes before the image";
}

TEST_F(Bench, AddressesAreHexadecimalAndChooseThePort) {
    const struct {
        Words addresses;
        const char *line, *heartbeat;
    } cases[] = {
        {{"0xE1", "0x11", "2a"}, "chargeaddress:e1 devaddress:11 updateaddress:2a\n", "1070E18A#0211"},
        {{"zz", "", "10 "}, "chargeaddress:00 devaddress:00 updateaddress:10\n", "1070008A#0000"},
    };
    for (const auto& c : cases) {
        StartDevice();
        Words command = {VELMORIN, bench.Write("image", "image")};
        command.insert(command.end(), c.addresses.begin(), c.addresses.end());
        Process run(command);
        EXPECT_TRUE(run.WaitForOutput("loop//loop-1:1 dataleave:5\n")) << "lines reach a pipe as they happen";
        EXPECT_NE(run.output.find(c.line), std::string::npos);
        for (int i = 0; i < 50 && !Crossed(c.heartbeat); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_TRUE(Crossed(c.heartbeat)) << c.heartbeat;
        device.reset();
    }
}

TEST_F(Bench, JobFileRunsTheSameJobAsTheCommandLine) {
    const std::string image = TestImage(1024);
    bench.Write("mnt/nandflash/download/module.bin", image);
    bench.Write(
        "mnt/nandflash/download/update.conf",
        "# left by the station\r\ndesDeviceType=9\r\nsomethingElse=1\r\nPortSN=1\r\ndesDeviceAddress=224\r\n"
        "desDeviceType=16\r\ndesSubDeviceAddress=32\r\n"
        "desFirewareName=/mnt/nandflash/download/module.bin\r\n");
    StartDevice();
    EXPECT_EQ(Update({"one", "two", "three"}), 0);
    ExpectDelivered(image);
    EXPECT_TRUE(Crossed("1079E08A#011020"));
    EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT name,chargeaddress,result FROM tag_history"),
              (Words{"/mnt/nandflash/download/module.bin|e0|0"}));
    const std::string usage = " pathdownfile chargeaddress devaddress updateaddress\nCAN ID:1079e08a\n";
    EXPECT_NE(updater->output.find("eg:./" VELMORIN + usage), std::string::npos);
}

TEST_F(Bench, MissingJobFileEndsWithStatus255AfterTheUsageLine) {
    EXPECT_EQ(Update({}), 255);
    const std::regex expected(
        kBanner + std::string("eg:\\./[^\n]* pathdownfile chargeaddress devaddress updateaddress\n"));
    EXPECT_TRUE(std::regex_match(updater->output, expected)) << updater->output;
}

TEST_F(Bench, ABusThatGoesAwayIsSilence) {
    StartDevice();
    Process run({VELMORIN, bench.Write("image", TestImage(1024)), "e0", "10", "20"});
    ASSERT_TRUE(run.WaitForOutput("send count"));
    device.reset();
    EXPECT_EQ(run.Wait(), 0);  // three starts without a reply
    EXPECT_NE(run.errors.find("write: incomplete CAN frame\n"), std::string::npos);
    EXPECT_EQ(run.errors.find("read:"), std::string::npos) << run.errors;
}

}  // namespace
