// Runs velmorinctl on a bench of the test's own.
#pragma once

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "process.h"
#include "staging_support.h"

/// Another process that has the staging file open with this statement done, until the object goes.
class Holder {
  public:
    Holder(const std::string& file, const char* statement) {
        int ready[2] = {-1, -1};
        EXPECT_EQ(pipe(ready), 0);
        child_ = fork();
        if (child_ == 0) {
            sqlite3* handle = nullptr;
            const bool held = sqlite3_open(file.c_str(), &handle) == SQLITE_OK &&
                              sqlite3_exec(handle, statement, nullptr, nullptr, nullptr) == SQLITE_OK;
            if (held && write(ready[1], "1", 1) == 1) pause();
            _exit(1);
        }
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1) << "the file could not be held";
        close(ready[0]);
    }
    ~Holder() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }

  private:
    pid_t child_;
};

class CtlFixture : public StagingFixture {
  protected:
    using Words = std::vector<std::string>;

    /// Runs velmorinctl, or the command that starts it, with these arguments; its exit status.
    int Run(const Words& arguments, Words command = {VELMORINCTL}) {
        command.insert(command.end(), arguments.begin(), arguments.end());
        Process program(command, {{"TZ", "UTC"}});
        const int status = program.Wait();
        out = program.output;
        // The first line tells of the bench.
        const std::string bench_line = "velmorinctl: on the bench in " + bench.Root().string() + "\n";
        err = program.errors.starts_with(bench_line) ? program.errors.substr(bench_line.size())
                                                     : program.errors;
        return status;
    }

    /// Stages an image with velmorinctl; its path.
    std::string CtlStage(const std::string& image, const std::string& name = "image") {
        const std::string path = bench.Write(name, image);
        EXPECT_EQ(Run({"stage", path, "--charge", "e0", "--device", "10", "--update", "20"}), 0) << err;
        return path;
    }

    /// The staging file with its tables, as another program may have left it.
    void MakeStagingFile() const {
        PrintedBy([] { db().DB_CreateTable(kStagingFile, nullptr); });
    }

    std::string out, err;
};
