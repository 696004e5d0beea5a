#include "groupfinder.h"

#include <algorithm>
#include <iterator>

#include "protocol.h"

namespace {

bool Holds(const s_addnode& group, unsigned int address, int index) {
    return group.address == address && index >= 0 && index < group.count &&
           static_cast<std::size_t>(index) < group.dataqueue.size();
}

bool IsUnconfirmed(const s_addnode& group) {
    return group.state == 0;
}

bool IsWaiting(const s_addnode& group) {
    return group.addrstate == -1;
}

/// Whether a cursor stands behind a group that is wanted (again): all before it were not when it passed them.
template <typename Wanted>
bool HasPassed(GroupFinder::Groups& groups, GroupFinder::Groups::iterator cursor, Wanted wanted) {
    return cursor != groups.begin() &&
           (cursor == groups.end() || wanted(groups.front()) || wanted(*std::prev(cursor)));
}

}  // namespace

void GroupFinder::Reset() {
    first_ = last_ = nullptr;
}

void GroupFinder::Refresh(Groups& groups) {
    const s_addnode* first = groups.empty() ? nullptr : &groups.front();
    const s_addnode* last = groups.empty() ? nullptr : &groups.back();
    if (first != nullptr && first == first_ && last == last_ && groups.size() == size_) return;
    first_ = first;
    last_ = last;
    size_ = groups.size();
    unconfirmed_ = waiting_ = groups.begin();
    confirmed_hold_ = false;
}

GroupFinder::Groups::iterator GroupFinder::FirstUnconfirmed(Groups& groups) {
    Refresh(groups);
    if (HasPassed(groups, unconfirmed_, IsUnconfirmed)) {
        unconfirmed_ = groups.begin();
        confirmed_hold_ = false;
    }
    for (; unconfirmed_ != groups.end() && !IsUnconfirmed(*unconfirmed_); ++unconfirmed_) {
        confirmed_hold_ = confirmed_hold_ || !unconfirmed_->dataqueue.empty();
    }
    return unconfirmed_;
}

GroupFinder::Groups::iterator GroupFinder::FirstWaiting(Groups& groups) {
    Refresh(groups);
    if (HasPassed(groups, waiting_, IsWaiting)) waiting_ = groups.begin();
    while (waiting_ != groups.end() && !IsWaiting(*waiting_)) ++waiting_;
    return waiting_;
}

GroupFinder::Groups::iterator GroupFinder::FirstUnconfirmedAt(Groups& groups, unsigned int address) {
    return std::find_if(FirstUnconfirmed(groups), groups.end(), [address](const s_addnode& group) {
        return IsUnconfirmed(group) && group.address == address;
    });
}

GroupFinder::Groups::iterator GroupFinder::HolderOf(Groups& groups, unsigned int address, int index) {
    const auto current = FirstUnconfirmed(groups);
    const auto from = confirmed_hold_ ? groups.begin() : current;
    if (index >= kPacketsPerGroup) {
        return current != groups.end() && Holds(*current, address, index) ? current : groups.end();
    }
    return std::find_if(from, groups.end(),
                        [&](const s_addnode& group) { return Holds(group, address, index); });
}
