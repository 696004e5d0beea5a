#include <algorithm>
#include <cstdio>
#include <ctime>

#include "logpace.h"
#include "reports.h"

namespace velmorin {
namespace {

constexpr std::size_t kWidth = 100;
constexpr std::size_t kGroupsNamed = 12;

double InSeconds(Micros time) {
    return static_cast<double>(time) / 1e6;
}

/// The text in lines of at most kWidth characters, all but the first indented.
std::string Wrapped(const std::string& text, std::size_t indent) {
    std::string result;
    std::size_t column = indent;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        if (column + end - at > kWidth && column > indent) {
            result.back() = '\n';
            result.append(indent, ' ');
            column = indent;
        }
        result.append(text, at, end - at).append(1, ' ');
        column += end - at + 1;
        at = end + 1;
    }
    if (!result.empty()) result.back() = '\n';
    return result;
}

std::string OfEvidence(const Diagnosis& diagnosis, Micros started) {
    const Finding& finding = diagnosis.evidence;
    std::string text = " [at " + Fixed(InSeconds(finding.first - started), 2) + " s";
    if (finding.group >= 0) text += ", group " + std::to_string(finding.group);
    if (finding.count > 1) text += ", count " + std::to_string(finding.count);
    return text + "]";
}

std::string PhaseTable(const Update& u) {
    std::string names = "  phase  ";
    std::string times = "  seconds";
    std::string shares = "  share  ";
    const Micros whole = std::max<Micros>(u.ended - u.started, 1);
    char cell[32];
    for (std::size_t i = 0; i < kPhases; ++i) {
        std::snprintf(cell, sizeof cell, "%10s", kPhaseNames[i]);
        names += cell;
        std::snprintf(cell, sizeof cell, "%10.2f", InSeconds(u.phases[i]));
        times += cell;
        std::snprintf(cell, sizeof cell, "%8.0f %%", 100 * InSeconds(u.phases[i]) / InSeconds(whole));
        shares += cell;
    }
    return names + "\n" + times + "\n" + shares + "\n";
}

/// The groups that were started more than once.
std::string StartsAgain(const Update& u) {
    std::string text;
    std::size_t count = 0;
    for (std::size_t i = 0; i < u.groups.size(); ++i) {
        if (u.groups[i].starts < 2) continue;
        if (++count > kGroupsNamed) continue;
        text += (count > 1 ? ", " : "") + std::to_string(i) + " (" + std::to_string(u.groups[i].starts) +
                " starts)";
    }
    if (count > kGroupsNamed) text += " and " + std::to_string(count - kGroupsNamed) + " more";
    return count == 0 ? "" : "  groups started again: " + text + "\n";
}

std::string OfUpdate(std::size_t number, const ExplainedUpdate& update) {
    const Update& u = update.facts;
    std::string text = "\nUpdate " + std::to_string(number) + ": device " + Hex2(u.charge) + " on " +
                       u.interface + ", " + LocalTime(u.started) + ", " +
                       Fixed(InSeconds(u.ended - u.started), 1) + " s, ";
    text += SizeWords(u);
    text +=
        "\nResult " + (u.result ? std::to_string(*u.result) + ": " : std::string()) + ResultWords(u) + "\n\n";
    for (const Diagnosis& diagnosis : update.diagnoses) {
        text +=
            "  * " +
            Wrapped(std::string(diagnosis.id) + ": " + diagnosis.text + OfEvidence(diagnosis, u.started), 4);
    }
    text += "\n" + PhaseTable(u) + "\n";
    char line[200];
    std::snprintf(
        line, sizeof line,
        "  rate %.0f B/s   resends %u   lost %u   doubled %u   late %.2f s   link losses %u   strangers %u\n",
        RateOf(u), u.resends, u.lost, u.doubled, InSeconds(u.late), u.link_losses.count, u.strangers.count);
    return text + line + StartsAgain(u);
}

}  // namespace

std::string Fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string Hex2(int value) {
    char text[8];
    std::snprintf(text, sizeof text, "%02x", static_cast<unsigned int>(value) & 0xFF);
    return text;
}

const char* PlanName(const Update& update) {
    return update.plan == kPlanA ? "A" : "B";
}

std::string LocalTime(Micros at) {
    const std::time_t seconds = at / 1'000'000;
    std::tm parts{};
    char text[64];
    if (localtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) == 0)
        return Fixed(InSeconds(at), 3);
    return text + Fixed(InSeconds(at % 1'000'000), 2).substr(1);
}

std::string Counted(std::uint64_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string SizeWords(const Update& update) {
    if (update.groups.empty()) return "no group started";
    std::string text = std::to_string(SizeOf(update)) + " bytes in " + Counted(update.groups.size(), "group");
    if (update.plan >= 0) text += std::string(", CRC ") + PlanName(update);
    return text;
}

std::string NoUpdateWords(const Explanation& explanation) {
    if (explanation.charge < 0) return "No update in it: no frame of an updater (source 8A).";
    return "No update of device " + Hex2(explanation.charge) + " in it.";
}

std::vector<std::string> LogRemarks(const LogFacts& log) {
    std::vector<std::string> remarks;
    const auto add = [&](std::uint64_t count, const char* thing, const char* words) {
        if (count > 0) remarks.push_back(Counted(count, thing) + words);
    };
    add(log.bad_lines - log.foreign_lines, "line", " left out: no frame in it.");
    add(log.foreign_lines, "frame", " left out: CAN FD, or of another kind.");
    add(log.error_frames, "error frame", " in it.");
    add(log.backwards, "jump", " back of the log's clock; time was taken on from there.");
    add(log.updates_left_out, "further update", " not shown.");
    if (!log.trouble.empty())
        remarks.push_back("Reading ended early: " + log.trouble + ". What came before it is explained.");
    return remarks;
}

std::string TextReport(const Explanation& explanation) {
    const LogFacts& log = explanation.log;
    std::string text = Counted(log.frames, "frame") + " in " + Fixed(InSeconds(log.last - log.first), 1) +
                       " s from " + LocalTime(log.first) + ", bus busy " + Fixed(100 * log.busy, 1) +
                       " % at " + std::to_string(log.bitrate.value_or(kBusBitrate)) + " bit/s" +
                       (log.bitrate ? "" : " (assumed: the log does not tell)") + "\n";
    for (const std::string& remark : LogRemarks(log)) text += "  " + remark + "\n";
    if (explanation.updates.empty()) text += NoUpdateWords(explanation) + "\n";
    for (std::size_t i = 0; i < explanation.updates.size(); ++i)
        text += OfUpdate(i + 1, explanation.updates[i]);
    return text;
}

}  // namespace velmorin
