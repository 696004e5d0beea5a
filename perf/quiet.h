// Keeps the program's own output out of a benchmark's table.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

/// Standard output goes nowhere while the object lives.
class Quiet {
  public:
    Quiet() : kept_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int nothing = open("/dev/null", O_WRONLY);
        dup2(nothing, STDOUT_FILENO);
        close(nothing);
    }
    ~Quiet() {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

  private:
    int kept_;
};
