#include <algorithm>
#include <string_view>

#include "htmlstyle.h"
#include "reports.h"

namespace velmorin {
namespace {

constexpr std::size_t kMaxRows = 2000;

double InSeconds(Micros time) {
    return static_cast<double>(time) / 1e6;
}

/// Text fit for content and attributes; bytes that are no printable ASCII become references or U+FFFD.
std::string Escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '<' || c == '>' || c == '&' || c == '"' || c == '\'') {
            result += "&#" + std::to_string(static_cast<int>(c)) + ";";
        } else if (c >= ' ' && c < '\x7F') {
            result += c;
        } else {
            result += "&#xFFFD;";
        }
    }
    return result;
}

std::string Row(std::initializer_list<std::string> cells, const char* tag = "td") {
    std::string row = "<tr>";
    for (const std::string& cell : cells) row += std::string("<") + tag + ">" + cell + "</" + tag + ">";
    return row + "</tr>\n";
}

std::string Legend() {
    constexpr std::string_view kEntries[][2] = {
        {"<rect class=\"starts1\" width=\"13\" height=\"13\"/>", "group started once"},
        {"<rect class=\"starts2\" width=\"13\" height=\"13\"/>", "twice"},
        {"<rect class=\"starts3\" width=\"13\" height=\"13\"/>", "three times"},
        {"<rect class=\"group starts1 open\" x=\"1\" y=\"1\" width=\"11\" height=\"11\"/>", "not confirmed"},
        {"<g class=\"mark resend\"><path d=\"M6.5 2 l5 9 h-10 z\"/></g>", "sent again"},
        {"<g class=\"mark lost\"><circle cx=\"6.5\" cy=\"6.5\" r=\"4\"/></g>", "missing from the log"},
        {"<g class=\"mark\"><path class=\"cross\" d=\"M2 2 l9 9 m0 -9 l-9 9\"/></g>", "refused"},
        {"<g class=\"mark link\"><circle cx=\"6.5\" cy=\"6.5\" r=\"5\"/></g>", "link lost"}};
    std::string legend = "<div class=\"legend\">";
    for (const auto& [shape, words] : kEntries) {
        legend.append("<span><svg viewBox=\"0 0 13 13\" aria-hidden=\"true\">")
            .append(shape)
            .append("</svg>");
        legend.append(words).append("</span>");
    }
    return legend + "</div>\n";
}

std::string Diagnoses(const ExplainedUpdate& update) {
    std::string list = "<ul class=\"diagnoses\">\n";
    for (const Diagnosis& diagnosis : update.diagnoses) {
        const Finding& finding = diagnosis.evidence;
        std::string evidence = "at " + Fixed(InSeconds(finding.first - update.facts.started), 2) + " s";
        if (finding.group >= 0) evidence += ", group " + std::to_string(finding.group);
        if (finding.count > 1) evidence += ", count " + std::to_string(finding.count);
        list += std::string("<li class=\"") + diagnosis.id + "\"><span class=\"id\">" + diagnosis.id +
                "</span>" + Escaped(diagnosis.text) + " <span class=\"evidence\">" + evidence +
                "</span></li>\n";
    }
    return list + "</ul>\n";
}

std::string Tables(const Update& u) {
    std::string text = "<div class=\"scroll\"><table class=\"phases\">\n" +
                       Row({"phase", "link", "start", "erase", "data", "check", "reset", "all"}, "th");
    std::string seconds = "<tr><td>seconds</td>";
    std::string shares = "<tr><td>share</td>";
    const double whole = std::max(InSeconds(u.ended - u.started), 1e-6);
    for (const Micros phase : u.phases) {
        seconds += "<td>" + Fixed(InSeconds(phase), 2) + "</td>";
        shares += "<td>" + Fixed(100 * InSeconds(phase) / whole, 0) + " %</td>";
    }
    text += seconds + "<td>" + Fixed(whole, 2) + "</td></tr>\n" + shares + "<td></td></tr>\n</table>\n";
    text +=
        "<table class=\"counts\">\n" +
        Row({"rate", "resends", "lost", "doubled", "late", "link losses", "strangers", "bus errors"}, "th") +
        Row({Fixed(RateOf(u), 0) + " B/s", std::to_string(u.resends), std::to_string(u.lost),
             std::to_string(u.doubled), Fixed(InSeconds(u.late), 2) + " s",
             std::to_string(u.link_losses.count), std::to_string(u.strangers.count),
             std::to_string(u.bus_errors.count)}) +
        "</table></div>\n";
    return text;
}

