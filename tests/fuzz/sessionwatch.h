// Watches a session on the bus in memory, pass by pass, for what may never happen, whatever it receives.
#pragma once

#include <string>
#include <vector>

#include "canframe.h"
#include "membus.h"

class SessionWatch {
  public:
    /// The session must outlive the watch and hold its send cache already.
    explicit SessionWatch(const canframe& session);

    /// Runs one pass. Empty, or in a few words what it broke. The bus's `written` and `taken` are this
    /// pass's.
    std::string Pass(canframe& session);

  private:
    struct Group {
        const s_addnode* node;
        int state;
        int addrstate;
        int sendcount;
        bool foreign;  ///< came with a state of its own, as a damaged staging file may give it
    };

    std::string BrokenNumbers() const;
    std::string BrokenReception() const;
    std::string BrokenGroups() const;
    std::string BrokenLink() const;
    std::string BrokenEnd() const;
    std::string BrokenWrites() const;
    std::string BrokenPace();
    bool SentPacket() const { return session_.m_packid == packid_ + 1; }
    bool IsPacketOfOpenGroup(const can_frame& frame) const;

    const canframe& session_;
    std::vector<Group> groups_;
    std::size_t mailbox_ = 0;  ///< before the pass, as are the next two
    int packid_ = 0;
    unsigned int heartmiss_ = 0;
    unsigned int last_queued_[256] = {};  ///< a command's last pass; 0: it may be queued at once
};
