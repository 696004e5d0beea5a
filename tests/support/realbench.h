// The real programs on a bench: one updater, and a device that is there before it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "benchdir.h"
#include "process.h"
#include "sqlrows.h"

class RealBench : public testing::Test {
  protected:
    using Words = std::vector<std::string>;

    void StartDevice(const Words& options = {}) {
        Words command = {VELMORIN_SIM, "--bench", bench.Root().string(), "--save", Saved(), "--log", Log()};
        command.insert(command.end(), options.begin(), options.end());
        device = std::make_unique<Process>(command);
        ASSERT_TRUE(device->WaitForOutput("ready")) << device->errors;
    }

    /// Starts velmorin with an image of so many bytes; by way of `sh` when there is something to do before.
    void StartUpdater(std::size_t size, const std::string& shell = "",
                      const Process::Environment& environment = {}) {
        image = TestImage(size);
        Words command = {VELMORIN, bench.Write("image", image), "e0", "10", "20"};
        if (!shell.empty()) command.insert(command.begin(), {"/bin/sh", "-c", shell, "sh"});
        updater = std::make_unique<Process>(command, environment);
    }

    std::string Saved() const { return (bench.Root() / "received").string(); }
    std::string Log() const { return (bench.Root() / "log").string(); }
    bool IsDelivered() const { return BenchDir::Read(Saved()) == image; }

    /// `state|result` of every job.
    Words Results() const { return SqlRows(bench.StagingFile(), "SELECT state,result FROM tag_history"); }

    BenchDir bench;
    std::string image;
    std::unique_ptr<Process> device, updater;
};
