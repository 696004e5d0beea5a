// velmorinctl and a device on a bench.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "benchdir.h"
#include "process.h"
#include "sqlrows.h"

class CtlBench : public testing::Test {
  protected:
    using Json = nlohmann::json;
    using Words = std::vector<std::string>;

    static Words Split(const std::string& line) {
        std::istringstream words(line);
        return {std::istream_iterator<std::string>(words), {}};
    }

    void StartDevice(const std::string& options = "") {
        Words command = {VELMORIN_SIM, "--bench", bench.Root(), "--save", saved};
        for (const std::string& word : Split(options)) command.push_back(word);
        device = std::make_unique<Process>(command);
        ASSERT_TRUE(device->WaitForOutput("ready")) << device->errors;
    }

    static std::unique_ptr<Process> Start(const std::string& line, Words command = {VELMORINCTL}) {
        for (const std::string& word : Split(line)) command.push_back(word);
        return std::make_unique<Process>(command);
    }

    /// Runs velmorinctl to its end; the exit status.
    int Run(const std::string& line, const Words& command = {VELMORINCTL}) {
        const auto program = Start(line, command);
        const int status = program->Wait();
        out = program->output;
        err = program->errors;
        return status;
    }

    /// The events that --json printed.
    std::vector<Json> Events() const {
        std::vector<Json> events;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) events.push_back(Json::parse(line));
        return events;
    }

    bool Says(const std::string& text) const { return err.find(text) != std::string::npos; }
    /// `state|result` of every job.
    Words Results() const { return SqlRows(bench.StagingFile(), "SELECT state,result FROM tag_history"); }
    bool IsDelivered() const { return BenchDir::Read(saved) == image; }

    BenchDir bench;
    const std::string saved = bench.Root() / "received";
    const std::string image = TestImage(1500);
    const std::string target = bench.Write("image", image) + " --charge e0 --device 10 --update 20";
    const std::string update = "update " + target;
    std::unique_ptr<Process> device;
    std::string out, err;
};
