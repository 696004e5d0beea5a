// Whatever arrives on the bus, in whatever order and state: the session keeps its rules, see SessionWatch.
#include "input.h"
#include "membus.h"
#include "sessionwatch.h"

using namespace velmorin;

using membus::TheBus;

namespace {

constexpr int kMaxPasses = 3000;

class Play {
  public:
    Play(const std::uint8_t* bytes, std::size_t size) : input_(bytes, size) {
        membus::Attach(session_);
        session_.m_debug = input_.Flag() ? 1 : 0;
        session_.m_canport = input_.Take<std::uint8_t>();
        session_.m_chargeaddress = input_.Take<std::uint16_t>();
        session_.m_devtype = input_.Take<std::uint8_t>();
        session_.m_updateaddress = input_.Take<std::uint8_t>();
        session_.m_heartseq = input_.Flag() ? 65534 : 0;
        const int groups = input_.Below(5);
        for (unsigned int i = 1; i <= static_cast<unsigned int>(groups); ++i) {
            const unsigned int address = input_.Flag() ? 1024 : 1024 * i;
            membus::AddGroup(session_, address, input_.Below(6));
        }
    }

    void Run() {
        SessionWatch watch(session_);
        while (!input_.IsEmpty() && session_.m_finished != 1 && passes_ < kMaxPasses) Act(watch);
        session_.CacheClean();
        if (!session_.m_addlist.empty()) Fail("cache not clean");
    }

  private:
    void Act(SessionWatch& watch) {
        const int act = input_.Below(7);
        if (act == 0) return Wait(watch, 1 + input_.Below(120));
        if (act == 4) return Converse(watch, 1 + 2 * input_.Below(256));
        if (act == 1) return DeliverPartOf(input_.Take<can_frame>());
        if (act == 2) TheBus().Deliver(input_.Take<can_frame>());
        if (act == 3) TheBus().Deliver(AnyOf({0x08, 0x71, 0x73, 0x75, 0x76, 0x78, 0x7B, 0x7D, 0x7F}));
        if (act == 5) TheBus().refuses = !TheBus().refuses;
        if (act == 6) TheBus().Deliver(PartOfMessage());
        Wait(watch, 1);
    }

    /// A reply with one of these PFs and any data.
    template <std::size_t kSize>
    can_frame AnyOf(const unsigned int (&pfs)[kSize]) {
        can_frame frame = membus::ReplyOf(input_.OneOf(pfs));
        for (unsigned char& byte : frame.data) byte = input_.Take<std::uint8_t>();
        return frame;
    }

    can_frame PartOfMessage() {
        can_frame frame = AnyOf({0x11, 0x13, 0x20, 0x61});
        if (input_.Flag()) frame.data[0] = static_cast<unsigned char>(session_.m_rxseq + 1);
        return frame;
    }

    /// A short read, or a failing one.
    void DeliverPartOf(const can_frame& frame) { TheBus().arrivals.push_back({input_.Below(18) - 1, frame}); }

    void Wait(SessionWatch& watch, int passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes, ++passes_) {
            const std::string broken = watch.Pass(session_);
            if (broken.empty()) continue;
            Fail("pass " + std::to_string(session_.m_loopcount) + ", step " +
                 std::to_string(session_.m_runstep) + ": " + broken);
        }
    }

    /// The device answers as it should, so that the job comes to where the next fault counts.
    void Converse(SessionWatch& watch, int passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes) {
            Wait(watch, 1);
            std::ranges::for_each(TheBus().written, membus::SayYes);
        }
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
