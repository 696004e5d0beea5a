#include "display.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "report.h"

using namespace velmorin;

namespace {

/// Where lines stay: a file, a pipe, a terminal that cannot clear a line.
class LinesDisplay : public Display {
  public:
    void OnStart(const JobStart& start) override {
        std::fprintf(stderr, "job %d: %d bytes in %d groups, about %s; calling device %02x\n",
                     start.job.timestamp, start.job.filesize, GroupsOf(start.job.filesize),
                     DurationText(start.expected_s).c_str(),
                     static_cast<unsigned int>(start.job.chargeaddress));
    }
    void OnLink() override { std::fputs("the device answers\n", stderr); }
    void OnNote(const std::string& text) override { Note(text); }
    void OnProgress(const Progress& progress) override {
        const int tens = progress.of > 0 ? static_cast<int>(10LL * progress.bytes / progress.of) : 0;
        if (tens <= told_tens_) return;
        told_tens_ = tens;
        std::fprintf(stderr, "%3d %%  %s\n", 10 * tens, ProgressText(progress).c_str());
    }
    void OnEnd(const JobEnd& end) override { PrintSuccess(end); }

  private:
    int told_tens_ = 0;
};

bool CanClearLines() {
    const char* terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && terminal != nullptr && *terminal != '\0' &&
           std::strcmp(terminal, "dumb") != 0;
}

}  // namespace

void Display::OnFrame(const can_frame& frame) {
    if (log_ != nullptr && !log_->Write(frame)) log_fault_ = std::strerror(errno);
}

std::unique_ptr<Display> MakeLinesDisplay() {
    return std::make_unique<LinesDisplay>();
}

std::unique_ptr<Display> MakeDisplay(const RunOptions& options) {
    if (options.json) return MakeJsonDisplay();
    if (options.quiet) return std::make_unique<Display>();
    return CanClearLines() ? MakeTerminalDisplay() : MakeLinesDisplay();
}

std::string ProgressText(const Progress& progress) {
    std::string text =
        Format("%d of %d groups, %.0f B/s, ", progress.groups, progress.groups_of, progress.rate);
    if (progress.retries > 0)
        text += Format("%d %s, ", progress.retries, progress.retries == 1 ? "retry" : "retries");
    return text + (progress.eta_s >= 0 ? DurationText(progress.eta_s) : "-:--") + " left";
}

void PrintSuccess(const JobEnd& end) {
    if (end.status != 0) return;
    std::fprintf(Out(), "job %d: %s, %d bytes in %s (%.0f B/s)\n", end.job.value_or(0), end.text.c_str(),
                 end.report.bytes, DurationText(end.report.duration_s).c_str(), end.report.rate);
    std::fflush(Out());
}

std::string DurationText(double seconds) {
    const long whole = std::lround(std::clamp(seconds, 0.0, 1e8));
    if (whole < 3600) return Format("%ld:%02ld", whole / 60, whole % 60);
    return Format("%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string Format(const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}
