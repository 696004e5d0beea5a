// Every transcript of the folder comes again to the letter.
// VELMORIN_TRANSCRIPTS=write writes those anew that do not.
#include "transcript.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<std::filesystem::path> Transcripts() {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(TRANSCRIPTS))
        if (entry.is_regular_file()) paths.push_back(entry.path());
    return paths;
}

class Transcript : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(Transcript, ComesAgain) {
    std::ifstream file(GetParam());
    const std::string wanted{std::istreambuf_iterator<char>(file), {}};
    const std::string got = Replay(wanted);
    if (std::getenv("VELMORIN_TRANSCRIPTS") != nullptr && got != wanted) {
        std::ofstream(GetParam()) << got;
        FAIL() << "written anew: read the difference";
    }
    EXPECT_EQ(got, wanted);
}

INSTANTIATE_TEST_SUITE_P(Job, Transcript, testing::ValuesIn(Transcripts()), [](const auto& transcript) {
    return transcript.param.parent_path().filename().string() + "_" + transcript.param.stem().string();
});

}  // namespace
