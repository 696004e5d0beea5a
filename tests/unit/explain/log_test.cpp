// Log lines and files, good and bad, and what the command makes of them.
#include <gtest/gtest.h>
#include <zlib.h>

#include <nlohmann/json.hpp>

#include "benchdir.h"
#include "candump.h"
#include "explain.h"
#include "process.h"
#include "storylog.h"

namespace velmorin {
namespace {

TEST(CandumpLine, GivesTheFrameOrSaysWhatElseItIs) {
    const struct {
        const char *read, *as_written;
    } frames[] = {
        {"(12.500000) can0 10E08A70#0011", "(0000000012.500000) can0 10E08A70#0011"},
        {"(12.000001) vcan12 7ff#aBcDeF0123456789 R", "(0000000012.000001) vcan12 7FF#ABCDEF0123456789"},
        {"(1.5) x 123#R T\r", "(0000000001.500000) x 123#R"},
        {"(1.0) x 123#R8", "(0000000001.000000) x 123#R8"},
        {"(1.0) x 123#1122334455667788_F", "(0000000001.000000) x 123#1122334455667788"},
        {"(1.0) x 20000020#00", "(0000000001.000000) x 20000020#00"},
        {"(1.0) x 123#", "(0000000001.000000) x 123#"},
    };
    LoggedFrame frame;
    for (const auto& [read, as_written] : frames) {
        EXPECT_EQ(ParseCandumpLine(read, &frame), LineKind::kFrame) << read;
        const timeval when{frame.at / 1'000'000, frame.at % 1'000'000};
        EXPECT_EQ(CandumpLine(when, std::string(frame.interface), frame.frame), as_written);
    }
    EXPECT_EQ(ParseCandumpLine("(1.0) x 123##1112233", &frame), LineKind::kForeign);
    EXPECT_EQ(ParseCandumpLine("", &frame), LineKind::kBlank);
    EXPECT_EQ(ParseCandumpLine("# note", &frame), LineKind::kBlank);
    const char* const bad[] = {"(1.0) x 123#112",       "(1.0) x 123#112233445566778899",
                               "(1.0) x 123#1g",        "(1.0) x 800#",
                               "(1.0) x 1234#",         "(1.0) x 40000000#",
                               "(1.0) 123#11",          "(1.0) interfacename16x 123#",
                               "(1.0) c\xC3 123#",      "(1.) x 123#",
                               "(-1.0) x 123#",         "(1000000000000.0) x 123#",
                               "(1.0000000000) x 123#", "(1.0)x 123#",
                               "(1.0) x 123#11 Q",      "(1.0) x 123#1122334455667788_8"};
    for (const char* line : bad) EXPECT_EQ(ParseCandumpLine(line, &frame), LineKind::kBad) << line;
}

class LogFile : public testing::Test {
  protected:
    LogFile() { log.Begin(), log.Groups(0, 1), log.End(); }

    ExplainOutcome Run(const std::string& content, const std::string& html = "") {
        return Explain({bench.Write("log", content), -1, true, html});
    }
    static nlohmann::json Parsed(const ExplainOutcome& outcome) {
        return nlohmann::json::parse(outcome.output);
    }
    std::string Zipped(const std::string& text) const {
        const std::string path = bench.Write("log.gz", "");
        const gzFile file = gzopen(path.c_str(), "w");
        gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
        gzclose(file);
        return BenchDir::Read(path);
    }

