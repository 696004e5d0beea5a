// Any bytes in the place of a log: all of it is read and explained, and what is explained holds together.
#include <cmath>
#include <nlohmann/json.hpp>

#include "buslog.h"
#include "explain.h"
#include "input.h"
#include "reports.h"

namespace {

using namespace velmorin;

void Check(const ExplainedUpdate& update, const LogFacts& log) {
    const Update& u = update.facts;
    Micros spent = 0;
    for (const Micros phase : u.phases) spent += phase;
    if (u.started < log.first || u.started > log.last || u.ended < u.started)
        Fail("an update outside its log");
    if (spent > log.last - log.first + 10'000'000) Fail("phases longer than the log");
    if (update.diagnoses.empty()) Fail("an update without a diagnosis");
    if (u.result == kResultOpen || (u.result && std::string(ResultText(*u.result)) == "unknown"))
        Fail("a result that no job has");
    if (!std::isfinite(RateOf(u)) || RateOf(u) < 0) Fail("a rate that is none");
    if (u.groups.size() > log.frames) Fail("more groups than frames");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text = Input(bytes, size).Rest();
    BusLog bus;
    LoggedFrame frame;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const LineKind kind = ParseCandumpLine(std::string_view(text).substr(at, end - at), &frame);
        if (kind == LineKind::kFrame) bus.Take(frame);
        if (kind == LineKind::kBad || kind == LineKind::kForeign) bus.NoteBadLine(kind == LineKind::kForeign);
        at = end + 1;
    }
    Explanation explanation{"log", -1, {}, {}};
    for (Update& update : bus.Finish()) {
        std::vector<Diagnosis> diagnoses = Diagnose(update);
        explanation.updates.push_back({std::move(update), std::move(diagnoses)});
    }
    explanation.log = bus.facts;
    for (const ExplainedUpdate& update : explanation.updates) Check(update, explanation.log);
    if (TextReport(explanation).empty() || HtmlReport(explanation).find("</html>") == std::string::npos)
        Fail("a report that is none");
    if (nlohmann::json::parse(JsonReport(explanation))["updates"].size() != explanation.updates.size())
        Fail("a document that lacks updates");
    return 0;
}
