// The display of --json: an object a line, in the order of events.
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "candump.h"
#include "display.h"
#include "report.h"

using namespace velmorin;

namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

const char* VerdictText(Verdict verdict) {
    switch (verdict) {
        case Verdict::kRight:
            return "right";
        case Verdict::kWrong:
            return "wrong";
        case Verdict::kEraseFailed:
            return "erase-failed";
    }
    return "";
}

double Rounded(double value) {
    return std::round(value * 1000) / 1000;
}

template <typename Number>
Json OrNull(const std::optional<Number>& value) {
    return value ? Json(*value) : Json(nullptr);
}

std::string HexByte(int value) {
    return Format("%02x", static_cast<unsigned int>(value));
}

/// As cansend takes it.
std::string FrameText(const can_frame& frame) {
    const std::string line = CandumpLine({}, "", frame);
    return line.substr(line.rfind(' ') + 1);
}

class JsonDisplay : public Display {
  public:
    void OnStart(const JobStart& start) override {
        const JobRow& job = start.job;
        Print("start", {{"job", job.timestamp},
                        {"image", start.image},
                        {"size", job.filesize},
                        {"groups", GroupsOf(job.filesize)},
                        {"charge", HexByte(job.chargeaddress)},
                        {"device", HexByte(job.devtype)},
                        {"update", HexByte(job.updateaddress)},
                        {"pace", PaceText(start.pace)},
                        {"expected_s", Rounded(start.expected_s)}});
    }
    void OnLink() override { Print("link", Json::object()); }
    void OnGroup(const GroupVerdict& group) override {
        Print("group", {{"index", group.index},
                        {"address", Format("%08x", group.address)},
                        {"attempt", group.attempt},
                        {"verdict", VerdictText(group.verdict)}});
    }
    void OnProgress(const Progress& progress) override {
        Print("progress", {{"bytes", progress.bytes},
                           {"of", progress.of},
                           {"rate", Rounded(progress.rate)},
                           {"eta_s", progress.eta_s >= 0 ? Json(Rounded(progress.eta_s)) : Json(nullptr)}});
    }
    void OnRetry(Question question, int count) override {
        Print("retry", {{"step", QuestionText(question)}, {"count", count}});
    }
    void OnIgnored(const Ignored& ignored) override {
        Print("ignored",
              {{"count", ignored.count}, {"reason", ignored.reason}, {"last", FrameText(ignored.last)}});
    }
    void OnNote(const std::string& text) override { Note(text); }
    void OnEnd(const JobEnd& end) override {
        const RunReport& report = end.report;
        Print("end", {{"job", OrNull(end.job)},
                      {"status", end.status},
                      {"result", OrNull(end.result)},
                      {"text", end.text},
                      {"device_status", OrNull(report.device_status)},
                      {"bytes", report.bytes},
                      {"duration_s", Rounded(report.duration_s)},
                      {"rate", Rounded(report.rate)},
                      {"groups", report.groups},
                      {"retries", report.retries},
                      {"ignored", report.ignored},
                      {"queue_waits", report.queue_waits}});
    }

  private:
    void Print(const char* event, const Json& fields) const {
        const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
        Json object = {{"event", event}, {"t", Rounded(seconds)}};
        object.update(fields);
        // A file name may be any bytes; JSON has to be UTF-8.
        std::fprintf(Out(), "%s\n", object.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
        std::fflush(Out());
    }

    Clock::time_point start_ = Clock::now();
};

}  // namespace

std::unique_ptr<Display> MakeJsonDisplay() {
    return std::make_unique<JsonDisplay>();
}
