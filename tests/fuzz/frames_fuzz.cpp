// Whatever arrives on the bus, in whatever order and state: the session goes on, and succeeds by a reset
// reply alone.
#include "desk.h"
#include "input.h"

using namespace velmorin;

namespace {

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
        desk_.seen = [this](Desk::Way way, const can_frame& frame) {
            if (way == Desk::kToUpdater) taken_ = PfOf(frame.can_id);
            if (way == Desk::kToDevice && willing_) SayYes(desk_, frame);
        };
    }

    void Run() {
        while (!input_.IsEmpty() && session_.m_finished != 1) Act();
        if (session_.m_finished == 1 && session_.m_errorcode == 0 && taken_ != kPfResetReply)
            Fail("success without a reset reply");
        session_.CacheClean();
        if (!session_.m_addlist.empty()) Fail("cache not clean");
    }

  private:
    void Act() {
        const int act = input_.Below(7);
        willing_ = act == 4;  // so that the job comes to where the next fault counts
        if (act == 0) return Wait(1 + input_.Below(120));
        if (act == 4) return Wait(1 + 2 * input_.Below(256));
        if (act == 1) desk_.inbox.push_back({input_.Below(18) - 1, input_.Take<can_frame>()});
        if (act == 2) desk_.Arrive(Desk::kToUpdater, input_.Take<can_frame>());
        if (act == 3)
            desk_.Arrive(Desk::kToUpdater, AnyOf({0x08, 0x71, 0x73, 0x75, 0x76, 0x78, 0x7B, 0x7D, 0x7F}));
        if (act == 5) desk_.write_fault = desk_.write_fault == 0 ? ENOBUFS : 0;
        if (act == 6) {
            can_frame part = AnyOf({0x11, 0x13, 0x20, 0x61});  // of a message
            if (input_.Flag()) part.data[0] = static_cast<unsigned char>(session_.m_rxseq + 1);
            desk_.Arrive(Desk::kToUpdater, part);
        }
        if (act != 1) Wait(1);
    }

    /// A reply with one of these PFs and any data.
    template <std::size_t kSize>
    can_frame AnyOf(const unsigned int (&pfs)[kSize]) {
        can_frame frame = ReplyOf(input_.OneOf(pfs));
        for (unsigned char& byte : frame.data) byte = input_.Take<std::uint8_t>();
        return frame;
    }

    void Wait(int passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes) session_.Runloop();
    }

    Input input_;
    canframe session_;
    Desk desk_;
    bool willing_ = false;
    unsigned int taken_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Play(bytes, size).Run();
    return 0;
}
