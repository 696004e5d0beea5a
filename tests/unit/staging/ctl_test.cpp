// velmorinctl as its users see it: what it prints, what it leaves in the staging file, its exit status.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "ctl_support.h"

namespace {

class Ctl : public CtlFixture {};

TEST_F(Ctl, ListsJobsInColumnsThatNoNameCanBreak) {
    MakeStagingFile();
    Sql("INSERT INTO tag_history VALUES"
        "(NULL,1,'/fw/it''s 固件.bin','e0',1,16,'20',1048576,0,2621440,'8b0a5208','efb5af2e',1700000000),"
        "(NULL,1,CAST(X'610A1B5B32F0' AS TEXT) || char(0x202e) || "
        "'\\','7',0,16,'20',9,12,45,'','',1700000001),"
        "(NULL,0,'','e1',2,16,'2a',2050,-1,0,'ffffffff','c4470a13',1700000002)");
    ASSERT_EQ(Run({"jobs"}), 0);
    const char* lines[] = {
        "TIME                  TIMESTAMP  ADDRESS     SIZE  STATE   RESULT                             "
        "DURATION  IMAGE",
        "2023-11-14 22:13:20  1700000000       e0  1048576  closed  success                          "
        "2621.440 s  "
        "/fw/it's 固件.bin",
        "2023-11-14 22:13:21  1700000001       07        9  closed  a group was refused three times     "
        "0.045 s  "
        "a\\x0a\\x1b[2\\xf0\\xe2\\x80\\xae\\\\",
        "2023-11-14 22:13:22  1700000002       e1     2050  open    open                                     "
        " -  -",
    };
    std::string table;
    for (const char* line : lines) table += std::string(line) + "\n";
    EXPECT_EQ(out, table);
    EXPECT_EQ(err, "");

    ASSERT_EQ(Run({"jobs", "--json"}), 0);
    const auto jobs = nlohmann::json::parse(out);
    ASSERT_EQ(jobs.size(), 3U);
    EXPECT_EQ(jobs[0], nlohmann::json::parse(R"({
        "timestamp": 1700000000, "time": "2023-11-14T22:13:20+0000", "image": "/fw/it's 固件.bin",
        "charge_address": 224, "charge_address_hex": "e0", "port": 1, "device_type": 16, "update_address": 32,
        "size": 1048576, "state": 1, "state_text": "closed", "result": 0, "result_text": "success",
        "duration_ms": 2621440, "crc_a": "8b0a5208", "crc_b": "efb5af2e"})"));
    EXPECT_EQ(jobs[1]["image"], "a\n\x1b[2\xEF\xBF\xBD\xE2\x80\xAE\\");
    EXPECT_EQ(jobs[2]["result_text"], "open");
}

TEST_F(Ctl, ListsAnEmptyFileAndRefusesAMissingOne) {
    EXPECT_EQ(Run({"jobs", "--json"}), 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "velmorinctl: " + bench.StagingFile() + ": No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));

    MakeStagingFile();
    EXPECT_EQ(Run({"jobs", "--json"}), 0);
    EXPECT_EQ(out, "[]\n");
    EXPECT_EQ(Run({"jobs"}, {"/bin/sh", "-c", "exec " VELMORINCTL " \"$@\" > /dev/full", "sh"}), 1);
    EXPECT_EQ(err, "velmorinctl: standard output: No space left on device\n");
}

TEST_F(Ctl, TakesNothingButWholeNumbersInTheirRange) {
    const std::string image = bench.Write("image", "image");
    const Words good = {"stage", image, "--charge", "e0", "--device", "10", "--update", "20"};
    std::vector<Words> wrong = {{},
                                {"job"},
                                {"jobs", "x"},
                                {"stage"},
                                {"export"},
                                {"close"},
                                {"close", "x"},
                                {"close", "1x"},
                                {"close", "-1"},
                                {"close", "2147483648"},
                                {"close", "1", "2"},
                                {"download", "x"},
                                {"clean", "x"},
                                {"stage", image, "--charge", "e0"}};
    for (const char* value : {"100", "-1", "g", "", "0x", "1 ", "+1", "1.0"}) {
        wrong.push_back(good);
        wrong.back()[3] = value;
    }
    for (const char* value : {"256", "-1", "a", ""}) {
        wrong.push_back(good);
        wrong.back().insert(wrong.back().end(), {"--port", value});
    }
    for (const Words& arguments : wrong) {
        EXPECT_EQ(Run(arguments), 2) << testing::PrintToString(arguments);
        EXPECT_EQ(out, "") << testing::PrintToString(arguments);
        EXPECT_NE(err, "") << testing::PrintToString(arguments);
    }
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
    EXPECT_EQ(Run({"--version"}), 0);
    EXPECT_EQ(out, "velmorinctl " VELMORIN_VERSION "\n");
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_EQ(Run({"stage", "--help"}), 0);
}

TEST_F(Ctl, StagesForThePortThatGoesWithTheAddress) {
    const std::string image = bench.Write("image", "data");
    const struct {
        Words options;
        const char* row;
    } cases[] = {
        {{"--charge", "0xE0", "--device", "ff", "--update", "0"}, "e0|1|255|00"},
        {{"--charge", "e1", "--device", "1", "--update", "A"}, "e1|2|1|0a"},
        {{"--charge", "e2", "--device", "1", "--update", "a"}, "e2|0|1|0a"},
        {{"--charge", "e0", "--device", "1", "--update", "a", "--port", "7"}, "e0|7|1|0a"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(bench.StagingFile());
        Words arguments = {"stage", image};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        ASSERT_EQ(Run(arguments), 0) << err;
        EXPECT_EQ(err, "");
        EXPECT_EQ(Sql("SELECT chargeaddress,caninterface,devtype,updateaddress FROM tag_history"),
                  Rows{c.row});
    }
    EXPECT_EQ(out, "CAN ID:1079e08a\nsend file size:4\n" +
                       out.substr(out.find("save data"), out.find("staged: ") - out.find("save data")) +
                       "staged: job " + Sql("SELECT timestamp FROM tag_history").front() + ", 4 bytes\n");
}

TEST_F(Ctl, StageSaysWhatKeepsAnImageOutOrWhatItWillMeet) {
    const auto stage = [&](const std::string& path) {
        return Run({"stage", path, "--charge", "e0", "--device", "10", "--update", "20"});
    };
    EXPECT_EQ(stage("/no/such"), 1);
    EXPECT_EQ(err, "file:: No such file or directory\nvelmorinctl: /no/such: missing or empty\n");
    EXPECT_EQ(stage(bench.Write("empty", "")), 1);
    EXPECT_EQ(stage(bench.Root().string()), 1);
    const std::string long_name = std::string(128, 'x') + ".tar.gz";
    EXPECT_EQ(stage(bench.Write(long_name, "image")), 1);
    EXPECT_EQ(Sql("SELECT * FROM tag_history"), Rows{});

    CtlStage("odd");
    EXPECT_EQ(
        err,
        "velmorinctl: note: the image's size is no multiple of 4, so it has no CRC A: only a device that "
        "asks for CRC B can take it\n");
    const std::string first = Sql("SELECT timestamp FROM tag_history").front();
    CtlStage("even");  // within the same second, but not under the same timestamp
    EXPECT_EQ(err, "velmorinctl: note: job " + first +
                       " is open, too, and comes first; if nobody will finish it: velmorinctl close " +
                       first + "\n");
    EXPECT_EQ(Sql("SELECT count(DISTINCT timestamp) FROM tag_history"), Rows{"2"});
}

TEST_F(Ctl, ExportsWhatWasStagedToANewFileOnly) {
    const std::string image = TestImage(2050);
    CtlStage(image);
    const std::string path = (bench.Root() / "exported").string();
    ASSERT_EQ(Run({"export", path}), 0) << err;
    EXPECT_TRUE(BenchDir::Read(path) == image);
    EXPECT_EQ(Run({"export", path}), 1);
    EXPECT_EQ(err, "velmorinctl: " + path + ": File exists\n");
    EXPECT_TRUE(BenchDir::Read(path) == image);
    EXPECT_EQ(Run({"export", "/no/such/folder/file"}), 1);
    EXPECT_EQ(err, "velmorinctl: /no/such/folder/file: No such file or directory\n");
    EXPECT_EQ(Run({"export", "/mnt/nandflash/app/image"}), 0);
    EXPECT_TRUE(BenchDir::Read(bench.Root() / "mnt/nandflash/app/image") == image);
}

TEST_F(Ctl, DamagedRowsAreExportedAsFarAsTheyGoAndNeverDownloaded) {
    const struct {
        const char* sql;
        const char* damage;
    } cases[] = {
        {"DELETE FROM tag_data WHERE id=300", "group 2: 255 of 256 packets"},
        {"DELETE FROM tag_infor WHERE id=3", "2 of 3 groups"},
        {"INSERT INTO tag_data SELECT NULL,state,address,canid,dataid,datalen,data,savestamp FROM tag_data "
         "WHERE id=1",
         "group 1: 257 of 256 packets"},
        {"UPDATE tag_data SET data='01102000deadbeef' WHERE id=1", "group 1: its checksum is wrong"},
        {"UPDATE tag_data SET datalen=200 WHERE id=5", "group 1: packet 4 is damaged"},
        {"UPDATE tag_data SET dataid=-1 WHERE id=5", "group 1: packet 4 is damaged"},
        {"UPDATE tag_data SET datalen=8 WHERE id=513", "group 3: packet 0 is damaged"},
        {"UPDATE tag_data SET data='02' || substr(data,3) WHERE id=5", "group 1: packet 4 is damaged"},
        {"UPDATE tag_infor SET canid='0079e08a' WHERE id=2", "group 2: its row is damaged"},
        {"UPDATE tag_infor SET state=1 WHERE id=2", "group 2: its row is damaged"},
        {"UPDATE tag_infor SET crc32A='00000000' WHERE id=1", "group 1: its checksum is wrong"},
        {"UPDATE tag_history SET crcB='00000000'", "the checksum of the image is wrong"},
        {"UPDATE tag_history SET filesize=3000", "group 3: 1 of 238 packets"},
        {"UPDATE tag_history SET filesize=-1", "a size of -1 bytes"},
    };
    CtlStage(TestImage(2050));
    std::filesystem::copy_file(bench.StagingFile(), bench.Root() / "good");
    const std::string job = "job " + Sql("SELECT timestamp FROM tag_history").front();
    const std::string path = (bench.Root() / "exported").string();
    for (const auto& c : cases) {
        std::filesystem::copy_file(bench.Root() / "good", bench.StagingFile(),
                                   std::filesystem::copy_options::overwrite_existing);
        Sql(c.sql);
        const std::string before = BenchDir::Read(bench.StagingFile());
        std::filesystem::remove(path);
        EXPECT_EQ(Run({"export", path}), 1);
        EXPECT_NE(err.find("velmorinctl: " + job + ": damaged: " + c.damage + "\n"), std::string::npos)
            << err;
        EXPECT_TRUE(std::filesystem::exists(path));
        EXPECT_EQ(Run({"download"}), 1);  // there is no bus: it gives up before that
        EXPECT_EQ(err, "velmorinctl: " + job + ": damaged, not downloaded: " + c.damage +
                           "; close it and stage the image again\n");
        EXPECT_TRUE(BenchDir::Read(bench.StagingFile()) == before) << c.sql;
    }
}

TEST_F(Ctl, ClosesOpenJobsOfThatTimestampOnly) {
    MakeStagingFile();
    Sql("INSERT INTO tag_history VALUES(NULL,1,'done','e0',1,16,'20',9,0,45,'','',7),"
        "(NULL,0,'open','e0',1,16,'20',9,-1,0,'','',7),(NULL,0,'other','e0',1,16,'20',9,-1,0,'','',8)");
    EXPECT_EQ(Run({"close", "7"}), 0);
    EXPECT_EQ(out, "closed: job 7, interrupted\n");
    EXPECT_EQ(Sql("SELECT name,state,result,timeuse FROM tag_history"),
              (Rows{"done|1|0|45", "open|1|13|0", "other|0|-1|0"}));
    for (const char* timestamp : {"7", "9"}) {
        EXPECT_EQ(Run({"close", timestamp}), 1);
        EXPECT_EQ(err, std::string("velmorinctl: job ") + timestamp + ": no open job has this timestamp\n");
    }
}

TEST_F(Ctl, CleansRowsAndKeepsJobs) {
    CtlStage(TestImage(5000));
    const auto size = std::filesystem::file_size(bench.StagingFile());
    EXPECT_EQ(Run({"clean"}), 0) << err;
    EXPECT_EQ(Sql("SELECT (SELECT count(*) FROM tag_infor), (SELECT count(*) FROM tag_data), count(*) FROM "
                  "tag_history"),
              Rows{"0|0|1"});
    EXPECT_LT(std::filesystem::file_size(bench.StagingFile()), size / 2);
    const std::string job = Sql("SELECT timestamp FROM tag_history").front();
    for (const char* command : {"download", "export"}) {
        EXPECT_EQ(Run(command == std::string("export") ? Words{command, "/tmp/never"} : Words{command}), 1);
        EXPECT_EQ(err, "velmorinctl: job " + job +
                           ": it is open, but nothing is staged of it; if nobody will finish "
                           "it: velmorinctl close " +
                           job + "\n");
    }
    EXPECT_EQ(Run({"close", job}), 0);
    EXPECT_EQ(Run({"download"}), 1);
    EXPECT_EQ(err, "velmorinctl: " + bench.StagingFile() + ": no job is open\n");
}

}  // namespace
