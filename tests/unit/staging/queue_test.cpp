// The queue beside the prescribed routines: the same rows, the same groups, and each change of one job alone.
#include <algorithm>
#include <cstring>
#include <tuple>

#include "stagedjob.h"
#include "staging_support.h"

using namespace velmorin;

namespace {

class Queue : public StagingFixture {
  protected:
    /// Stages the image for port 1, device e0, type 10, update address 20.
    JobRow Add(const std::string& image) const {
        JobRow job = DescribeJob(bench.Root() / "image", {0xE0, 0x10, 0x20}, image);
        EXPECT_FALSE(StageImage(kStagingFile, image, &job));
        return job;
    }

    /// Everything but the second of the job.
    Rows AllRows() const {
        return Sql(
            "SELECT id,state,name,chargeaddress,caninterface,devtype,updateaddress,filesize,result,timeuse,"
            "crcA,crcB FROM tag_history UNION ALL SELECT id,state,address,canid,count,crc32A,crc32B,"
            "savestamp=timestamp,0,0,0,0 FROM tag_infor,(SELECT timestamp FROM tag_history) UNION ALL "
            "SELECT id,state,address,canid,dataid,datalen,data,savestamp=timestamp,0,0,0,0 FROM "
            "tag_data,(SELECT timestamp FROM tag_history)");
    }

    /// `timestamp - that of job|state|result|groups|packets` of every job.
    Rows Jobs(const JobRow& job) const {
        return Sql("SELECT timestamp-" + std::to_string(job.timestamp) +
                   ",state,result,(SELECT count(*) FROM tag_infor WHERE savestamp=timestamp),"
                   "(SELECT count(*) FROM tag_data WHERE savestamp=timestamp) FROM tag_history ORDER BY id");
    }
};

TEST_F(Queue, RowsAndLoadedGroupsAreThoseOfThePacker) {
    for (const std::size_t size : {1U, 4U, 1024U, 1027U, 2050U}) {
        std::filesystem::remove(bench.StagingFile());
        const std::string bytes = TestImage(size);
        ASSERT_EQ(Stage(bytes), 0);
        const std::string path = (bench.Root() / "image").string();
        const Rows expected = AllRows();
        std::filesystem::remove(bench.StagingFile());
        JobRow job = Add(bytes);
        EXPECT_TRUE(AllRows() == expected) << size;

        std::string image, damage;
        EXPECT_FALSE(ReadStagedImage(kStagingFile, job, true, &image, &damage));
        std::list<s_addnode> groups, live;
        PackForDevice(image, &job, &groups);
        Capture([&] { packer.Pack_RuningV2(path.c_str(), &history, &live); });
        EXPECT_EQ(std::pair(job.crcA, job.crcB), std::pair(history.crcA, history.crcB));
        ASSERT_EQ(groups.size(), live.size());
        for (auto group = groups.begin(), same = live.begin(); same != live.end(); ++group, ++same) {
            EXPECT_EQ(std::tuple(group->state, group->addrstate, group->address, group->canid, group->count,
                                 group->crc32A, group->crc32B),
                      std::tuple(same->state, same->addrstate, same->address, same->canid, same->count,
                                 same->crc32A, same->crc32B));
            EXPECT_TRUE(std::ranges::equal(group->dataqueue, same->dataqueue,
                                           [](const s_datanode& a, const s_datanode& b) {
                                               return std::memcmp(&a.frame, &b.frame, sizeof a.frame) == 0;
                                           }));
        }
    }
    EXPECT_EQ(DescribeJob(std::string(128, 'x'), {}, "").name, "");
    EXPECT_EQ(DescribeJob(std::string(127, 'x'), {}, "").name.size(), 127U);
}

TEST_F(Queue, EveryJobHasASecondThatNoJobAndNoRowHas) {
    const JobRow first = Add("one");
    const auto second = [&](int after) { return std::to_string(first.timestamp + after); };
    Sql("INSERT INTO tag_infor(savestamp) VALUES(" + second(1) +
        "); INSERT INTO tag_data(savestamp) VALUES(" + second(2) +
        "); INSERT INTO tag_history(timestamp) VALUES(" + second(4) + ")");
    EXPECT_EQ(Add("two").timestamp, first.timestamp + 3);
    JobRow unstaged = DescribeJob("three", {0xE0, 0x10, 0x20}, "three");
    EXPECT_FALSE(InsertJob(kStagingFile, &unstaged));
    EXPECT_EQ(unstaged.timestamp, first.timestamp + 5);
}

TEST_F(Queue, EachChangeIsOfOneJobAlone) {
    const auto yes = [] { return Fault{}; };
    const JobRow first = Add("one"), second = Add("two"), third = Add("three"), fourth = Add("four");
    Sql("INSERT INTO tag_history VALUES(NULL,1,'','e0',1,16,'20',1,0,5,'',''," +
        std::to_string(first.timestamp) + ")");  // of another program, in the same second
    EXPECT_FALSE(RecordResult(kStagingFile, first, 12, 345));
    EXPECT_FALSE(CloseJob(kStagingFile, third.timestamp, yes));
    EXPECT_EQ(Jobs(second), (Rows{"-1|1|12|0|0", "0|0|-1|1|1", "1|1|13|0|0", "2|0|-1|1|1", "-1|1|0|0|0"}));

    // An open job's rows stay; those of a closed one, of no job and without a second go.
    Sql("UPDATE tag_history SET state=1 WHERE id=2; UPDATE tag_data SET savestamp=NULL WHERE id=1;"
        "INSERT INTO tag_infor(savestamp) VALUES(5),(NULL)");
    Cleaned cleaned;
    EXPECT_FALSE(CleanUnowned(kStagingFile, &cleaned));
    EXPECT_EQ(std::tuple(cleaned.groups, cleaned.packets, cleaned.shrunk), std::tuple(3, 1, true));
    EXPECT_EQ(Jobs(fourth).at(3), "0|0|-1|1|1");
    EXPECT_EQ(RecordResult(kStagingFile, JobRow{}, 0, 0).kind, FaultKind::kNoJob);
}

}  // namespace
