#include "explain.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "buslog.h"
#include "logreader.h"
#include "reports.h"

namespace velmorin {
namespace {

constexpr std::uint64_t kMuchWithoutFrames = 16 * 1024 * 1024;

bool IsSameFile(const std::string& log, const std::string& html) {
    struct stat first {
    }, second{};
    const int found = log == "-" ? fstat(STDIN_FILENO, &first) : stat(log.c_str(), &first);
    return found == 0 && stat(html.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

std::string ReadLog(LogReader* reader, BusLog* bus) {
    std::string_view line;
    LoggedFrame frame;
    while (reader->Next(&line)) {
        switch (ParseCandumpLine(line, &frame)) {
            case LineKind::kFrame:
                bus->Take(frame);
                break;
            case LineKind::kForeign:
                bus->NoteBadLine(true);
                break;
            case LineKind::kBad:
                bus->NoteBadLine(false);
                break;
            case LineKind::kBlank:
                break;
        }
        if (bus->facts.frames == 0 && reader->bytes() > kMuchWithoutFrames)
            return "no frame in its first 16 MiB: it is no candump log (candump -l writes one)";
    }
    bus->facts.trouble = reader->trouble();
    if (bus->facts.frames > 0) return "";
    if (!reader->trouble().empty()) return reader->trouble();
    return "no frame in it: it is no candump log (candump -l writes one)";
}

/// Empty, or why the file could not be written. A file gets its content whole or stays as it was; what is no
/// file, such as a pipe, is written to.
std::string WriteWhole(const std::string& path, const std::string& content) {
    struct stat status {};
    const bool in_place = stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    const std::string target = in_place ? path : path + ".part";
    std::FILE* const file = std::fopen(target.c_str(), "we");
    if (file == nullptr) return std::strerror(errno);
    bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    int reason = errno;
    if (std::fclose(file) != 0 && written) {
        written = false;
        reason = errno;
    }
    if (written && (in_place || std::rename(target.c_str(), path.c_str()) == 0)) return "";
    if (written) reason = errno;
    if (!in_place) unlink(target.c_str());
    return std::strerror(reason);
}

}  // namespace

ExplainOutcome Explain(const ExplainRequest& request) {
    const std::string name = request.log == "-" ? "standard input" : request.log;
    if (!request.html.empty() && IsSameFile(request.log, request.html))
        return {ExplainEnd::kSameFile, request.html, "is the log itself; name another file for the page", ""};
    LogReader reader;
    std::string fault = reader.Open(request.log);
    BusLog bus;
    if (fault.empty()) fault = ReadLog(&reader, &bus);
    if (!fault.empty()) return {ExplainEnd::kUnreadable, name, fault, ""};

    Explanation explanation;
    explanation.name = name;
    explanation.charge = request.charge;
    for (Update& update : bus.Finish()) {
        if (request.charge >= 0 && update.charge != request.charge) continue;
        std::vector<Diagnosis> diagnoses = Diagnose(update);
        explanation.updates.push_back({std::move(update), std::move(diagnoses)});
    }
    explanation.log = bus.facts;
    ExplainOutcome outcome;
    outcome.output = request.as_json ? JsonReport(explanation) : TextReport(explanation);
    if (request.html.empty()) return outcome;
    outcome.why = WriteWhole(request.html, HtmlReport(explanation));
    if (outcome.why.empty()) return outcome;
    outcome.end = ExplainEnd::kUnwritable;
    outcome.what = request.html;
    return outcome;
}

}  // namespace velmorin
