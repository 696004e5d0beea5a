#include "usage.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

#include "exitstatus.h"
#include "printable.h"

namespace {

/// How many letters to add, drop or change to make one word of the other.
std::size_t Distance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

/// "; did you mean download?" when one of the known words is like it.
std::string Suggestion(const std::string& word, const std::vector<std::string>& known) {
    const std::string* closest = nullptr;
    const std::size_t letters = word.size() - std::min(word.find_first_not_of('-'), word.size());
    std::size_t least = letters / 3 + 2;  // further away nobody means it
    for (const std::string& each : known) {
        const std::size_t distance = Distance(word, each);
        if (distance >= least) continue;
        least = distance;
        closest = &each;
    }
    return closest == nullptr ? "" : "; did you mean " + *closest + "?";
}

std::vector<std::string> OptionsOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

/// What is wrong with the first word that nothing takes; empty when there is none.
std::string UnknownWord(const CLI::App& app, const CLI::App* command) {
    const std::vector<std::string> words = (command == nullptr ? app : *command).remaining();
    if (words.empty()) return "";
    const std::string word = words.front().substr(0, words.front().find('='));
    const std::string quoted = "'" + Printable(word) + "'";
    if (word.starts_with("-") && word.size() > 1) {
        return "unknown option " + quoted + Suggestion(word, OptionsOf(command == nullptr ? app : *command));
    }
    if (command == nullptr) return "unknown command " + quoted + Suggestion(word, CommandsOf(app));
    return "one word too many: " + quoted;
}

/// The library's own words, but for two faults that it tells of in riddles.
std::string PlainText(const CLI::ParseError& error) {
    const std::string text = error.what();
    const std::size_t none = text.find(": 1 required"), twice = text.find(": At Most 1 required");
    if (none != std::string::npos) return text.substr(0, none) + " needs a value";
    return twice == std::string::npos ? Printable(text) : text.substr(0, twice) + " is given more than once";
}

}  // namespace

int FailUsage(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const CLI::App* command = chosen.empty() ? nullptr : chosen.front();
    std::string text = UnknownWord(app, nullptr);
    if (text.empty() && command != nullptr) text = UnknownWord(app, command);
    if (text.empty()) text = command == nullptr ? "which command?" : PlainText(error);
    std::fprintf(stderr, "velmorinctl: %s\nSee velmorinctl %s%s--help.\n", text.c_str(),
                 command == nullptr ? "" : command->get_name().c_str(), command == nullptr ? "" : " ");
    return kExitUsage;
}
