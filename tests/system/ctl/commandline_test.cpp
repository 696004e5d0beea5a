// What velmorinctl says to a command line or to an image that it cannot carry out.
#include <sys/stat.h>

#include "ctlbench.h"

namespace {

class CommandLine : public CtlBench {};

TEST_F(CommandLine, NamesWhatItCannotTake) {
    const struct {
        std::string line;
        std::string says;
    } cases[] = {
        {"", "which command?"},
        {"dowload", "unknown command 'dowload'; did you mean download?"},
        {update + " --pase 3", "unknown option '--pase'; did you mean --pace?"},
        {update + " --version", "unknown option '--version'\n"},
        {update + " --pace 1 --pace 2", "--pace is given more than once"},
        {update + " more", "one word too many: 'more'"},
        {"update image --charge e0 --device 10", "--update is required"},
        {update + " --pace 0", "--pace: '0' is neither"},
        {update + " --pace 101", "--pace: '101' is neither"},
        {update + " --pace 1.5", "--pace: '1.5' is neither"},
        {update + " --patience 86401", "--patience: '86401' is not a number from 0 to 86400"},
        {update + ",,21", "--update: '' is not hexadecimal from 0 to ff"},
        {update + " --interface a/b", "--interface: 'a/b'"},
        {update + " --json --quiet", "--json excludes --quiet"},
        {update + " --log " + bench.Root().string() + "/./image", "is the image; name another file"},
        {"download --job 5 --all", "--job excludes --all"},
        {"download --log " + bench.Write("mnt/nandflash/app/chargeupdate.db", "x"), "is the staging file"},
        {"jobs --last 0", "--last: '0' is not a number from 1"},
        {"close", "TIMESTAMP is required"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Run(c.line), 2) << c.line;
        EXPECT_TRUE(Says("velmorinctl: ") && Says(c.says)) << c.line << ": " << err;
        EXPECT_EQ(out, "") << c.line;
    }
    EXPECT_EQ(BenchDir::Read(bench.Root() / "image"), image);
}

TEST_F(CommandLine, HelpThatIsLostFails) {
    EXPECT_EQ(Run("update --help", {"/bin/sh", "-c", "exec " VELMORINCTL " $* >/dev/full", "sh"}), 1);
    EXPECT_TRUE(Says("velmorinctl: standard output: No space left on device")) << err;
}

TEST_F(CommandLine, JobThatCannotBeginEndsAloudAndLeavesNoRow) {
    StartDevice();
    const std::string root = bench.Root().string() + "/";
    ASSERT_EQ(mkfifo((root + "pipe").c_str(), 0666), 0);
    EXPECT_EQ(Run("update " + root + "pipe --charge e0 --device 10 --update 20 --json"), 3);
    EXPECT_TRUE(Says("pipe: a pipe, not an image")) << err;
    ASSERT_EQ(Events().size(), 1U) << out;
    EXPECT_EQ(Events()[0]["event"], "end");
    EXPECT_EQ(Events()[0]["status"], 3);
    EXPECT_TRUE(Events()[0]["job"].is_null());
    for (const std::string log : {"no/log", "pipe"}) {
        EXPECT_EQ(Run(update + " --log " + root + log), 1);
        EXPECT_TRUE(Says(log + ": ") && Says("; name a file")) << err;
    }
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
}

}  // namespace
