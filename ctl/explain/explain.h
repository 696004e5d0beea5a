// Explains a candump log: what `velmorinctl explain` does.
#pragma once

#include <optional>
#include <string>

namespace velmorin {

struct ExplainRequest {
    std::string log;  ///< a path, or "-" for standard input
    int charge = -1;  ///< only the updates of this device; -1: of all
    bool as_json = false;
    std::string html;  ///< where the page goes; empty: nowhere
};

enum class ExplainEnd {
    kDone,        ///< whatever the log says
    kSameFile,    ///< the page would take the log's place
    kUnreadable,  ///< the log is missing, cannot be read, or has no frame
    kUnwritable,  ///< the page
};

struct ExplainOutcome {
    ExplainEnd end = ExplainEnd::kDone;
    std::string what;    ///< what the fault is about, and
    std::string why;     ///< its reason
    std::string output;  ///< for standard output; what there is also when the page cannot be written
};

/// Reads the log to its end, and writes the page where one is wanted: it appears whole or not at all. Blocks
/// as reading does. A log whose first 16 MiB hold no frame is not read further.
ExplainOutcome Explain(const ExplainRequest& request);

}  // namespace velmorin
