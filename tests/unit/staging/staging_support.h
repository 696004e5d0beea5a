// What the staging tests share: a bench with a staging file, an image that is staged and loaded again.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <list>
#include <random>
#include <string>

#include "Load.h"
#include "Packdata.h"
#include "benchdir.h"
#include "db.h"
#include "sqlrows.h"

struct Printed {
    std::string out, err;
};

/// What `work` prints.
template <typename Work>
Printed PrintedBy(const Work& work) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    work();
    std::string out = testing::internal::GetCapturedStdout();
    return {std::move(out), testing::internal::GetCapturedStderr()};
}

/// A seed from VELMORIN_SEED, else a new one; printed either way.
inline unsigned int Seed() {
    const char* given = std::getenv("VELMORIN_SEED");
    const unsigned int seed = given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                                               : std::random_device()();
    std::printf("VELMORIN_SEED=%u\n", seed);
    return seed;
}

class StagingFixture : public testing::Test {
  protected:
    using Rows = std::vector<std::string>;

    /// Stages the image for port 1, device e0, type 10, update address 20. The packer's code.
    int Stage(const std::string& image) {
        const std::string path = bench.Write("image", image);
        int result = 0;
        printed = PrintedBy([&] {
            packer.Pack_Init(1, 0xE0, 0x10, 0x20);
            result = packer.Pack_Runing(path.c_str());
        });
        return result;
    }

    void LoadStaged() {
        history = {};
        printed = PrintedBy([&] { EXPECT_EQ(loader.Load_DbToCache(&history, &cache), 0); });
    }

    /// What the self-check writes.
    std::string Payload() {
        const std::string path = (bench.Root() / "payload").string();
        std::filesystem::remove(path);
        printed = PrintedBy([&] { EXPECT_EQ(loader.Load_UnitTest(&cache, path.c_str()), 0); });
        return BenchDir::Read(path);
    }

    Rows Sql(const std::string& query) const { return SqlRows(bench.StagingFile(), query); }

    BenchDir bench;
    PackData packer;
    Load loader;
    s_history history{};
    std::list<s_addnode> cache;
    Printed printed;
};
