// What the staging tests share: a bench with a staging file, an image that is staged and loaded again.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <string>

#include "Load.h"
#include "Packdata.h"
#include "benchdir.h"
#include "db.h"
#include "sqlrows.h"

class StagingFixture : public testing::Test {
  protected:
    using Rows = std::vector<std::string>;

    /// Does `work`; `out` and `err` are what it prints.
    void Capture(const std::function<void()>& work) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        work();
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
    }

    void MakeStagingFile() {
        Capture([] { db().DB_CreateTable(velmorin::kStagingFile, nullptr); });
    }

    /// Stages the image for port 1, device e0, type 10, update address 20. The packer's code.
    int Stage(const std::string& image) {
        const std::string path = bench.Write("image", image);
        int result = 0;
        Capture([&] {
            EXPECT_EQ(packer.Pack_Init(1, 0xE0, 0x10, 0x20), 0);
            EXPECT_EQ(packer.Pack_SetCanPort(1) | packer.Pack_SetChargeAddress(0xE0) |
                          packer.Pack_SetDevType(0x10) | packer.Pack_SetUpAddress(0x20),
                      0);
            result = packer.Pack_Runing(path.c_str());
        });
        return result;
    }

    void LoadStaged() {
        Capture([&] { EXPECT_EQ(loader.Load_DbToCache(&history, &cache), 0); });
    }

    /// What the self-check writes.
    std::string Payload() {
        const std::string path = bench.Write("payload", "");
        Capture([&] { EXPECT_EQ(loader.Load_UnitTest(&cache, path.c_str()), 0); });
        return BenchDir::Read(path);
    }

    Rows Sql(const std::string& query) const { return SqlRows(bench.StagingFile(), query); }

    BenchDir bench;
    PackData packer;
    Load loader;
    s_history history{};
    std::list<s_addnode> cache;
    std::string out, err;
};
