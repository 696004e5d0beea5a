// The transmit sequencer: one call a pass, timed by counting calls.
#include <cstdio>

#include "canframe.h"
#include "tool.h"

using namespace velmorin;

void canframe::working(unsigned int pass) {
    if (RunStep()) SuperviseLink();
    if (pass % kHeartbeatPasses == 0) m_mailbox.push_back(Build28672());
    SendMessageEvent();
}

void canframe::EnterStep(Step step) {
    m_runstep = step;
    m_sendcount = 0;
    m_waittime = 0;
}

bool canframe::RunStep() {
    switch (static_cast<Step>(m_runstep)) {
        case kStepIdle:
            tool::Tool_Delayms(kIdlePauseMs);
            break;
        case kStepClosing:
            tool::Tool_Delays(kClosingPauseS);
            m_finished = 1;
            break;
        case kStepLinkWait:
            if (IsLinked()) {
                m_runstep = kStepBegin;
                m_waittime = 0;
                return false;
            }
            break;
        case kStepBegin:
            m_runstep = kStepStartDownload;
            break;
        case kStepStartDownload:
            Resend("发送启动下载命令", &canframe::Build29184);
            break;
        case kStepRequestAddress:
            Resend("发送索要区间命令帧", &canframe::Build29696);
            break;
        case kStepStartGroup:
            StartNextGroup();
            break;
        case kStepData:
            SendNextPacket();
            break;
        case kStepGroupEnd:
            Resend("发送完成组包命令帧", &canframe::Build31232);
            break;
        case kStepProgramCheck:
            Resend("发送程序校验数据帧", &canframe::Build31744);
            break;
        case kStepReset:
            Resend("发送立即复位命令帧", &canframe::Build32256);
            break;
    }
    return true;
}

/// Counts the resend timer down; true in the call that finds it run out.
bool canframe::ResendDue() {
    if (m_waittime == 0) return true;
    m_waittime -= kPassMs;
    return false;
}

void canframe::Resend(const char* trace, tagCAN_MailBox (canframe::*build)()) {
    if (!ResendDue()) return;
    if (m_debug == 1) std::puts(trace);
    m_mailbox.push_back((this->*build)());
    m_waittime = kResendMs;
}

void canframe::StartNextGroup() {
    if (!ResendDue()) return;
    if (m_debug == 1) std::puts("发送启动组包命令帧");
    int result = 0;
    const tagCAN_MailBox command = Build30464(result);
    if (result == kStartGroup) {
        m_mailbox.push_back(command);
        m_waittime = kResendMs;
    } else if (result == kStartNone) {
        if (m_debug == 1) std::puts("数据已经全部发送完毕");
        EnterStep(kStepProgramCheck);
    } else {
        m_errorcode = kResultGroupRejected;
        m_runstep = kStepClosing;
    }
}

void canframe::SendNextPacket() {
    if (SendMessageEventV2() != -1) return;
    if (m_debug == 1) std::puts("一组数据发送完毕");
    EnterStep(kStepGroupEnd);
}

bool canframe::IsLinked() const {
    return m_heartseq >= kHeartbeatsForLink && m_heartmiss <= kMissedForLink;
}

void canframe::SuperviseLink() {
    if (m_heartmiss <= kMissedLimit) return;
    m_heartmiss = 0;
    m_runstep = kStepLinkWait;
    if (m_debug == 1) std::puts("heart beat timeout");
}
