#include <nlohmann/json.hpp>

#include "reports.h"

namespace velmorin {
namespace {

using Json = nlohmann::ordered_json;

double InSeconds(Micros time) {
    return static_cast<double>(time) / 1e6;
}

Json OfDiagnosis(const Diagnosis& diagnosis) {
    const Finding& finding = diagnosis.evidence;
    Json evidence = {{"time", InSeconds(finding.first)}, {"count", finding.count}};
    if (finding.group >= 0) evidence["group"] = finding.group;
    return {{"id", diagnosis.id}, {"text", diagnosis.text}, {"evidence", evidence}};
}

Json OfUpdate(const ExplainedUpdate& update) {
    const Update& u = update.facts;
    Json phases;
    for (int i = 0; i < kPhases; ++i)
        phases[kPhaseNames[i]] = InSeconds(u.phases[static_cast<std::size_t>(i)]);
    Json starts = Json::array();
    for (const GroupFacts& group : u.groups) starts.push_back(group.starts);
    Json diagnoses = Json::array();
    for (const Diagnosis& diagnosis : update.diagnoses) diagnoses.push_back(OfDiagnosis(diagnosis));
    const bool sized = SizeOf(u) > 0;
    return {{"charge", Hex2(u.charge)},
            {"started", InSeconds(u.started)},
            {"ended", InSeconds(u.ended)},
            {"size", sized ? Json(SizeOf(u)) : Json()},
            {"groups", u.groups.size()},
            {"plan", u.plan < 0 ? Json() : Json(PlanName(u))},
            {"result", u.result ? Json(*u.result) : Json()},
            {"text", ResultWords(u)},
            {"phases", phases},
            {"rate", RateOf(u)},
            {"starts", starts},
            {"resends", u.resends},
            {"lost", u.lost},
            {"doubled", u.doubled},
            {"late", InSeconds(u.late)},
            {"link_losses", u.link_losses.count},
            {"strangers", u.strangers.count},
            {"diagnoses", diagnoses}};
}

}  // namespace

std::string JsonReport(const Explanation& explanation) {
    const LogFacts& log = explanation.log;
    Json updates = Json::array();
    for (const ExplainedUpdate& update : explanation.updates) updates.push_back(OfUpdate(update));
    const Json document = {{"log",
                            {{"frames", log.frames},
                             {"bad_lines", log.bad_lines},
                             {"first", InSeconds(log.first)},
                             {"last", InSeconds(log.last)},
                             {"bitrate", log.bitrate ? Json(*log.bitrate) : Json()},
                             {"busy", log.busy}}},
                           {"updates", updates}};
    return document.dump(2) + "\n";
}

}  // namespace velmorin
