// A log written by a story: an update of the device e0 10 20 as it runs when nothing goes wrong, in verbs,
// and whatever may go wrong between them.
#pragma once

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "buslog.h"
#include "candump.h"
#include "diagnoses.h"

class StoryLog {
  public:
    int charge = 0xE0;
    std::string text;
    double now = 100;

    void Frame(unsigned int id, std::initializer_list<int> data) {
        can_frame frame{id | CAN_EFF_FLAG, {static_cast<std::uint8_t>(data.size())}, 0, 0, 0, {}};
        std::ranges::copy(data, frame.data);
        const long long micros = std::llround(now * 1e6);
        text += velmorin::CandumpLine({micros / 1'000'000, micros % 1'000'000}, "can0", frame) + '\n';
        now += 0.001;
    }
    void Ask(int pf, int b3 = 0, int b4 = 0, int b5 = 0) {
        Frame(Id(pf, charge, 0x8A), {1, 0x10, 0x20, b3, b4, b5, 0, 0});
    }
    void Answer(int pf, int b3 = 0, int b4 = 0, int b5 = 0) { From(charge, pf, b3, b4, b5); }
    void From(int node, int pf, int b3 = 0, int b4 = 0, int b5 = 0) {
        Frame(Id(pf, 0x8A, node), {1, 0x10, 0x20, b3, b4, b5, 0, 0});
    }
    void Wait(double seconds) { now += seconds; }

    /// Heartbeats from `number_` on, a second apart.
    void Beat(int count, bool answered = true) {
        for (int i = 0; i < count; ++i, ++number_) {
            Frame(Id(0x70, charge, 0x8A), {1, 0x10, number_, 0, 0, 0, 0, 0});
            if (answered) Frame(Id(0x71, 0x8A, charge), {1, 0x10, number_, 0, 0, 0, 0, 0});
            now += 1;
        }
    }
    /// To the go-ahead, the first group at address 40xx.
    void Begin() {
        Beat(4);
        Ask(0x72);
        Answer(0x73, 0, 0, 1);
        Ask(0x74);
        Answer(0x75, 0, 0, 0x40);
        Answer(0x76);
    }
    void Start(int group) { Ask(0x77, 0, 0x40 + 4 * group); }
    /// Started, sent but for its packets `from` to `to` - 1, and ended; no verdict.
    void Send(int group, int from = 0, int to = 0) {
        Start(group);
        Answer(0x78, 0, 0x40 + 4 * group);
        for (int i = 0; i < 256; ++i) {
            if (i < from || i >= to) Ask(0x79, i, 1, 2);
        }
        Ask(0x7A, 9, 9);
    }
    void Verdict(int status, int next_group) { Answer(0x7B, status, 0, 0x40 + 4 * next_group); }
    void Groups(int first, int last) {
        for (int i = first; i <= last; ++i) {
            Send(i);
            Verdict(0xAA, i + 1);
        }
    }
    void End() {
        Ask(0x7C);
        Answer(0x7D);
        Ask(0x7E, 0xAA);
        Answer(0x7F, 0xAA);
    }
    /// The same command so many times, as an updater without a reply sends it.
    template <typename Command>
    void Repeat(int times, const Command& command) {
        for (int i = 0; i < times; ++i, now += 0.51) command();
    }

    std::vector<velmorin::Update> Updates() const {
        velmorin::BusLog bus;
        velmorin::LoggedFrame frame;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            if (ParseCandumpLine(line, &frame) == velmorin::LineKind::kFrame) bus.Take(frame);
        }
        return bus.Finish();
    }

  private:
    static unsigned int Id(int pf, int to, int from) {
        return 0x10000000U | static_cast<unsigned int>(pf << 16 | to << 8 | from);
    }
    int number_ = 0;
};
