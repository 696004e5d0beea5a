// velmorinctl beside others: signals, locks, the check.
#include <csignal>
#include <thread>

#include "ctlbench.h"

namespace {

class CtlTogether : public CtlBench {
  protected:
    static std::string Pid(const Process& process) { return std::to_string(process.Pid()); }
};

TEST_F(CtlTogether, SignalsEndAJobAndLeaveAStagedOneOpen) {
    StartDevice();
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const auto job = Start(update);
        ASSERT_TRUE(job->WaitForErrors("calling device e0")) << job->errors;
        job->Signal(number);
        EXPECT_EQ(job->Wait(), 128 + number);
        EXPECT_EQ(Results().back(), "1|13");
    }
    EXPECT_EQ(Run("stage " + target), 0) << err;
    const auto job = Start("download --json");
    ASSERT_TRUE(job->WaitForOutput("\"start\""));
    EXPECT_EQ(Run("download --interface can1"), 9) << "one at a time";
    EXPECT_TRUE(Says("process " + Pid(*job))) << err;
    job->Signal(SIGTERM);
    EXPECT_EQ(job->Wait(), 143);
    EXPECT_NE(job->errors.find("the job stays open: velmorinctl download --job "), std::string::npos)
        << job->errors;
    EXPECT_EQ(Results().back(), "0|-1");
    EXPECT_EQ(Run("download --pace max"), 0) << err;
    EXPECT_EQ(Results().back(), "1|0");
    EXPECT_TRUE(IsDelivered());
}

TEST_F(CtlTogether, TerminalLineIsGoneWhenASignalEndsTheJob) {
    StartDevice();
    const std::string command = "exec timeout -s INT 6 " VELMORINCTL " " + update;
    Process terminal({"/usr/bin/script", "-qec", command, "/dev/null"}, {{"TERM", "xterm"}});
    terminal.Wait();
    const std::string& screen = terminal.output;
    EXPECT_NE(screen.find("] "), std::string::npos) << screen;
    const std::size_t cleared = screen.rfind("\r\x1b[K");
    ASSERT_NE(cleared, std::string::npos) << screen;
    EXPECT_EQ(screen.find("velmorinctl: job ", cleared), cleared + 4) << screen;
}

TEST_F(CtlTogether, SecondUpdateIsRefusedUntilTheFirstIsGone) {
    StartDevice();
    const auto first = Start(update);
    ASSERT_TRUE(first->WaitForErrors("calling device e0")) << first->errors;
    EXPECT_EQ(Run(update + " --json"), 9);
    EXPECT_EQ(Events().back()["status"], 9);
    EXPECT_TRUE(Says("another update is running on it: process " + Pid(*first))) << err;
    EXPECT_EQ(Results().size(), 1U);
    EXPECT_EQ(Run("check --json --charge e0"), 9);
    EXPECT_EQ(Events().back()["updater"].dump(), Pid(*first));
    const auto station = Start(bench.Root().string() + "/none e0 10 20", {VELMORIN});
    EXPECT_TRUE(station->WaitForErrors("another update is running on can0: process " + Pid(*first)));
    first->Signal(SIGKILL);
    first->Wait();
    EXPECT_EQ(Run(update + " --pace max"), 0) << err;
}

TEST_F(CtlTogether, LockFilesThatCannotBeMadeOrOpenedStopNoUpdate) {
    StartDevice();
    std::filesystem::create_directory(bench.Root() / "can0.lock");
    EXPECT_EQ(Run(update + " --pace max"), 0) << err;
    EXPECT_TRUE(Says("can0.lock: ")) << err;
}

TEST_F(CtlTogether, CheckFindsFaultsAndChangesNothing) {
    EXPECT_EQ(Run("check --json"), 4);
    EXPECT_FALSE(Events()[0]["interface"]["exists"]);
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
    StartDevice();
    EXPECT_EQ(Run("check --json --charge e0"), 0) << out;
    EXPECT_EQ(Events()[0], Json::parse(R"({"interface": {"name": "can0", "exists": true, "is_can": true,
        "up": true, "bitrate": null, "state": null, "tx_errors": null, "rx_errors": null},
        "device": {"asked": true, "answers": true}, "staging_file": "missing", "updater": null, "status": 0})"));
    EXPECT_EQ(Run("check --charge e1"), 5);
    EXPECT_NE(out.find("e1 does not answer; look at"), std::string::npos) << out;
    bench.Write("mnt/nandflash/app/chargeupdate.db", "no database at all");
    EXPECT_EQ(Run("check --json"), 3);
    EXPECT_EQ(Events()[0]["staging_file"], "damaged");
}

}  // namespace
