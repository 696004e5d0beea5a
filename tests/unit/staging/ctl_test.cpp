// velmorinctl as its users see it: what it prints, what it leaves in the staging file, its exit status.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "process.h"
#include "staging_support.h"

using namespace velmorin;

namespace {

class Ctl : public StagingFixture {
  protected:
    using Words = std::vector<std::string>;

    /// Runs velmorinctl, or the command that starts it, with the words of this line; its exit status.
    int Run(const std::string& line, Words command = {VELMORINCTL}) {
        std::istringstream words(line);
        for (std::string word; words >> word;) command.push_back(word);
        Process program(command, {{"TZ", "UTC"}});
        const int status = program.Wait();
        out = program.output;
        err = program.errors;
        const std::string bench_line = "velmorinctl: on the bench in " + bench.Root().string() + "\n";
        if (err.starts_with(bench_line)) err.erase(0, bench_line.size());
        return status;
    }

    static std::string Staging(const std::string& path) {
        return "stage " + path + " --charge e0 --device 10 --update 20";
    }

    /// Stages an image; the job's timestamp.
    std::string CtlStage(const std::string& image) {
        EXPECT_EQ(Run(Staging(bench.Write("image", image)) + " --json"), 0) << err;
        return std::to_string(nlohmann::json::parse(out)["job"].get<int>());
    }

