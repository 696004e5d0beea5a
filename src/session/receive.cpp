// The receive side: one frame a pass, dispatched to its handler; multi-frame messages collected.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "canframe.h"
#include "littleendian.h"
#include "tool.h"

using namespace velmorin;

namespace {

/// Frames that a message of this many payload bytes takes: 1 + ceil((length - 4) / 7).
int FramesFor(int length) {
    return 1 + (length - kMultiFirstPayload + kMultiNextPayload - 1) / kMultiNextPayload;
}

/// The message's own checksum: both length bytes, the number of frames and every payload byte, summed.
unsigned int MultiFrameSum(int length, int frames, const unsigned char* payload) {
    auto sum = static_cast<unsigned int>((length & 0xFF) + (length >> 8) + frames);
    for (int i = 0; i < length; ++i) sum += payload[i];
    return sum;
}

}  // namespace

int canframe::Runloop() {
    unsigned char data[1024] = {};
    int kind = kKindNone;
    const int received = RecieveCanMuchData(data, &kind);
    if ((received & 0xFFFF) != 0 && m_debug == 1) {
        std::printf("can ID:%02x m_runstep:%d \n", static_cast<unsigned int>(kind), m_runstep);
    }
    Dispatch(kind, data);
    ++m_loopcount;
    working(m_loopcount);
    tool::Tool_Delayms(kPassMs);
    return 0;
}

void canframe::Dispatch(int kind, const unsigned char* data) {
    switch (kind) {
        case kPfVersionCheckReply:
            Deal2048(data);
            if (m_debug == 1)
                std::puts(version_passed_ ? "Verson Check is passed" : "Verson Check is not passed");
            if (version_passed_) {
                EnterStep(kStepBegin);
            } else {
                m_errorcode = kResultVersion;
                m_runstep = kStepClosing;
            }
            break;
        case kPfHeartbeatReply:
            Deal28928(data);
            break;
        case kPfStartDownloadReply:
            Deal29440(data);
            if (m_startack == kAccepted && m_startacked == 1) {
                EnterStep(kStepRequestAddress);
            } else {
                EnterStep(kStepClosing);
                m_errorcode = kResultRefused;
            }
            break;
        case kPfAddressReply:
            Deal29952(data);
            m_runstep = kStepIdle;
            break;
        case kPfGoAhead:
            Deal30208(data);
            EnterStep(kStepStartGroup);
            break;
        case kPfGroupStartReply:
            if (m_debug == 1) std::puts("收到启动组包应答帧");
            Deal30720(data);
            EnterStep(kStepData);
            break;
        case kPfGroupEndReply:
            Deal31488(data);
            EnterStep(kStepStartGroup);
            break;
        case kPfProgramCheckReply:
            Deal32000(data);
            if (m_checkack != kAccepted) {
                EnterStep(kStepIdle);
                m_errorcode = kResultProgramCheck;
                m_finished = 1;
            } else {
                EnterStep(kStepReset);
            }
            break;
        case kPfResetReply:
            Deal32512(data);
            m_runstep = kStepIdle;
            m_errorcode = kResultSuccess;
            m_finished = 1;
            break;
        default:  // not ours, none, or part of a message that nobody takes
            break;
    }
}

int canframe::RecieveCanMuchData(unsigned char* data, int* kind) {
    *kind = kKindNone;
    can_frame frame{};
    if (CAN_Read(m_canhandle, &frame) != 1) return 0;
    const int pf = PfOf(frame.can_id);
    switch (pf) {
        case kPfMulti11:
        case kPfMulti13:
        case kPfMulti20:
        case kPfMulti61:
            return CollectFrame(frame, pf, data, kind);
        default:
            break;
    }
    *kind = pf;
    const int length = std::min<int>(frame.can_dlc, kFrameLength);
    std::memcpy(data, frame.data, static_cast<std::size_t>(length));
    return length;
}

int canframe::CollectFrame(const can_frame& frame, int pf, unsigned char* data, int* kind) {
    *kind = kKindPartial;
    const int sequence = frame.data[kAtMultiSequence];
    if (m_rxseq == 0 && sequence == 1) return TakeFirstFrame(frame);
    if (sequence == m_rxseq + 1) return TakeNextFrame(frame, pf, data, kind);
    ClearMultiFrame();
    return 0;
}

int canframe::TakeFirstFrame(const can_frame& frame) {
    m_rxframes = frame.data[kAtMultiFrames];
    m_rxlength = static_cast<int>(GetLe16(frame.data + kAtMultiLength));
    if (m_rxlength < kMultiMinLength || m_rxlength > kMultiMaxLength || m_rxframes != FramesFor(m_rxlength)) {
        ClearMultiFrame();
        return 1;
    }
    std::memcpy(m_rxbuf, frame.data + kAtMultiFirst, kMultiFirstPayload);
    m_rxpos = kMultiFirstPayload;
    m_rxseq = 1;
    return 0;
}

int canframe::TakeNextFrame(const can_frame& frame, int pf, unsigned char* data, int* kind) {
    if (m_rxpos > kMultiMaxLength) {
        ClearMultiFrame();
        return 1;
    }
    std::memcpy(m_rxbuf + m_rxpos, frame.data + kAtMultiNext, kMultiNextPayload);
    m_rxpos += kMultiNextPayload;
    ++m_rxseq;
    if (m_rxseq != m_rxframes) return 0;
    // After a wrong checksum the state stays: the next message's first frame only clears it.
    if (MultiFrameSum(m_rxlength, m_rxframes, m_rxbuf) != GetLe16(m_rxbuf + m_rxlength)) return 0;
    *kind = pf;
    std::memcpy(data, m_rxbuf, static_cast<std::size_t>(m_rxlength));
    ClearMultiFrame();
    return 0;
}

void canframe::ClearMultiFrame() {
    m_rxframes = m_rxlength = m_rxseq = m_rxpos = 0;
}
