// The groups of a watched job: which is next, who has an address, and how all of them can go out again.
#pragma once

#include <deque>
#include <list>
#include <vector>

#include "sendcache.h"

namespace velmorin {

/// Looks after the session's send cache. Handlers free a group's packets when it is confirmed; this keeps
/// them, for a device that forgets what it has taken.
class Groups {
  public:
    /// The cache outlives this object and keeps its groups.
    explicit Groups(std::list<s_addnode>* cache);

    /// The first group that is not confirmed, null when all are.
    s_addnode* Next();
    /// The first group without an address, null when all have one.
    s_addnode* Waiting();
    /// The group that was given this address, null when none was.
    s_addnode* Holder(unsigned int address);
    int IndexOf(const s_addnode* group) const;
    int Confirmed() const;
    int Count() const { return static_cast<int>(cache_->size()); }

    /// Puts the group's packets aside; its queue is empty afterwards.
    void Keep(s_addnode* group);
    /// Forgets confirmations and addresses, and puts all packets back.
    void StartAnew();

  private:
    std::list<s_addnode>* cache_;
    std::vector<std::deque<s_datanode>> kept_;  // by index
};

}  // namespace velmorin