    std::string Content() const { return BenchDir::Read(bench.StagingFile()); }
    std::string File() const { return "velmorinctl: " + bench.StagingFile() + ": "; }
};

TEST_F(Ctl, ListsJobsInColumnsThatNoNameCanBreak) {
    MakeStagingFile();
    Sql("INSERT INTO tag_history VALUES"
        "(NULL,1,'/fw/it''s 固件.bin','e0',1,16,'20',1048576,0,2621440,'8b0a5208','efb5af2e',1700000000),"
        "(NULL,1,CAST(X'610A1B5B32F0' AS TEXT) || char(0x202e) || "
        "'\\','7',0,16,'20',9,12,45,'','',1700000001),"
        "(NULL,0,'','e1',2,16,'2a',2050,-1,0,'ffffffff','c4470a13',1700000002)");
    EXPECT_EQ(Run("jobs"), 0);
    EXPECT_EQ(
        out,
        "TIME                  TIMESTAMP  ADDRESS     SIZE  STATE   RESULT                             "
        "DURATION  IMAGE\n"
        "2023-11-14 22:13:20  1700000000       e0  1048576  closed  success                          "
        "2621.440 s  /fw/it's 固件.bin\n"
        "2023-11-14 22:13:21  1700000001       07        9  closed  a group was refused three times     "
        "0.045 s  a\\x0a\\x1b[2\\xf0\\xe2\\x80\\xae\\\\\n"
        "2023-11-14 22:13:22  1700000002       e1     2050  open    open                                "
        "      -  -\n");

    EXPECT_EQ(Run("jobs --json"), 0);
    const auto jobs = nlohmann::json::parse(out);
    EXPECT_EQ(jobs.at(0), nlohmann::json::parse(R"({
        "timestamp": 1700000000, "time": "2023-11-14T22:13:20+0000", "image": "/fw/it's 固件.bin",
        "charge_address": 224, "charge_address_hex": "e0", "port": 1, "device_type": 16, "update_address": 32,
        "size": 1048576, "state": 1, "state_text": "closed", "result": 0, "result_text": "success",
        "duration_ms": 2621440, "crc_a": "8b0a5208", "crc_b": "efb5af2e"})"));
    EXPECT_EQ(jobs.at(1)["image"], "a\n\x1b[2\xEF\xBF\xBD\xE2\x80\xAE\\");

    EXPECT_EQ(Run("jobs --json --open --last 5"), 0);
    EXPECT_EQ(nlohmann::json::parse(out).at(0)["timestamp"], 1700000002);
}

TEST_F(Ctl, StagesForThePortThatGoesWithTheAddressAndTellsWhatItMade) {
    const std::pair<const char*, const char*> cases[] = {
        {"--charge 0xE0 --device ff --update 0", "e0|1|255|00"},
        {"--charge e1 --device 1 --update A", "e1|2|1|0a"},
        {"--charge e2 --device 1 --update a", "e2|0|1|0a"},
        {"--charge e0 --device 1 --update a --port 7", "e0|7|1|0a"},
    };
    for (const auto& [options, row] : cases) {
        std::filesystem::remove(bench.StagingFile());
        EXPECT_EQ(Run("stage " + bench.Write("image", TestImage(1025)) + " " + options), 0) << err;
        EXPECT_EQ(err, "");
        EXPECT_EQ(Sql("SELECT chargeaddress,caninterface,devtype,updateaddress FROM tag_history"), Rows{row});
        EXPECT_EQ(out, "staged: job " + Sql("SELECT timestamp FROM tag_history")[0] +
                           ", 1025 bytes, 2 groups; its download will take about 9 s\n");
    }
}

TEST_F(Ctl, NamesWhatIsNoImageAndStagesNothing) {
    const std::pair<std::string, const char*> cases[] = {
        {"/no/such", "No such file or directory"},
        {bench.Root().string(), "a folder, not an image; name a file"},
        {bench.Write("none", ""), "empty; an image has at least one byte"},
        {bench.Write(std::string(128, 'x') + ".tar.gz", "image"),
         "an archive's path has to fit the job's row, in 127 characters; use a shorter one"},
    };
    for (const auto& [path, why] : cases) {
        EXPECT_EQ(Run(Staging(path)), 3);
        EXPECT_EQ(err, "velmorinctl: " + path + ": " + why + "\n");
    }
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
}

TEST_F(Ctl, ExportsTheOldestWholeJobAndNamesEveryOneItPassesOver) {
    const std::pair<const char*, const char*> cases[] = {
        {"DELETE FROM tag_data WHERE id=300", "damaged: group 2: 255 of 256 packets"},
        {"DELETE FROM tag_infor WHERE id=3", "damaged: 2 of 3 groups"},
        {"UPDATE tag_data SET datalen=200 WHERE id=5", "damaged: group 1: packet 4 is damaged"},
        {"UPDATE tag_data SET dataid=-1 WHERE id=5", "damaged: group 1: packet 4 is damaged"},
        {"UPDATE tag_data SET datalen=8 WHERE id=513", "damaged: group 3: packet 0 is damaged"},
        {"UPDATE tag_data SET data='02' || substr(data,3) WHERE id=5",
         "damaged: group 1: packet 4 is damaged"},
        {"UPDATE tag_infor SET canid='0079e08a' WHERE id=2", "damaged: group 2: its row is damaged"},
        {"UPDATE tag_infor SET count=255 WHERE id=1", "damaged: group 1: its row is damaged"},
        {"UPDATE tag_infor SET crc32A='00000000' WHERE id=1", "damaged: group 1: its checksum is wrong"},
        {"UPDATE tag_history SET crcB='00000000' WHERE id=1", "damaged: the checksum of the image is wrong"},
        {"UPDATE tag_history SET filesize=3000 WHERE id=1", "damaged: group 3: 1 of 238 packets"},
        {"UPDATE tag_history SET filesize=-1 WHERE id=1", "damaged: a size of -1 bytes"},
        {"DELETE FROM tag_infor; DELETE FROM tag_data", "nothing is staged of it"},
    };
    const std::string path = "/mnt/nandflash/app/exported", resolved = bench.Root().string() + path;
    const std::string job = CtlStage(TestImage(2050));
    const std::string alone = Content(), second = CtlStage("second"), both = Content();
    for (const auto& [sql, why] : cases) {
        bench.Write("mnt/nandflash/app/chargeupdate.db", alone);
        Sql(sql);
        EXPECT_EQ(Run("export " + path), 3);
        EXPECT_EQ(err, "velmorinctl: note: job " + job + " is passed over: " + why +
                           "; if nobody will finish it: velmorinctl close " + job + "\n" + File() +
                           "no open job is whole; stage an image: velmorinctl stage\n");
    }
    bench.Write("mnt/nandflash/app/chargeupdate.db", both);
    Sql("DELETE FROM tag_data WHERE id=3");
    EXPECT_EQ(Run("export " + path), 0) << err;
    EXPECT_EQ(out, "exported: job " + second + ", 6 bytes\n");
    EXPECT_EQ(BenchDir::Read(resolved), "second");
    EXPECT_EQ(Run("export " + path + " --job " + second), 1);
    EXPECT_EQ(err, "velmorinctl: " + path + ": File exists; name a file that can be made\n");
}

TEST_F(Ctl, ClosesOpenJobsAlone) {
    const std::string first = CtlStage(TestImage(5000));
    CtlStage("second");
    EXPECT_EQ(Run("close " + first), 0) << err;
    EXPECT_EQ(out, "closed: job " + first + ", interrupted\n");
    EXPECT_EQ(Run("close " + first), 3);
    EXPECT_EQ(err, "velmorinctl: job " + first + ": it is closed already: interrupted\n");
    EXPECT_EQ(Run("export out --job 8"), 3);
    EXPECT_EQ(err, "velmorinctl: job 8: no job has this timestamp; see velmorinctl jobs\n");
    EXPECT_EQ(Run("clean --all"), 0) << err;
    EXPECT_EQ(out, "cleaned: 1 groups, 2 packets; closed: 1 jobs\n");
}

TEST_F(Ctl, EveryFileThatIsNoStagingFileIsNamedAndLeftAlone) {
    const std::string move = "; move it away, and the next stage makes a new one\n";
    const std::string stage = Staging(bench.Write("image", "image"));
    const std::string missing = "there is no staging file; velmorinctl stage makes one\n";
    EXPECT_EQ(Run("jobs"), 0);
    EXPECT_EQ(err, "velmorinctl: note: " + bench.StagingFile() + ": " + missing);
    EXPECT_EQ(Run("export out"), 3);
    EXPECT_EQ(err, File() + missing);

    CtlStage(TestImage(5000));
    const std::string good = Content();
    const std::tuple<std::string, const char*, std::string> cases[] = {
        {"", "", "empty, without the tables of a staging file" + move},
        {std::string(5000, 'x'), "", "not an SQLite file" + move},
        {good, "DROP TABLE tag_infor", "an SQLite file without the table tag_infor" + move},
        {good, "ALTER TABLE tag_data ADD COLUMN more", "an SQLite file with another table tag_data" + move},
        {good.substr(0, 4096) + std::string(good.size() - 4096, 'Z'), "",
         "damaged: database disk image is malformed" + move},
    };
    for (const auto& [content, sql, message] : cases) {
        bench.Write("mnt/nandflash/app/chargeupdate.db", content);
        if (*sql != '\0') Sql(sql);
        const std::string before = Content();
        for (const char* line : {stage.c_str(), "jobs", "export out", "close 8", "clean --all"}) {
            EXPECT_EQ(Run(line), 3) << line;
            EXPECT_EQ(err, File() + message) << line;
        }
        EXPECT_TRUE(Content() == before) << message;
    }
    const std::pair<std::string, std::string> places[] = {
        {"mkdir $1", "a folder, not a staging file" + move},
        {"ln -s nowhere $1", "a link that leads nowhere" + move},
        {"mkfifo $1", "not a regular file" + move},
        {"rmdir ${1%/*}", "its folder is missing; make it first\n"},
    };
    for (const auto& [shell, message] : places) {
        Process({"/bin/sh", "-c", "rm -rf $1; " + shell, "sh", bench.StagingFile()}).Wait();
        EXPECT_EQ(Run(stage), 3);
        EXPECT_EQ(err, File() + message);
    }
}

TEST_F(Ctl, BusyFileIsWaitedForUnlessASignalComesAndItsHolderIsNamed) {
    CtlStage("first");
    sqlite3* other = nullptr;
    sqlite3_open(bench.StagingFile().c_str(), &other);
    EXPECT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    Process interrupted({VELMORINCTL, "clean", "--all"}), waiting({VELMORINCTL, "jobs"});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    interrupted.Signal(SIGINT);
    EXPECT_EQ(interrupted.Wait(), 130);
    EXPECT_TRUE(interrupted.errors.ends_with("interrupted, nothing is changed\n")) << interrupted.errors;
    EXPECT_EQ(waiting.Wait(), 3);
    EXPECT_TRUE(waiting.errors.ends_with("busy, held by ctl_test (pid " + std::to_string(getpid()) +
                                         "); try again when it is free\n"))
        << waiting.errors;
    sqlite3_close(other);
}

TEST_F(Ctl, FileThatIsClosedToTheUserIsNamed) {
    CtlStage("image");
    chmod(bench.StagingFile().c_str(), 0444);
    Words program = {VELMORINCTL};
    if (geteuid() == 0) {  // root may write all the same; the program's own folder may be closed to others
        chmod(bench.Root().c_str(), 0755);
        program = {"/usr/bin/setpriv", "--reuid=65534", "--clear-groups",
                   "/proc/self/fd/" + std::to_string(open(VELMORINCTL, O_RDONLY))};
    }
    EXPECT_EQ(Run("clean", program), 3);
    EXPECT_EQ(err, File() + "cannot be written: Permission denied; run as its owner\n");
    chmod(bench.StagingFile().c_str(), 0);
    EXPECT_EQ(Run("jobs", program), 3);
    EXPECT_EQ(err, File() + "cannot be read: Permission denied; run as its owner\n");
}

}  // namespace
