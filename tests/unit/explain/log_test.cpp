// Log lines and files, good and bad, and what the command makes of them.
#include <gtest/gtest.h>
#include <zlib.h>

#include "benchdir.h"
#include "candump.h"
#include "process.h"

namespace velmorin {
namespace {

TEST(CandumpLine, GivesTheFrameOrSaysWhatElseItIs) {
    const std::pair<const char*, const char*> frames[] = {
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
}

TEST(LogFile, IsReadAsFarAsItIsOne) {
    const BenchDir bench;
    const std::string log = BenchDir::Read(LOG), path = bench.Write("log", log), zip = bench.Write("zip", "");
    const gzFile file = gzopen(zip.c_str(), "w");
    gzwrite(file, log.data(), static_cast<unsigned>(log.size()));
    gzclose(file);
    const std::string zipped = BenchDir::Read(zip), page = bench.Write("page", ""), long_line(600'000, 'x');
    const std::string bad =
        bench.Write("bad", long_line + "\n" + std::string(300, '\0') + "\n" + log + long_line);
    const std::tuple<std::vector<std::string>, int, const char*> cases[] = {
        {{path}, 0, "Result 0: success"},
        {{zip}, 0, "Result 0: success"},
        {{bench.Write("half", zipped.substr(0, zipped.size() / 2))}, 0, "early: the gzip'ed file is cut off"},
        {{bench.Write("stub", zipped.substr(0, 12))}, 3, "the gzip'ed file is cut off"},
        {{bench.Write("cut", log.substr(0, log.size() - 4))}, 0, "1 line left out"},
        {{bad}, 0, "3 lines left out"},
        {{bad, "--json"}, 0, "\"result\": 0,"},
        {{bench.Write("markup", "(1.0) <b>&\"' 1070E08A#"), "--html", page}, 0, "on <b>&\"'"},
        {{path, "--charge", "e1"}, 0, "No update of device e1"},
        {{path, "--charge", "1e1"}, 2, "--charge"},
        {{path, "--html", path}, 2, "is the log itself"},
        {{path + "x"}, 3, "No such file"},
        {{bench.Root().string()}, 3, "Is a directory"},
        {{bench.Write("empty", "no frame\n")}, 3, "no frame in it"},
        {{"/dev/zero"}, 3, "no frame in its first 16 MiB"},
        {{path, "--html", "/dev/full"}, 1, "No space left"}};
    for (const auto& [arguments, status, words] : cases) {
        std::vector<std::string> command = {VELMORINCTL, "explain"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Process process(command);
        EXPECT_EQ(process.Wait(), status) << words;
        EXPECT_NE((process.output + process.errors).find(words), std::string::npos) << words;
    }
    EXPECT_EQ(BenchDir::Read(path), log);
    EXPECT_FALSE(std::filesystem::exists(page + ".part"));
    const std::string html = BenchDir::Read(page);
    EXPECT_NE(html.find("on &#60;b&#62;&#38;&#34;&#39;<"), std::string::npos);
    EXPECT_EQ(html.find("<b>"), std::string::npos);
}

}  // namespace
}  // namespace velmorin
