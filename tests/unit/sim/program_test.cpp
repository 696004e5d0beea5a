// The command line, and the device of a log.
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "answer.h"
#include "benchdir.h"
#include "conversation.h"
#include "options.h"

using namespace velmorin;

namespace sim {
namespace {

/// What is printed on standard error; the exit status with it.
std::string Parse(const std::string& line) {
    Options options;
    std::istringstream in("velmorin-sim " + line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    std::vector<const char*> arguments;
    for (const std::string& word : words) arguments.push_back(word.c_str());
    testing::internal::CaptureStderr();
    const auto status = ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
    return (status ? std::to_string(*status) + " " : "") + testing::internal::GetCapturedStderr();
}

TEST(SimOptions, NamesTheOptionThatIsWrong) {
    EXPECT_EQ(Parse("--bench b --bitrate 5000 --address 0x1f --base fffffc00 --seed 4294967295 --drop 0.5"),
              "");
    const std::string wrong[] = {
        "--address 100",      "--address 0x",        "--base 8g",          "--drop nan",
        "--drop 100.5",       "--delay 600001",      "--refuse-start 256", "--bitrate 4999",
        "--reject-group 1:0", "--erase-fail 1:2:3",  "--bitrate 125k",     "--take 0",
        "--plan b",           "--save f --answer l", "--seed 4294967296",  "--no-such-option"};
    for (const std::string& each : wrong) {
        const std::string error = Parse("--bench b " + each);
        EXPECT_TRUE(error.starts_with("2 velmorin-sim: ")) << error;
        EXPECT_NE(error.find(each.substr(0, each.find(' '))), std::string::npos) << error;
    }
}

TEST(SimAnswer, SendsTheRecordedRepliesAfterTheCommandsThatPrecededThem) {
    const BenchDir bench;
    Recording recording = ReadRecording(bench.Write("log",
                                                    "(1.000000) can0 10E08A70#00\n"  // of another
                                                    "(1.000000) can0 1070E08A#0110070000000000\n"
                                                    "(1.002000) can0 10718AE0#0110070000000000 R\n"
                                                    "(2.000000) can0 1070E08A#0110080000000000\n"  // silence
                                                    "(2.500000) can0 1072E08A#0110200000000000\n"
                                                    "(3.000000) can0 1072E08A#0110200000000000\n"
                                                    "(3.001000) can0 10738AE0#0110200000000000\n"
                                                    "(3.001500) can0 123#R8\nrubbish\n"
                                                    "(3.002000) can0 1074E08A#0110200000000000\n"
                                                    "(3.003000) can0 10758AE0#0110200000400008 T\r\n"
                                                    "(3.102000) can0 10768AE0#0110200000400008\n"
                                                    "(4.002000) can0 1079E08A#0110200011111111\n"
                                                    "(5.000000) can0 107AE08A#0110205555555500\n"
                                                    "(5.004000) can0 107B8AE0#0110205500400008\n"
                                                    "(6.000000) can0 107CE08A#01102066666666"),
                                        {});
    EXPECT_EQ(std::tuple(recording.address, recording.skipped_lines), std::tuple(0xE0, 1U));
    Answer answer(std::move(recording));
    for (int updater = 0; updater < 2; ++updater) {
        Play(
            answer,
            "70 01100000 > -\n+2 > 71 0110\n72 011020 > -\n+999 > -\n72 011020 > -\n+1 > 73 011020\n"
            "72 011020 > -\n+99 > -\n74 011020\n+1 > 75 0110200000400008\n+98 > -\n+1 > 76 0110200000400008\n"
            "70 01100100 > -\n+9 > -\n70 01100200 > -\n+9 > -\npackets 0 255 11111111\n+9 > -\n"
            "7e 011020 aa > -\n7a 011020 55555556\n+3 > -\n+1 > 7b 0110205500400008");
        EXPECT_TRUE(answer.IsRight());
        EXPECT_EQ(answer.TakeNotes(),
                  (std::vector<std::string>{
                      "107EE08A#011020AA00000000: the log has no such command from here on, not answered",
                      "107AE08A#0110205555555600 where the log has 107AE08A#0110205555555500"}));
        answer.UpdaterGone();
        EXPECT_TRUE(answer.IsOver());
    }
    Play(answer, "74 011020\n+999 > 75 0110200000400008, 76 0110200000400008");
    EXPECT_FALSE(answer.IsRight()) << "it moved on to that command";
}

TEST(SimAnswer, RefusesALogThatCannotBePlayed) {
    const BenchDir bench;
    const std::string question = "(1.0) can0 1072E08A#0110200000000000\n",
                      reply = "(1.0) can0 10738AE0#01102000\n", other = "(1.0) can0 10738AE1#01102000\n";
    const std::pair<std::string, std::optional<std::uint8_t>> refused[] = {
        {"\x7f\x45LF\n", {}}, {question, {}}, {reply + other, {}}, {reply, 0xE1}};
    for (const auto& [log, address] : refused)
        EXPECT_THROW(ReadRecording(bench.Write("log", log), address), LogError) << log;
    EXPECT_EQ(ReadRecording(bench.Write("log", reply + other), 0xE1).address, 0xE1);
}

}  // namespace
}  // namespace sim
