// The three forms in which a log is explained. All text that comes from the log is made harmless for its
// form.
#pragma once

#include <string>
#include <vector>

#include "diagnoses.h"
#include "update.h"

namespace velmorin {

/// One update with what was found in it.
struct ExplainedUpdate {
    Update facts;
    std::vector<Diagnosis> diagnoses;
};

struct Explanation {
    std::string name;  ///< of the log, as it was given
    int charge = -1;   ///< the device that was asked for; -1: all
    LogFacts log;
    std::vector<ExplainedUpdate> updates;
};

std::string TextReport(const Explanation& explanation);
/// One JSON document, with a newline behind it.
std::string JsonReport(const Explanation& explanation);
/// One page that needs neither network nor scripts.
std::string HtmlReport(const Explanation& explanation);
/// The course of one update as an SVG element: phases, a bar a group, rate, marks.
std::string Timeline(const Update& update);

/// What the log lacks or holds beside its frames, a sentence each; for people.
std::vector<std::string> LogRemarks(const LogFacts& log);
/// Date and time of a moment of the log, in local time.
std::string LocalTime(Micros at);
/// "12.345", from the log's time in microseconds.
std::string Fixed(double value, int decimals);
std::string Hex2(int value);
/// "5120 bytes in 5 groups, CRC B", as far as it is known.
std::string SizeWords(const Update& update);
/// "1 line", "2 lines".
std::string Counted(std::uint64_t count, const std::string& thing);
/// What to say of a log without an update.
std::string NoUpdateWords(const Explanation& explanation);
const char* PlanName(const Update& update);

}  // namespace velmorin
