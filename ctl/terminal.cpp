// The display of a terminal: one line, drawn anew with every event and gone at the end.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "display.h"
#include "report.h"

using namespace velmorin;

namespace {

constexpr std::size_t kLeastWidth = 2;
constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kLongestBar = 30;

std::size_t TerminalWidth() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualWidth;
    return std::max<std::size_t>(size.ws_col, kLeastWidth);
}

class TerminalDisplay : public Display {
  public:
    ~TerminalDisplay() override { TerminalDisplay::Clear(); }

    void OnStart(const JobStart& start) override {
        progress_.of = start.job.filesize;
        progress_.groups_of = GroupsOf(start.job.filesize);
        progress_.eta_s = start.expected_s;
        state_ = Format("calling device %02x", static_cast<unsigned int>(start.job.chargeaddress));
        Draw();
    }
    void OnLink() override {
        state_ = "the device answers";
        Draw();
    }
    void OnProgress(const Progress& progress) override {
        progress_ = progress;
        state_.clear();
        Draw();
    }
    void OnRetry(Question question, int count) override {
        progress_.retries = count;
        state_ = std::string("no answer yet: ") + QuestionText(question);
        Draw();
    }
    void OnNote(const std::string& text) override {
        Clear();
        Note(text);
        Draw();
    }
    void OnEnd(const JobEnd& end) override {
        Clear();
        PrintSuccess(end);
    }
    void Clear() override {
        if (drawn_ > 0) Write("\r\x1b[K");
        drawn_ = 0;
    }

  private:
    /// The whole line in one write, so that no signal leaves a part of it. Never as wide as the terminal: a
    /// full line would make it scroll.
    void Draw() {
        const std::size_t width = TerminalWidth() - 1;
        std::string line = Line(width);
        line.resize(std::min(line.size(), width));
        // A line that has become too long for the terminal stands on two rows now, and the upper one stays.
        Write((drawn_ > width ? "\n" : "\r") + line + "\x1b[K");
        drawn_ = line.size();
    }

    std::string Line(std::size_t width) const {
        const int percent = progress_.of > 0 ? static_cast<int>(100LL * progress_.bytes / progress_.of) : 0;
        std::string text = Format("] %3d %%  ", percent) + ProgressText(progress_);
        if (!state_.empty()) text += ", " + state_;
        const std::size_t room = width > text.size() + 1 ? width - text.size() - 1 : 0;
        const std::size_t bar = std::min(room, kLongestBar);
        constexpr std::size_t kUsefulBar = 5;
        if (bar < kUsefulBar) return text.substr(2);
        const std::size_t done = bar * static_cast<std::size_t>(percent) / 100;
        return "[" + std::string(done, '#') + std::string(bar - done, '.') + text;
    }

    static void Write(const std::string& text) {
        if (write(STDERR_FILENO, text.data(), text.size()) < 0) return;  // nobody to tell
    }

    Progress progress_{};
    std::string state_;      // what is waited for; empty while data flows
    std::size_t drawn_ = 0;  // length of the line on the terminal
};

}  // namespace

std::unique_ptr<Display> MakeTerminalDisplay() {
    return std::make_unique<TerminalDisplay>();
}
