// velmorinctl as its users see it: what it prints, what it leaves in the staging file, its exit status.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <memory>
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

    /// Stages an image; the timestamp of the first job.
    std::string CtlStage(const std::string& image, const std::string& name = "image") {
        EXPECT_EQ(Run(Staging(bench.Write(name, image))), 0) << err;
        return Sql("SELECT timestamp FROM tag_history").front();
    }
};

TEST_F(Ctl, ListsJobsInColumnsThatNoNameCanBreak) {
    EXPECT_EQ(Run("jobs"), 1);
    EXPECT_EQ(err, "velmorinctl: " + bench.StagingFile() + ": No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
    MakeStagingFile();
    EXPECT_EQ(Run("jobs --json"), 0);
    EXPECT_EQ(out, "[]\n");

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

    EXPECT_EQ(Run("jobs", {"/bin/sh", "-c", "exec " VELMORINCTL " \"$@\" > /dev/full", "sh"}), 1);
    EXPECT_EQ(err, "velmorinctl: standard output: No space left on device\n");
}

TEST_F(Ctl, TakesNothingButWholeNumbersInTheirRange) {
    const std::string stage = "stage " + bench.Write("image", "image") + " --charge e0 --device 10";
    Words wrong = {"",         "job",      "jobs x",           "export",    "close",
                   "close 1x", "close -1", "close 2147483648", "close 1 2", stage};
    for (const char* value : {"100", "-1", "g", "0x", "+1", "1.0"}) {
        wrong.push_back(stage + " --update " + value);
    }
    for (const char* value : {"256", "-1", "a"}) wrong.push_back(stage + " --update 20 --port " + value);
    for (const std::string& line : wrong) {
        EXPECT_EQ(Run(line), 2) << line;
        EXPECT_TRUE(out.empty() && !err.empty()) << line;
    }
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
    EXPECT_EQ(Run("stage --help"), 0);
    EXPECT_EQ(Run("--version"), 0);
    EXPECT_EQ(out, "velmorinctl " VELMORIN_VERSION "\n");
}

TEST_F(Ctl, StagesForThePortThatGoesWithTheAddress) {
    const std::pair<const char*, const char*> cases[] = {
        {"--charge 0xE0 --device ff --update 0", "e0|1|255|00"},
        {"--charge e1 --device 1 --update A", "e1|2|1|0a"},
        {"--charge e2 --device 1 --update a", "e2|0|1|0a"},
        {"--charge e0 --device 1 --update a --port 7", "e0|7|1|0a"},
    };
    for (const auto& [options, row] : cases) {
        std::filesystem::remove(bench.StagingFile());
        EXPECT_EQ(Run("stage " + bench.Write("image", "data") + " " + options), 0) << err;
        EXPECT_EQ(err, "");
        EXPECT_EQ(Sql("SELECT chargeaddress,caninterface,devtype,updateaddress FROM tag_history"), Rows{row});
    }
    EXPECT_TRUE(
        out.ends_with(" ms\nstaged: job " + Sql("SELECT timestamp FROM tag_history")[0] + ", 4 bytes\n"))
        << out;
}

TEST_F(Ctl, StageSaysWhatKeepsAnImageOutOrWhatItWillMeet) {
    EXPECT_EQ(Run(Staging("/no/such")), 1);
    EXPECT_EQ(err, "file:: No such file or directory\nvelmorinctl: /no/such: missing or empty\n");
    EXPECT_EQ(Run(Staging(bench.Root().string())), 1);
    EXPECT_EQ(Run(Staging(bench.Write(std::string(128, 'x') + ".tar.gz", "image"))), 1);
    EXPECT_EQ(Sql("SELECT * FROM tag_history"), Rows{});

    const std::string first = CtlStage("odd");
    EXPECT_EQ(err,
              "velmorinctl: note: the image's size is no multiple of 4, so it has no CRC A: only a device "
              "that asks for CRC B can take it\n");
    CtlStage("even");  // within the same second, but not under the same timestamp
    EXPECT_EQ(err, "velmorinctl: note: job " + first +
                       " is open, too, and comes first; if nobody will finish it: velmorinctl close " +
                       first + "\n");
    EXPECT_EQ(Sql("SELECT count(DISTINCT timestamp) FROM tag_history"), Rows{"2"});
}

TEST_F(Ctl, ExportsToANewFileOnlyAndDownloadsNothingDamaged) {
    const std::pair<const char*, const char*> cases[] = {
        {"DELETE FROM tag_data WHERE id=300", "group 2: 255 of 256 packets"},
        {"DELETE FROM tag_infor WHERE id=3", "2 of 3 groups"},
        {"UPDATE tag_data SET data='01102000deadbeef' WHERE id=1", "group 1: its checksum is wrong"},
        {"UPDATE tag_data SET datalen=200 WHERE id=5", "group 1: packet 4 is damaged"},
        {"UPDATE tag_data SET dataid=-1 WHERE id=5", "group 1: packet 4 is damaged"},
        {"UPDATE tag_data SET datalen=8 WHERE id=513", "group 3: packet 0 is damaged"},
        {"UPDATE tag_data SET data='02' || substr(data,3) WHERE id=5", "group 1: packet 4 is damaged"},
        {"UPDATE tag_infor SET canid='0079e08a' WHERE id=2", "group 2: its row is damaged"},
        {"UPDATE tag_infor SET state=1 WHERE id=2", "group 2: its row is damaged"},
        {"UPDATE tag_infor SET count=255 WHERE id=1", "group 1: its row is damaged"},
        {"UPDATE tag_infor SET crc32A='00000000' WHERE id=1", "group 1: its checksum is wrong"},
        {"UPDATE tag_history SET crcB='00000000'", "the checksum of the image is wrong"},
        {"UPDATE tag_history SET filesize=3000", "group 3: 1 of 238 packets"},
        {"UPDATE tag_history SET filesize=-1", "a size of -1 bytes"},
    };
    const std::string job = "job " + CtlStage(TestImage(2050));
    const std::string path = "/mnt/nandflash/app/exported", resolved = bench.Root().string() + path;
    EXPECT_EQ(Run("export " + path), 0) << err;
    EXPECT_TRUE(BenchDir::Read(resolved) == TestImage(2050));
    EXPECT_EQ(Run("export " + path), 1);
    EXPECT_EQ(err, "velmorinctl: " + path + ": File exists\n");

    const std::string good = BenchDir::Read(bench.StagingFile());
    for (const auto& [sql, damage] : cases) {
        bench.Write("mnt/nandflash/app/chargeupdate.db", good);
        Sql(sql);
        const std::string before = BenchDir::Read(bench.StagingFile());
        std::filesystem::remove(resolved);
        EXPECT_EQ(Run("export " + path), 1);
        EXPECT_NE(err.find("velmorinctl: " + job + ": damaged: " + damage + "\n"), std::string::npos) << err;
        EXPECT_TRUE(std::filesystem::exists(resolved)) << "as far as it goes";
        EXPECT_EQ(Run("download"), 1);  // there is no bus: it gives up before that
        EXPECT_EQ(err, "velmorinctl: " + job + ": damaged, not downloaded: " + damage +
                           "; close it and stage the image again\n");
        EXPECT_TRUE(BenchDir::Read(bench.StagingFile()) == before) << sql;
    }
}

TEST_F(Ctl, CleansRowsAndClosesOpenJobsOfThatTimestampOnly) {
    const std::string job = CtlStage(TestImage(5000));
    Sql("INSERT INTO tag_infor(address) SELECT address FROM tag_data");  // more than a page of them
    const auto size = std::filesystem::file_size(bench.StagingFile());
    EXPECT_EQ(Run("clean"), 0) << err;
    EXPECT_EQ(Sql("SELECT (SELECT count(*) FROM tag_infor), (SELECT count(*) FROM tag_data)"), Rows{"0|0"});
    EXPECT_LT(std::filesystem::file_size(bench.StagingFile()), size / 2);
    EXPECT_EQ(Run("download"), 1);
    EXPECT_EQ(err, "velmorinctl: job " + job + ": it is open, but nothing is staged of it; if nobody will " +
                       "finish it: velmorinctl close " + job + "\n");

    Sql("INSERT INTO tag_history(state,result,timeuse,timestamp) VALUES(1,0,45," + job + "),(0,3,45," + job +
        "),(0,-1,0,8)");
    EXPECT_EQ(Run("close " + job), 0);
    EXPECT_EQ(out, "closed: job " + job + ", interrupted\n");
    EXPECT_EQ(Sql("SELECT state,result,timeuse FROM tag_history"),
              (Rows{"1|13|0", "1|0|45", "0|3|45", "0|-1|0"}));
    EXPECT_EQ(Run("close " + job), 1);
    EXPECT_EQ(err, "velmorinctl: job " + job + ": no open job has this timestamp\n");
    EXPECT_EQ(Run("close 8"), 0);
    EXPECT_EQ(Run("download"), 1);
    EXPECT_EQ(err, "velmorinctl: " + bench.StagingFile() + ": no job is open\n");
}

class CtlFaults : public Ctl {
  protected:
    std::string Content() const { return BenchDir::Read(bench.StagingFile()); }

    /// Every command that writes fails with this complaint of the core and a line of its own.
    void ExpectRefused(const std::string& complaint, const Words& program = {VELMORINCTL}) {
        for (const std::string& command :
             {Staging(image), std::string("download"), "close " + job, std::string("clean")}) {
            EXPECT_EQ(Run(command, program), 1) << command;
            EXPECT_NE(err.find(complaint), std::string::npos) << command << ": " << err;
            EXPECT_NE(err.find("velmorinctl: "), std::string::npos) << command;
        }
    }

    const std::string job = CtlStage(TestImage(1024));
    const std::string image = bench.Write("next", TestImage(20000));
};

TEST_F(CtlFaults, HeldAndForeignFilesAreNamedAndStayAsTheyAre) {
    const std::string good = Content();
    const struct {
        std::string content;
        const char* held;
        const char* complaint;
        int jobs;
    } cases[] = {
        {good, "BEGIN IMMEDIATE", "insert database error!: database is locked\n", 0},
        {good, "BEGIN EXCLUSIVE", "database is locked\n", 1},
        {std::string(5000, 'x'), "", "file is not a database\n", 1},
        {"", "", "no such table: ", 1},
        {good.substr(0, 4096) + std::string(good.size() - 4096, 'Z'), "", "disk image is malformed\n", 1},
    };
    for (const auto& c : cases) {
        bench.Write("mnt/nandflash/app/chargeupdate.db", c.content);
        sqlite3* other = nullptr;
        ASSERT_EQ(sqlite3_open(bench.StagingFile().c_str(), &other), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(other, c.held, nullptr, nullptr, nullptr), SQLITE_OK);
        ExpectRefused(c.complaint);
        EXPECT_EQ(Run("jobs"), c.jobs) << err;
        sqlite3_close(other);
        EXPECT_TRUE(Content() == c.content) << c.complaint;
    }
}

TEST_F(CtlFaults, ReadOnlyFileIsStillReadAndLoaded) {
    Sql("DROP INDEX tag_data_group");  // as another program may have staged it
    const std::string before = Content();
    chmod(bench.StagingFile().c_str(), 0444);
    std::filesystem::create_directory(bench.Root() / "open");
    chmod((bench.Root() / "open").c_str(), 0777);
    Words program = {VELMORINCTL};
    if (geteuid() == 0) {  // root may write all the same; the program's own folder may be closed to others
        chmod(bench.Root().c_str(), 0755);
        program = {"/usr/bin/setpriv", "--reuid=65534", "--clear-groups",
                   "/proc/self/fd/" + std::to_string(open(VELMORINCTL, O_RDONLY))};
    }
    EXPECT_EQ(Run("jobs", program), 0) << err;
    ExpectRefused("insert database error!: attempt to write a readonly database\n", program);
    EXPECT_TRUE(Content() == before);
    const std::string exported = (bench.Root() / "open/image").string();
    EXPECT_EQ(Run("export " + exported, program), 0) << err;
    EXPECT_TRUE(BenchDir::Read(exported) == TestImage(1024));
}

TEST_F(CtlFaults, FullDiskStagesNothingThatCouldBeDownloaded) {
    // The file may grow to 100 KiB: some groups of the image fit in.
    EXPECT_EQ(Run(Staging(image), {"/bin/bash", "-c", "ulimit -f 100; exec " VELMORINCTL " \"$@\"", "bash"}),
              1);
    EXPECT_NE(err.find("insert database error!: disk I/O error\n"), std::string::npos) << err;
    EXPECT_NE(err.find(bench.StagingFile() + ": the image is not staged whole: "), std::string::npos) << err;
    EXPECT_EQ(Sql("PRAGMA integrity_check"), Rows{"ok"});
    EXPECT_EQ(Sql("SELECT state,result FROM tag_history ORDER BY id"), (Rows{"0|-1", "1|13"}));
    EXPECT_EQ(Run("export /mnt/nandflash/app/exported"), 0) << err;
    EXPECT_TRUE(BenchDir::Read(bench.Root() / "mnt/nandflash/app/exported") == TestImage(1024))
        << "the job before is whole";
}

class CtlDownload : public Ctl {
  protected:
    void StartDevice(const Words& options = {}) {
        Words command = {VELMORIN_SIM, "--bench", bench.Root(), "--save", saved, "--log", log, "--once"};
        command.insert(command.end(), options.begin(), options.end());
        device = std::make_unique<Process>(command);
        ASSERT_TRUE(device->WaitForOutput("ready")) << device->errors;
    }

    /// State and result of the job, and how many groups and packets are staged.
    Rows Recorded() const {
        return Sql(
            "SELECT state,result,(SELECT count(*) FROM tag_infor),(SELECT count(*) FROM tag_data) "
            "FROM tag_history");
    }

    /// A download that has begun.
    void StartDownload() {
        CtlStage(TestImage(1024));
        StartDevice();
        program = std::make_unique<Process>(Words{VELMORINCTL, "download"});
        ASSERT_TRUE(program->WaitForOutput("groupaddress")) << program->errors;
    }

    const std::string saved = bench.Root() / "received", log = bench.Root() / "log";
    std::unique_ptr<Process> device, program;
};

TEST_F(CtlDownload, DeliversImagesUnderBothPlans) {
    const struct {
        const char* plan;
        const char* name;
        std::size_t size;
        const char* request;  // with an archive's exact size
        bool noted;
    } cases[] = {
        {"A", "fw.bin", 2048, " 1074E08A#0110200000000000", false},
        {"B", "fw.tar.gz", 1030, " 1074E08A#0110200604000000", true},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(bench.StagingFile());
        std::filesystem::remove(saved);
        const std::string job = CtlStage(TestImage(c.size), c.name);
        StartDevice({"--plan", c.plan});
        EXPECT_EQ(Run("download"), 0) << err;
        EXPECT_TRUE(out.ends_with(" ms\njob " + job + ": success\n")) << out;
        EXPECT_EQ(err.find("only a device that asks for CRC B can take it") != std::string::npos, c.noted)
            << err;
        EXPECT_EQ(device->Wait(), 0) << device->output;
        EXPECT_TRUE(BenchDir::Read(saved) == TestImage(c.size));
        EXPECT_NE(BenchDir::Read(log).find(c.request), std::string::npos);
        EXPECT_EQ(Recorded(), Rows{"1|0|0|0"});
    }
}

TEST_F(CtlDownload, StaysStagedWithoutABusAndEndsWithTheDevicesReason) {
    const std::string job = CtlStage(TestImage(1024));
    EXPECT_EQ(Run("download"), 1);
    EXPECT_EQ(err, "SIOCGIFINDEX: No such device\n");
    EXPECT_EQ(Recorded(), Rows{"0|-1|1|256"});

    StartDevice({"--refuse-start", "3"});
    EXPECT_EQ(Run("download"), 1);
    EXPECT_EQ(err, "velmorinctl: job " + job + ": download refused by the device\n");
    EXPECT_EQ(Recorded(), Rows{"1|10|0|0"});
}

TEST_F(CtlDownload, SignalEndsTheJobAsInterrupted) {
    StartDownload();
    program->Signal(SIGTERM);
    EXPECT_EQ(program->Wait(), 143);
    EXPECT_NE(program->errors.find(": interrupted\n"), std::string::npos) << program->errors;
    EXPECT_EQ(Recorded(), Rows{"1|13|0|0"});
}

TEST_F(CtlDownload, ResultThatCannotBeRecordedIsAFailure) {
    StartDownload();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(bench.StagingFile().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(program->Wait(), 1);
    sqlite3_close(other);
    EXPECT_NE(program->output.find(": success\n"), std::string::npos) << "the device has its image";
    EXPECT_NE(program->errors.find(bench.StagingFile() + ": job "), std::string::npos) << program->errors;
    EXPECT_EQ(Recorded(), Rows{"0|-1|1|256"});
}

}  // namespace
