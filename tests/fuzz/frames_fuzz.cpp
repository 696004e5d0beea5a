// Whatever arrives on the bus, in whatever order and state: the session keeps its rules, see SessionRules.
#include "input.h"
#include "sessionrules.h"

using namespace velmorin;

namespace {

constexpr int kMaxPasses = 3000;

class Play {
  public:
    Play(const std::uint8_t* bytes, std::size_t size) : input_(bytes, size), desk_(session_, std::nullopt) {
        session_.m_debug = input_.Flag() ? 1 : 0;
        session_.m_canport = input_.Take<std::uint8_t>();
        session_.m_chargeaddress = input_.Take<std::uint16_t>();
        session_.m_devtype = input_.Take<std::uint8_t>();
        session_.m_updateaddress = input_.Take<std::uint8_t>();
        session_.m_heartseq = input_.Flag() ? 65534 : 0;
        const int groups = input_.Below(5);
        for (unsigned int i = 1; i <= static_cast<unsigned int>(groups); ++i) {
            s_addnode& group = session_.m_addlist.emplace_back();
            group.addrstate = kAddressMissing;
            group.address = input_.Flag() ? 1024 : 1024 * i;
            group.count = input_.Below(6);
            group.dataqueue.resize(static_cast<std::size_t>(group.count));
            for (s_datanode& packet : group.dataqueue) packet.frame.can_id = 0x9079E08AU;
        }
        desk_.fate = [this](Desk::Way, int, can_frame& frame) {
            if (willing_) SayYes(desk_, frame);
            return Desk::Fate{};
        };
    }

    void Run() {
        SessionRules rules(session_, desk_);
        while (!input_.IsEmpty() && session_.m_finished != 1 && passes_ < kMaxPasses) Act(rules);
        session_.CacheClean();
        if (!session_.m_addlist.empty()) Fail("cache not clean");
    }

  private:
    void Act(SessionRules& rules) {
        const int act = input_.Below(7);
        willing_ = act == 4;  // so that the job comes to where the next fault counts
        if (act == 0) return Wait(rules, 1 + input_.Below(120));
        if (act == 4) return Wait(rules, 1 + 2 * input_.Below(256));
        if (act == 1) desk_.inbox.push_back({input_.Below(18) - 1, input_.Take<can_frame>()});
        if (act == 2) desk_.Arrive(Desk::kToUpdater, input_.Take<can_frame>());
        if (act == 3)
            desk_.Arrive(Desk::kToUpdater, AnyOf({0x08, 0x71, 0x73, 0x75, 0x76, 0x78, 0x7B, 0x7D, 0x7F}));
        if (act == 5) desk_.write_fault = desk_.write_fault == 0 ? ENOBUFS : 0;
        if (act == 6) desk_.Arrive(Desk::kToUpdater, PartOfMessage());
        if (act != 1) Wait(rules, 1);
    }

    /// A reply with one of these PFs and any data.
    template <std::size_t kSize>
    can_frame AnyOf(const unsigned int (&pfs)[kSize]) {
        can_frame frame = ReplyOf(input_.OneOf(pfs));
        for (unsigned char& byte : frame.data) byte = input_.Take<std::uint8_t>();
        return frame;
    }

    can_frame PartOfMessage() {
        can_frame frame = AnyOf({0x11, 0x13, 0x20, 0x61});
        if (input_.Flag()) frame.data[0] = static_cast<unsigned char>(session_.m_rxseq + 1);
        return frame;
    }

    void Wait(SessionRules& rules, int passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes, ++passes_) {
            const std::string broken = rules.Pass();
            if (broken.empty()) continue;
            Fail("pass " + std::to_string(session_.m_loopcount) + ", step " +
                 std::to_string(session_.m_runstep) + ": " + broken);
        }
    }

    Input input_;
    canframe session_;
    Desk desk_;
    bool willing_ = false;
    int passes_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Play(bytes, size).Run();
    return 0;
}