/// Every group; of very many only those that were not sent once and confirmed.
std::string GroupTable(const Update& u) {
    if (u.groups.empty()) return "";
    const bool all = u.groups.size() <= kMaxRows;
    std::string rows;
    std::size_t count = 0;
    for (std::size_t i = 0; i < u.groups.size(); ++i) {
        const GroupFacts& group = u.groups[i];
        const bool plain = group.starts == 1 && group.confirmed && group.missing == 0;
        if ((!all && plain) || count == kMaxRows) continue;
        ++count;
        char address[16];
        std::snprintf(address, sizeof address, "%08X", group.address);
        rows += Row({std::to_string(i), address, std::to_string(group.starts), std::to_string(group.missing),
                     std::to_string(group.refused + group.unerased), group.confirmed ? "yes" : "no",
                     Fixed(InSeconds(group.first - u.started), 2),
                     Fixed(InSeconds(group.last - group.first), 2)});
    }
    if (count == 0)
        return "<p class=\"soft\">Each of the " + Counted(u.groups.size(), "group") +
               " went through at once.</p>\n";
    const std::string which = all ? Counted(count, "group")
                                  : std::to_string(count) + " of " + Counted(u.groups.size(), "group") +
                                        ": those that did not go through at once";
    return "<details" + std::string(u.groups.size() <= 32 ? " open" : "") + "><summary>" + which +
           "</summary><div class=\"scroll\"><table class=\"groups\">\n" +
           Row({"group", "address", "starts", "missing packets", "refusals", "confirmed", "begun at s",
                "took s"},
               "th") +
           rows + "</table></div></details>\n";
}

std::string Section(std::size_t number, const ExplainedUpdate& update) {
    const Update& u = update.facts;
    const char* const mood = !u.result                                      ? "none"
                             : *u.result == kResultSuccess && !u.forged_end ? "good"
                                                                            : "bad";
    std::string text = "<section class=\"update\" id=\"update" + std::to_string(number) +
                       "\">\n<header class=\"update\"><h2>Update " + std::to_string(number) + ": device " +
                       Hex2(u.charge) + " on " + Escaped(u.interface) + "</h2><span class=\"badge " + mood +
                       "\">" + (u.result ? "result " + std::to_string(*u.result) + ": " : std::string()) +
                       ResultWords(u) + "</span></header>\n";
    text += "<p class=\"soft\">" + LocalTime(u.started) + ", " + Fixed(InSeconds(u.ended - u.started), 1) +
            " s, " + SizeWords(u);
    return text + "</p>\n" + Diagnoses(update) + Timeline(u) + Legend() + Tables(u) + GroupTable(u) +
           "</section>\n";
}

}  // namespace

std::string HtmlReport(const Explanation& explanation) {
    const LogFacts& log = explanation.log;
    const std::string name = Escaped(explanation.name);
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
        name + ", explained</title>\n<link rel=\"icon\" href=\"data:,\">\n<style>" + kHtmlStyle +
        "</style>\n</head>\n<body>\n<main>\n<h1>" + name + "</h1>\n";
    page += "<p class=\"soft\">" + Counted(log.frames, "frame") + " in " +
            Fixed(InSeconds(log.last - log.first), 1) + " s from " + LocalTime(log.first) + "; bus busy " +
            Fixed(100 * log.busy, 1) + " % at " + std::to_string(log.bitrate.value_or(kBusBitrate)) +
            " bit/s" + (log.bitrate ? "" : " (assumed: the log does not tell)") + "</p>\n";
    for (const std::string& remark : LogRemarks(log))
        page += "<p class=\"soft remark\">" + Escaped(remark) + "</p>\n";
    if (explanation.updates.empty()) page += "<p>" + NoUpdateWords(explanation) + "</p>\n";
    for (std::size_t i = 0; i < explanation.updates.size(); ++i)
        page += Section(i + 1, explanation.updates[i]);
    return page + "</main>\n</body>\n</html>\n";
}

}  // namespace velmorin
