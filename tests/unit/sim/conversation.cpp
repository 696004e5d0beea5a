// The simulator's conversations are transcripts, too. Their commands:
//
//   velmorin-sim OPTIONS...  a device of these options, or of their log, and an empty bus; the time is 0
//   FRAME                    from the updater: PF DATA, filled up with zeros, or IDENTIFIER DATA with flags;
//                            ID/N: a length of N; a byte FIRST..LAST: one frame with each of these
//   +MS                      so much later
//   gone, summary            the updater leaves; what is told of the job
//   bits FRAME               how long the frame is
//   offer NODE NS FRAME      to the bus, since then
//   ended NS                 what has passed on the bus by then
//   load NS                  what is told of the bus then
//
// Replies are told when they leave, zero bytes at their end left out, and notes in quotation marks.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../transcripts/transcript.h"
#include "answer.h"
#include "busload.h"
#include "framebits.h"
#include "options.h"
#include "timedbus.h"

using namespace velmorin;

namespace sim {
namespace {

unsigned char Byte(const std::string& hex, std::size_t at) {
    return static_cast<unsigned char>(std::stoul(hex.substr(at, 2), nullptr, 16));
}

std::vector<can_frame> Frames(std::string id, Words& words) {
    std::string hex;
    for (std::string word; words >> word;) hex += word;
    can_frame frame{0, {8}, 0, 0, 0, {}};
    if (const std::size_t slash = id.find('/'); slash != std::string::npos) {
        frame.can_dlc = static_cast<unsigned char>(std::stoul(id.substr(slash + 1)));
        id.resize(slash);
    }
    unsigned int times = 1;
    std::size_t place = 0;
    if (const std::size_t dots = hex.find(".."); dots != std::string::npos) {
        times += Byte(hex, dots + 2) - Byte(hex, dots - 2);
        place = dots / 2 - 1;
        hex.erase(dots, 4);
    }
    const auto number = static_cast<canid_t>(std::stoul(id, nullptr, 16));
    frame.can_id = id.size() == 2 ? 0x9000E08A | number << 16 : number;
    for (std::size_t i = 0; i < hex.size() / 2; ++i) frame.data[i] = Byte(hex, 2 * i);
    std::vector<can_frame> frames(times, frame);
    for (unsigned int i = 0; i < times; ++i) frames[i].data[place] += static_cast<unsigned char>(i);
    return frames;
}

class Player {
  public:
    void Do(const std::string& line) {
        Words words(line);
        std::string word;
        int node = 0;
        Nanos when = 0;
        words >> word;
        if (word == "velmorin-sim") {
            Start(line);
        } else if (word[0] == '+') {
            now_ += std::lround(1000 * std::stod(word));
        } else if (word == "gone") {
            responder_->UpdaterGone();
        } else if (word == "summary") {
            Tell(responder_->Summary() + (responder_->IsOver() ? "; over" : "") +
                 (responder_->IsRight() ? "; right" : ""));
        } else if (word == "bits") {
            words >> word;
            Tell(std::to_string(FrameBits(Frames(word, words)[0])));
        } else if (word == "offer") {
            words >> node >> when >> word;
            for (const can_frame& frame : Frames(word, words))
                if (!bus_->Offer(node, frame, when)) Tell("no room");
        } else if (word == "ended") {
            words >> when;
            while (const auto passed = bus_->TakeEnded(when)) {
                Tell(Format("%x of node %d at %lld", passed->frame.can_id, passed->node, passed->end));
                load_->Add(passed->frame, passed->end);
            }
            if (const auto next = bus_->NextEnd()) Tell(Format("next at %lld", *next));
        } else if (word == "load") {
            words >> when;
            Tell(load_->Text(when));
        } else {
            for (const can_frame& frame : Frames(word, words)) {
                if (!responder_->Receive(frame, now_)) Tell("not taken");
                Listen();
            }
        }
        Listen();
        Flush();
    }
    std::string told;

  private:
    void Start(const std::string& line) {
        Words words(line);
        const std::vector<std::string> options_given{std::istream_iterator<std::string>(words), {}};
        std::vector<const char*> arguments;
        for (const std::string& each : options_given) arguments.push_back(each.c_str());
        Options options;
        testing::internal::CaptureStderr();
        const auto status = ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
        const std::string error = testing::internal::GetCapturedStderr();
        if (status) return Tell(error.substr(0, error.find('\n')) + ", status " + std::to_string(*status));
        now_ = 0;
        bus_.emplace(options.bitrate.value_or(5000));
        load_.emplace(options.bitrate.value_or(5000), options.device.address, 0);
        responder_ = std::make_unique<Device>(options.device);
        if (options.answer.empty()) return;
        try {
            Recording recording = ReadRecording(options.answer, options.address);
            Tell(Format("answers as %02x, %zu lines skipped", recording.address, recording.skipped_lines));
            responder_ = std::make_unique<Answer>(std::move(recording));
        } catch (const LogError& refused) {
            Tell(refused.what());
        }
    }
    void Listen() {
        while (const auto frame = responder_->TakeDue(now_)) {
            std::string text = Format("%02x ", PfOf(frame->can_id));
            for (const std::uint8_t byte : frame->data) text += Format("%02x", byte);
            while (text.ends_with("00")) text.resize(text.size() - 2);
            Tell(text);
        }
        for (const std::string& note : responder_->TakeNotes()) Tell('"' + note + '"');
    }
    void Tell(const std::string& text) {
        if (text != said_) Flush();
        said_ = text;
        ++times_;
    }
    void Flush() {
        if (times_ > 0) told += "  " + said_ + (times_ == 1 ? "" : " x" + std::to_string(times_)) + "\n";
        times_ = 0;
    }

    Micros now_ = 0;
    std::unique_ptr<Responder> responder_ = std::make_unique<Device>(Settings{});
    std::optional<TimedBus> bus_;
    std::optional<BusLoad> load_;
    std::string said_;
    int times_ = 0;
};

}  // namespace
}  // namespace sim

std::string Replay(const std::string& transcript) {
    std::filesystem::current_path(LOGS);
    sim::Player player;
    Words lines(transcript);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("  ")) continue;
        player.told += line + "\n";
        if (!line.empty() && line[0] != '#') player.Do(line);
    }
    return player.told;
}
