#include "listing.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "db.h"
#include "jobs.h"
#include "printable.h"
#include "protocol.h"
#include "report.h"

using namespace velmorin;

namespace {

constexpr std::size_t kColumns = 8;
using Row = std::array<std::string, kColumns>;
constexpr std::array<bool, kColumns> kRightAligned = {false, true, true, true, false, false, true, false};

std::string LocalTime(int timestamp, const char* format) {
    const std::time_t seconds = timestamp;
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[64] = "";
    std::strftime(text, sizeof text, format, &local);
    return text;
}

std::string Hex(const char* format, unsigned int value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string Seconds(int milliseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", milliseconds / 1000.0);
    return text;
}

const char* StateText(const JobRow& job) {
    return job.IsOpen() ? "open" : "closed";
}

// The image comes last: whatever its name holds cannot push another column aside.
Row TextRow(const JobRow& job) {
    return {LocalTime(job.timestamp, "%Y-%m-%d %H:%M:%S"),
            std::to_string(job.timestamp),
            Hex("%02x", static_cast<unsigned int>(job.chargeaddress)),
            std::to_string(job.filesize),
            StateText(job),
            ResultText(job.result),
            job.IsOpen() ? "-" : Seconds(job.timeuse),
            job.name.empty() ? "-" : Printable(job.name)};
}

void PrintTable(const std::vector<JobRow>& jobs) {
    std::vector<Row> rows = {
        {"TIME", "TIMESTAMP", "ADDRESS", "SIZE", "STATE", "RESULT", "DURATION", "IMAGE"}};
    for (const JobRow& job : jobs) rows.push_back(TextRow(job));
    std::array<int, kColumns> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < kColumns; ++i) {
            widths[i] = std::max(widths[i], static_cast<int>(row[i].size()));
        }
    }
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < kColumns; ++i) {
            std::fprintf(Out(), "%*s  ", kRightAligned[i] ? widths[i] : -widths[i], row[i].c_str());
        }
        std::fprintf(Out(), "%s\n", row.back().c_str());
    }
}

nlohmann::ordered_json JsonJob(const JobRow& job) {
    return {{"timestamp", job.timestamp},
            {"time", LocalTime(job.timestamp, "%Y-%m-%dT%H:%M:%S%z")},
            {"image", job.name},
            {"charge_address", job.chargeaddress},
            {"charge_address_hex", Hex("%02x", static_cast<unsigned int>(job.chargeaddress))},
            {"port", job.caninterface},
            {"device_type", job.devtype},
            {"update_address", job.updateaddress},
            {"size", job.filesize},
            {"state", job.state},
            {"state_text", StateText(job)},
            {"result", job.result},
            {"result_text", ResultText(job.result)},
            {"duration_ms", job.timeuse},
            {"crc_a", Hex("%08x", job.crcA)},
            {"crc_b", Hex("%08x", job.crcB)}};
}

void PrintJson(const std::vector<JobRow>& jobs) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const JobRow& job : jobs) array.push_back(JsonJob(job));
    // A file name may be any bytes; JSON has to be UTF-8.
    const std::string text = array.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::fprintf(Out(), "%s\n", text.c_str());
}

}  // namespace

int PrintJobs(const ListOptions& options) {
    std::vector<JobRow> jobs;
    const Fault fault = ReadJobs(kStagingFile, &jobs);
    if (fault.kind == FaultKind::kMissing) {
        Note(StagingFile() + ": " + fault.text);
    } else if (fault) {
        return Fail(fault);
    }
    if (options.only_open) std::erase_if(jobs, [](const JobRow& job) { return !job.IsOpen(); });
    const auto last = static_cast<std::size_t>(options.last);
    if (jobs.size() > last) jobs.erase(jobs.begin(), jobs.end() - options.last);
    options.as_json ? PrintJson(jobs) : PrintTable(jobs);
    return FinishOutput();
}