    const BenchDir bench;
    StoryLog log;
};

TEST_F(LogFile, IsOneDocument) {
    const nlohmann::json document = Parsed(Run(log.text));
    EXPECT_EQ(document["log"]["frames"], 4 * 2 + 5 + 2 * 260 + 4);
    EXPECT_EQ(document["log"]["bitrate"], 125000);  // a frame a millisecond
    EXPECT_NEAR(document["log"]["busy"].get<double>(), 537 * 131 / 125e3 / 4.536, 0.01);
    const nlohmann::json& update = document["updates"][0];
    EXPECT_NEAR(update["ended"].get<double>(), 104.536, 1e-6);
    EXPECT_EQ(update["size"], 2048);
    EXPECT_EQ(update["plan"], "A");
    EXPECT_EQ(update["result"], 0);
    EXPECT_EQ(update["starts"], nlohmann::json({1, 1}));
    const std::pair<const char*, double> phases[] = {{"link", 4.008}, {"start", 0.003}, {"erase", 0.001},
                                                     {"data", 0.520}, {"check", 0.001}, {"reset", 0.002}};
    for (const auto& [name, seconds] : phases)
        EXPECT_NEAR(update["phases"][name].get<double>(), seconds, 0.0025) << name;
    EXPECT_EQ(update["diagnoses"][0]["id"], "success");
    EXPECT_TRUE(update["diagnoses"][0]["evidence"]["time"].is_number());
}

TEST_F(LogFile, MayBeZippedAndCut) {
    const std::string zipped = Zipped(log.text);
    EXPECT_EQ(Parsed(Run(zipped))["updates"][0]["result"], 0);
    const auto cut = Run(zipped.substr(0, zipped.size() / 2));
    EXPECT_EQ(cut.end, ExplainEnd::kDone);
    EXPECT_TRUE(Parsed(cut)["updates"][0]["result"].is_null());
    EXPECT_EQ(Run(zipped.substr(0, 12)).why, "the gzip'ed file is cut off");
    EXPECT_EQ(Parsed(Run(log.text.substr(0, log.text.size() - 4)))["log"]["bad_lines"], 1);
}

TEST_F(LogFile, BadLinesAreCountedAndTheRestIsExplained) {
    const std::string long_line(600'000, 'x');
    log.text = "rubbish\n(1.0) can0 123##100\n" + long_line + "\n" + std::string(300, '\0') + "\n" +
               log.text + long_line;
    const nlohmann::json document = Parsed(Run(log.text));
    EXPECT_EQ(document["log"]["bad_lines"], 5);
    EXPECT_EQ(document["updates"][0]["result"], 0);
}

TEST_F(LogFile, PageHoldsTheFactsAndNothingOfTheLogAsMarkup) {
    for (std::size_t at = 0; (at = log.text.find("can0", at)) != std::string::npos; ++at)
        log.text.replace(at, 4, "<b>&\"'");
    const std::string page = (bench.Root() / "page.html").string();
    EXPECT_EQ(Run(log.text, page).end, ExplainEnd::kDone);
    const std::string html = BenchDir::Read(page);
    EXPECT_NE(html.find("on &#60;b&#62;&#38;&#34;&#39;<"), std::string::npos);
    EXPECT_EQ(html.find("<b>"), std::string::npos);
    for (const char* fact : {"phase-data", "<ul class=\"diagnoses\"", "<td>00004000</td>"})
        EXPECT_NE(html.find(fact), std::string::npos) << fact;
    EXPECT_FALSE(std::filesystem::exists(page + ".part"));
}

TEST_F(LogFile, ExitStatusTellsWhatIsWrong) {
    const std::string path = bench.Write("log", log.text);
    const std::string empty = bench.Write("empty", "no frame\n");
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* words;
    } cases[] = {{{path}, 0, ""},
                 {{path, "--charge", "1e1"}, 2, "--charge"},
                 {{path, "--html", path}, 2, "is the log itself"},
                 {{path + "x"}, 3, "No such file"},
                 {{bench.Root().string()}, 3, "Is a directory"},
                 {{empty}, 3, "no frame in it"},
                 {{"/dev/zero"}, 3, "no frame in its first 16 MiB"},
                 {{path, "--html", "/dev/full"}, 1, "No space left"}};
    for (const auto& each : cases) {
        std::vector<std::string> command = {VELMORINCTL, "explain"};
        command.insert(command.end(), each.arguments.begin(), each.arguments.end());
        Process process(command);
        EXPECT_EQ(process.Wait(), each.status) << each.arguments.back();
        EXPECT_NE(process.errors.find(each.words), std::string::npos) << process.errors;
    }
    EXPECT_EQ(BenchDir::Read(path), log.text);
}

}  // namespace
}  // namespace velmorin
