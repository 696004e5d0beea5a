// Finds groups in the send cache without walking it from the start in every pass: a job only ever confirms
// its groups and gives them addresses from the front, so a cursor for each stays where the last search ended.
#pragma once

#include <cstddef>
#include <list>

#include "sendcache.h"

/// Every search gives what a walk over the whole list would give, as long as groups are confirmed and
/// addressed from the front, as a job does. Amortised constant time a call in a job; linear for an address
/// that no unconfirmed group has, and once at the end of a job.
///
/// The cursors start over when the list has another size, first or last group than before, when its first
/// group or the one before a cursor is open again, and on `Reset`, which whoever empties or refills the list
/// calls.
class GroupFinder {
  public:
    using Groups = std::list<s_addnode>;

    /// Forgets the list.
    void Reset();

    /// First group that the device has not confirmed (`state` 0), or end().
    Groups::iterator FirstUnconfirmed(Groups& groups);
    /// First group that still waits for its address (`addrstate` -1), or end().
    Groups::iterator FirstWaiting(Groups& groups);
    /// First unconfirmed group with this address, or end(). Of several with one address it is the one whose
    /// packets went out.
    Groups::iterator FirstUnconfirmedAt(Groups& groups, unsigned int address);
    /// First group with this address that still holds packet `index`, or end(). Behind the packets of a whole
    /// group only the first unconfirmed group is looked at.
    Groups::iterator HolderOf(Groups& groups, unsigned int address, int index);

  private:
    void Refresh(Groups& groups);

    Groups::iterator unconfirmed_{};
    Groups::iterator waiting_{};
    std::size_t size_ = 0;
    const s_addnode* first_ = nullptr;
    const s_addnode* last_ = nullptr;
    bool confirmed_hold_ = false;  // a confirmed group still has packets: search from the start
};
