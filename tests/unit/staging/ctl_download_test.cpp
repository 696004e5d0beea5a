// Staged jobs downloaded to a simulated device, at the bus's own pace.
#include <memory>
#include <regex>

#include "ctl_support.h"

namespace {

class CtlDownload : public CtlFixture {
  protected:
    void StartDevice(const Words& options) {
        Words command = {VELMORIN_SIM, "--bench", bench.Root().string(), "--save", Saved(), "--log",
                         Log(),        "--once"};
        command.insert(command.end(), options.begin(), options.end());
        device = std::make_unique<Process>(command);
        ASSERT_TRUE(device->WaitForOutput("ready")) << device->errors;
    }

    std::string Saved() const { return (bench.Root() / "received").string(); }
    std::string Log() const { return (bench.Root() / "log").string(); }

    /// State and result of the job, and how many groups and packets are staged.
    Rows Recorded() const {
        return Sql(
            "SELECT state,result,(SELECT count(*) FROM tag_infor),(SELECT count(*) FROM tag_data) "
            "FROM tag_history");
    }

    std::unique_ptr<Process> device;
};

TEST_F(CtlDownload, DeliversAWholeNumberOfGroupsUnderPlanA) {
    const std::string image = TestImage(2048);
    CtlStage(image);
    const std::string job = Sql("SELECT timestamp FROM tag_history").front();
    StartDevice({"--plan", "A"});
    ASSERT_EQ(Run({"download"}), 0) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(device->Wait(), 0) << device->output;
    EXPECT_TRUE(BenchDir::Read(Saved()) == image);
    EXPECT_EQ(Recorded(), Rows{"1|0|0|0"});
    const std::regex course(
        "mstamp:" + job +
        "\n(index:[01],state:0 crcA:[0-9a-f]{8} crcB:[0-9a-f]{8}\n){2}"
        "(send count:0 countmax:3 packcout:256\ngroupaddress:[0-9a-f]{8} crc32A:[0-9a-f]{8}\n){2}"
        "Load data and save use time: [0-9]+ ms\njob " +
        job + ": success\n");
    EXPECT_TRUE(std::regex_match(out, course)) << out;
    ASSERT_EQ(Run({"jobs"}), 0);
    EXPECT_NE(out.find("closed  success"), std::string::npos) << out;
}

TEST_F(CtlDownload, DeliversAShortLastGroupOfAnArchiveUnderPlanB) {
    const std::string image = TestImage(1030);
    CtlStage(image, "fw.tar.gz");
    StartDevice({"--plan", "B"});
    ASSERT_EQ(Run({"download"}), 0) << err;
    EXPECT_NE(err.find("only a device that asks for CRC B can take it"), std::string::npos);
    EXPECT_EQ(device->Wait(), 0) << device->output;
    EXPECT_TRUE(BenchDir::Read(Saved()) == image);
    EXPECT_NE(BenchDir::Read(Log()).find(" 1074E08A#0110200604000000"), std::string::npos)
        << "its exact size";
    EXPECT_EQ(Recorded(), Rows{"1|0|0|0"});
}

TEST_F(CtlDownload, FailsWithTheDevicesReasonAndRecordsIt) {
    CtlStage(TestImage(1024));
    const std::string job = Sql("SELECT timestamp FROM tag_history").front();
    StartDevice({"--refuse-start", "3"});
    EXPECT_EQ(Run({"download"}), 1);
    EXPECT_EQ(err, "velmorinctl: job " + job + ": download refused by the device\n");
    EXPECT_EQ(Recorded(), Rows{"1|10|0|0"});
}

TEST_F(CtlDownload, WithoutABusTheJobStaysStaged) {
    CtlStage(TestImage(1024));
    EXPECT_EQ(Run({"download"}), 1);
    EXPECT_EQ(err, "SIOCGIFINDEX: No such device\n");
    EXPECT_EQ(Recorded(), Rows{"0|-1|1|256"});
}

TEST_F(CtlDownload, SignalEndsTheJobAsInterrupted) {
    CtlStage(TestImage(1024));
    StartDevice({});
    Process program({VELMORINCTL, "download"});
    ASSERT_TRUE(program.WaitForOutput("groupaddress"));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 143);
    EXPECT_NE(program.errors.find(": interrupted\n"), std::string::npos) << program.errors;
    EXPECT_EQ(Recorded(), Rows{"1|13|0|0"});
}

TEST_F(CtlDownload, ResultThatCannotBeRecordedIsAFailure) {
    CtlStage(TestImage(1024));
    StartDevice({});
    Process program({VELMORINCTL, "download"});
    ASSERT_TRUE(program.WaitForOutput("groupaddress"));
    {
        const Holder writer(bench.StagingFile(), "BEGIN IMMEDIATE");
        EXPECT_EQ(program.Wait(), 1);
    }
    EXPECT_NE(program.output.find(": success\n"), std::string::npos) << "the device has its image";
    EXPECT_NE(program.errors.find("insert database error!: database is locked\n"), std::string::npos);
    EXPECT_NE(program.errors.find(bench.StagingFile() + ": job "), std::string::npos) << program.errors;
    EXPECT_EQ(Recorded(), Rows{"0|-1|1|256"});
}

}  // namespace
