// What a session may never do, whatever it receives, looked at pass by pass.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "canframe.h"
#include "desk.h"

class SessionRules {
  public:
    /// The session holds its send cache already. Takes `desk.seen`, and hands on what it sees to `then`.
    SessionRules(canframe& session, Desk& desk, std::function<void(Desk::Way, const can_frame&)> then = {});

    /// Runs one pass. Empty, or in a few words what it broke.
    std::string Pass();

  private:
    std::string BrokenState() const;
    std::string BrokenGroups() const;
    std::string BrokenEnd() const;
    std::string BrokenWrites();
    /// The PF of the frame that the pass took, 0 without one.
    unsigned int Took() const;

    canframe& session_;
    std::optional<can_frame> taken_;
    std::vector<can_frame> written_;
    std::vector<int> confirmed_;  // by group, before the pass
    int packid_ = 0;              // before the pass
    unsigned int heartmiss_ = 0;  // before the pass
    unsigned int last_[256] =
        {};  // the pass in which a command was last written; 0: its answer has come since
};
