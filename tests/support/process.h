// A program run by a test, its output collected as it comes. Killed with the object if it still runs.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class Process {
  public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    Process(std::vector<std::string> command, const Environment& environment = {}) {
        int out[2], err[2];
        if (pipe(out) != 0 || pipe(err) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            for (const int fd : {out[0], out[1], err[0], err[1]}) close(fd);
            for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
            std::vector<char*> arguments;
            for (std::string& word : command) arguments.push_back(word.data());
            arguments.push_back(nullptr);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        out_ = out[0];
        err_ = err[0];
    }
    ~Process() {
        if (running_) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(out_);
        close(err_);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool WaitForOutput(const std::string& text) { return WaitFor(output, text); }
    bool WaitForErrors(const std::string& text) { return WaitFor(errors, text); }

    /// Waits for the end. The exit status, 128 + signal, or -1 when the time is up.
    int Wait(int timeout_ms = 200000) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        while (Collect(20)) {
            if (std::chrono::steady_clock::now() > end) return -1;
        }
        int status = 0;
        waitpid(pid_, &status, 0);
        running_ = false;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t Pid() const { return pid_; }
    void Signal(int number) const { kill(pid_, number); }

    /// Closes the reading end of its standard output.
    void StopReading() {
        close(out_);
        out_ = -1;
    }

    std::string output, errors;

  private:
    /// Until the stream holds `text`. False when the program ended or the time is up before that.
    bool WaitFor(const std::string& stream, const std::string& text) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (stream.find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > end || !Collect(20)) break;
        }
        return stream.find(text) != std::string::npos;
    }

    /// Reads what there is; false once both pipes are at their end.
    bool Collect(int timeout_ms) {
        pollfd ends[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
        poll(ends, 2, timeout_ms);
        bool open = false;
        for (auto& [end, text] : {std::pair<pollfd&, std::string&>{ends[0], output}, {ends[1], errors}}) {
            char buffer[4096];
            const ssize_t count = end.revents == 0 ? 0 : read(end.fd, buffer, sizeof buffer);
            if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
            open = open || count > 0 || (end.fd >= 0 && end.revents == 0);
        }
        return open;
    }

    pid_t pid_ = -1;
    int out_ = -1, err_ = -1;
    bool running_ = true;
};
