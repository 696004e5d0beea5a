// Whole jobs with the real programs on a bench, at the bus's own pace: what the programs themselves add to a
// job.
#include <csignal>
#include <regex>

#include "realbench.h"

namespace {

class Bench : public RealBench {
  protected:
    /// Starts velmorin with this image and these words behind it.
    void Update(std::size_t size, const Words& addresses) {
        image = TestImage(size);
        Words command = {VELMORIN, bench.Write("image", image)};
        command.insert(command.end(), addresses.begin(), addresses.end());
        updater = std::make_unique<Process>(command);
    }
};

constexpr char kBanner[] =
    "-{58}\nProcess Name: velmorin\nVersion Info: V1\\.00\\(00\\)\n[^\n]*: NULL\nCompile Date: "
    "[^\n]*\n-{58}\n";

TEST_F(Bench, DeliversAndPrintsItsCourse) {
    StartDevice({"--once"});
    StartUpdater(1500);
    EXPECT_EQ(updater->Wait(), 0);
    EXPECT_EQ(device->Wait(), 0) << device->output;
    EXPECT_TRUE(IsDelivered());
    EXPECT_EQ(Results(), Words{"1|0"});
    EXPECT_EQ(updater->errors, "velmorin: on the bench in " + bench.Root().string() + "\n");
    const std::regex course(
        kBanner +
        std::string("chargeaddress:e0 devaddress:10 updateaddress:20\nCAN ID:1079e08a\n"
                    "send file size:1500\nloop//loop-1:2 dataleave:476\n"
                    "(send count:0 countmax:3 packcout:256\ngroupaddress:[0-9a-f]{8} crc32B:[0-9a-f]{8}\n){2}"
                    "time use = [0-9]+ ms\nerror code:0\nupdate finished\\.{8}\n"));
    EXPECT_TRUE(std::regex_match(updater->output, course)) << updater->output;
}

TEST_F(Bench, MissingBusEndsWithStatus1) {
    StartUpdater(5);
    EXPECT_EQ(updater->Wait(), 1);
    EXPECT_NE(updater->errors.find("SIOCGIFINDEX: No such device\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile())) << "the port comes before the image";
}

TEST_F(Bench, AddressesAreHexadecimalAndChooseThePort) {
    StartDevice();
    for (const auto& [addresses, row] :
         {std::pair{Words{"0xE1", "0x11", "2a"}, "e1|2|17|2a"}, {{"zz", "", "10 "}, "00|0|0|10"}}) {
        std::filesystem::remove(bench.StagingFile());
        Update(5, addresses);
        EXPECT_TRUE(updater->WaitForOutput("loop//loop-1:1 dataleave:5\n")) << "lines come as they happen";
        updater->Signal(SIGTERM);
        EXPECT_EQ(updater->Wait(), 143);
        EXPECT_EQ(SqlRows(bench.StagingFile(),
                          "SELECT chargeaddress,caninterface,devtype,updateaddress FROM tag_history"),
                  Words{row});
    }
}

TEST_F(Bench, MissingJobFileEndsWithStatus255AfterTheUsageLine) {
    Update(5, {"two", "three"});
    EXPECT_EQ(updater->Wait(), 255);
    const std::regex expected(
        kBanner + std::string("eg:\\./[^\n]* pathdownfile chargeaddress devaddress updateaddress\n"));
    EXPECT_TRUE(std::regex_match(updater->output, expected)) << updater->output;
}

TEST_F(Bench, ABusThatGoesAwayIsSilence) {
    StartDevice();
    StartUpdater(1024);
    ASSERT_TRUE(updater->WaitForOutput("send count"));
    device.reset();
    ASSERT_TRUE(updater->WaitForErrors("write: incomplete CAN frame\n"));
    updater->Signal(SIGTERM);  // in its data or behind it: it may ask for a verdict for ever
    updater->Wait();
    EXPECT_EQ(updater->errors.find("read:"), std::string::npos) << updater->errors;
}

}  // namespace
