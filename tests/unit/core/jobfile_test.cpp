// What the job file sets, and what it leaves alone.
#include <gtest/gtest.h>

#include <string>

#include "benchdir.h"
#include "canframe.h"

namespace {

class JobFile : public testing::Test {
  protected:
    int Load(const std::string& content) {
        bench.Write("mnt/nandflash/download/update.conf", content);
        return session.LoadFirewareInfo();
    }

    BenchDir bench;
    canframe session;
};

TEST_F(JobFile, SetsEveryFieldWhateverTheLineEnds) {
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        canframe fresh;
        bench.Write("mnt/nandflash/download/update.conf",
                    "# update job" + end + end + "PortSN=1" + end + "desDeviceAddress=138" + end +
                        "desDeviceType=3" + end + "desSubDeviceAddress=4" + end + "desFuncIndex=2" + end +
                        "desFirewareName=/mnt/nandflash/download/a b=c.bin" + end + "desFirewareType=7" +
                        end);
        EXPECT_EQ(fresh.LoadFirewareInfo(), 0);
        EXPECT_EQ(fresh.m_canport, 1);
        EXPECT_EQ(fresh.m_chargeaddress, 138);
        EXPECT_EQ(fresh.m_devtype, 3);
        EXPECT_EQ(fresh.m_updateaddress, 4);
        EXPECT_EQ(fresh.m_funcindex, 2);
        EXPECT_EQ(fresh.m_firewaretype, 7);
        EXPECT_EQ(fresh.m_firewarename, "/mnt/nandflash/download/a b=c.bin");
    }
}

TEST_F(JobFile, ReadsNumbersAsTheyCome) {
    const struct {
        const char* value;
        unsigned int read;
    } cases[] = {{"138", 138},   {"0x8A", 0}, {"-1", 4294967295U},
                 {" 42abc", 42}, {"", 0},     {"99999999999", 4294967295U},
                 {"=1", 0},      {"none", 0}};
    for (const auto& c : cases) {
        session.m_chargeaddress = 5;
        EXPECT_EQ(Load(std::string("desDeviceAddress=") + c.value), 0);
        EXPECT_EQ(static_cast<unsigned int>(session.m_chargeaddress), c.read) << c.value;
    }
}

TEST_F(JobFile, IgnoresWhatIsNoKeyOfItsOwn) {
    session.m_canport = 9;
    EXPECT_EQ(Load("#PortSN=2\n #PortSN=3\nPortSN = 4\nportsn=5\nPortSN \n=\n\nXPortSN=6\n"), 0);
    EXPECT_EQ(session.m_canport, 9);
    EXPECT_EQ(Load("PortSN\n"), 0);
    EXPECT_EQ(session.m_canport, 0) << "a key by itself has an empty value";
    EXPECT_EQ(Load("PortSN=1\nPortSN=5\n"), 0);
    EXPECT_EQ(session.m_canport, 5) << "the last one wins";
    EXPECT_EQ(Load(""), 0);
    EXPECT_EQ(session.m_canport, 5);
}

TEST_F(JobFile, NulsEndLinesAndBinaryIsHarmless) {
    EXPECT_EQ(Load(std::string("PortSN=1\0desDeviceType=2\0\nPortSN=3\xFF\0", 35)), 0);
    EXPECT_EQ(session.m_canport, 3);
    EXPECT_EQ(session.m_devtype, 2);
}

TEST_F(JobFile, FileThatCannotBeReadIsAnErrorWithoutAWord) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(session.LoadFirewareInfo(), -1);
    std::filesystem::create_directory(bench.JobFile());
    EXPECT_EQ(session.LoadFirewareInfo(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

}  // namespace
