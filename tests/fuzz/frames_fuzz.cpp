// Whatever arrives on the bus, in whatever order and state: the session keeps its rules, see SessionWatch.
#include <cstdio>
#include <cstdlib>

#include "input.h"
#include "membus.h"
#include "sessionwatch.h"

using membus::TheBus;

namespace {

constexpr int kMaxPasses = 3000;

class Play {
  public:
    Play(const std::uint8_t* bytes, std::size_t size) : input_(bytes, size) {
        TheBus() = {};
        session_.m_canhandle = new CAN_Port{membus::kDescriptor, 0};
        session_.m_debug = input_.Flag() ? 1 : 0;
        session_.m_canport = input_.Take<std::uint8_t>();
        session_.m_chargeaddress = input_.Take<std::uint16_t>();
        session_.m_devtype = input_.Take<std::uint8_t>();
        session_.m_updateaddress = input_.Take<std::uint8_t>();
        session_.m_heartseq = input_.Flag() ? 65534 : 0;
        for (int groups = input_.Below(5); groups > 0; --groups) AddGroup();
    }

    void Run() {
        SessionWatch watch(session_);
        while (!input_.IsEmpty() && session_.m_finished != 1 && passes_ < kMaxPasses) Act(watch);
        session_.CacheClean();
        if (!session_.m_addlist.empty()) Fail("cache not clean");
    }

  private:
    void AddGroup() {
        s_addnode& group = session_.m_addlist.emplace_back();
        group.addrstate = -1;
        group.address = input_.Flag() ? 1024 : static_cast<unsigned int>(1024 * session_.m_addlist.size());
        group.count = input_.Below(6);
        for (int i = 0; i < group.count; ++i) {
            s_datanode& packet = group.dataqueue.emplace_back();
            packet.dataid = i;
            packet.frame.can_id = 0x9079E08AU;
            packet.frame.can_dlc = 8;
            packet.frame.data[3] = static_cast<unsigned char>(i);
        }
    }

    void Act(SessionWatch& watch) {
        switch (input_.Below(7)) {
            case 0:
                return Wait(watch, 1 + input_.Below(120));
            case 1:
                return Deliver(RawFrame(), input_.Below(18) - 1);
            case 2:
                Deliver(RawFrame(), sizeof(can_frame));
                break;
            case 3:
                Deliver(Reply(), sizeof(can_frame));
                break;
            case 4:
                return Converse(watch, 1 + 2 * input_.Below(256));
            case 5:
                TheBus().refuses = !TheBus().refuses;
                break;
            default:
                Deliver(PartOfMessage(), sizeof(can_frame));
                break;
        }
        Wait(watch, 1);
    }

    can_frame RawFrame() { return input_.Take<can_frame>(); }

    can_frame WithPf(unsigned int pf) {
        can_frame frame{};
        frame.can_id = 0x90008AE0U | pf << 16;
        frame.can_dlc = 8;
        for (unsigned char& byte : frame.data) byte = input_.Take<std::uint8_t>();
        return frame;
    }

    can_frame Reply() {
        constexpr unsigned int kReplies[] = {0x08, 0x71, 0x73, 0x75, 0x76, 0x78, 0x7B, 0x7D, 0x7F};
        return WithPf(kReplies[input_.Below(std::size(kReplies))]);
    }

    can_frame PartOfMessage() {
        constexpr unsigned int kMessages[] = {0x11, 0x13, 0x20, 0x61};
        can_frame frame = WithPf(kMessages[input_.Below(std::size(kMessages))]);
        if (input_.Flag()) frame.data[0] = static_cast<unsigned char>(session_.m_rxseq + 1);
        return frame;
    }

    void Deliver(const can_frame& frame, int length) { TheBus().arrivals.push_back({length, frame}); }

    void Wait(SessionWatch& watch, int passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes, ++passes_) {
            const std::string broken = watch.Pass(session_);
            if (!broken.empty()) Fail(broken);
        }
    }

    /// The device answers as it should, so that the job comes to where the next fault counts.
    void Converse(SessionWatch& watch, int passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes) {
            Wait(watch, 1);
            for (const can_frame& command : TheBus().written) Answer(command);
        }
    }

    void Answer(const can_frame& command) {
        can_frame reply = command;
        const unsigned int pf = command.can_id >> 16 & 0xFF;
        if (pf == 0x79) return;
        reply.can_id = 0x90008AE0U | (pf + 1) << 16;
        if (pf == 0x72 || pf == 0x7C) reply.data[3] = 0;
        if (pf == 0x7A) reply.data[3] = 0xAA;
        Deliver(reply, sizeof reply);
        if (pf != 0x74) return;
        reply.can_id = 0x90768AE0U;
        Deliver(reply, sizeof reply);
    }

    [[noreturn]] void Fail(const std::string& what) {
        std::fprintf(stderr, "pass %u, step %d: %s\n", session_.m_loopcount, session_.m_runstep,
                     what.c_str());
        std::abort();
    }

    Input input_;
    canframe session_;
    int passes_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Play(bytes, size).Run();
    return 0;
}
