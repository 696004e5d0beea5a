#include "dbc.h"

#include <cstdio>
#include <regex>
#include <string>

#include "protocol.h"
#include "report.h"

using namespace velmorin;

namespace {

/// docs/velmorin.dbc, which is made for this charge address.
const char kDatabase[] =
#include "velmorin.dbc.inc"
    ;
constexpr unsigned int kItsAddress = 0xE0;

/// An identifier holds the device's address as its source, or as its destination when the updater is the
/// source.
std::string ForDevice(const std::string& identifier, unsigned int charge_address) {
    const auto value = static_cast<unsigned int>(std::stoul(identifier));
    const int shift = SourceOf(value) == kUpdaterAddress ? kDestinationShift : 0;
    return std::to_string(value ^ (kItsAddress ^ charge_address) << shift);
}

}  // namespace

int PrintDbc(int charge_address) {
    const auto charge = static_cast<unsigned int>(charge_address);
    const std::string database = kDatabase;
    const std::regex identifier("(BO_|SG_|VAL_) ([0-9]{10})");
    auto rest = database.begin();
    for (std::sregex_iterator match(database.begin(), database.end(), identifier), end; match != end;
         ++match) {
        const std::string text((*match)[2]);
        std::fprintf(Out(), "%s%s", std::string(rest, (*match)[2].first).c_str(),
                     ForDevice(text, charge).c_str());
        rest = (*match)[2].second;
    }
    std::fputs(std::string(rest, database.end()).c_str(), Out());
    return FinishOutput();
}
