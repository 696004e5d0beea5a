#include "groupfinder.h"

#include <algorithm>
#include <iterator>

namespace {

bool Holds(const s_addnode& group, unsigned int address, int index) {
    return group.address == address && index >= 0 && index < group.count &&
           static_cast<std::size_t>(index) < group.dataqueue.size();
}

}  // namespace

void GroupFinder::Refresh(Groups& groups) {
    const s_addnode* first = groups.empty() ? nullptr : &groups.front();
    const s_addnode* last = groups.empty() ? nullptr : &groups.back();
    if (first == first_ && last == last_ && groups.size() == size_ && first != nullptr) return;
    first_ = first;
    last_ = last;
    size_ = groups.size();
    unconfirmed_ = waiting_ = groups.begin();
    confirmed_hold_ = false;
    most_packets_ = 0;
    for (const s_addnode& group : groups) most_packets_ = std::max(most_packets_, group.count);
}

GroupFinder::Groups::iterator GroupFinder::FirstUnconfirmed(Groups& groups) {
    Refresh(groups);
    if (unconfirmed_ != groups.begin() &&
        (groups.front().state == 0 || std::prev(unconfirmed_)->state == 0)) {
        unconfirmed_ = groups.begin();
        confirmed_hold_ = false;
    }
    for (; unconfirmed_ != groups.end() && unconfirmed_->state != 0; ++unconfirmed_) {
        confirmed_hold_ = confirmed_hold_ || !unconfirmed_->dataqueue.empty();
    }
    return unconfirmed_;
}

GroupFinder::Groups::iterator GroupFinder::FirstWaiting(Groups& groups) {
    Refresh(groups);
    if (waiting_ != groups.begin() &&
        (groups.front().addrstate == -1 || std::prev(waiting_)->addrstate == -1)) {
        waiting_ = groups.begin();
    }
    while (waiting_ != groups.end() && waiting_->addrstate != -1) ++waiting_;
    return waiting_;
}

GroupFinder::Groups::iterator GroupFinder::FirstUnconfirmedAt(Groups& groups, unsigned int address) {
    return std::find_if(FirstUnconfirmed(groups), groups.end(), [address](const s_addnode& group) {
        return group.state == 0 && group.address == address;
    });
}

GroupFinder::Groups::iterator GroupFinder::HolderOf(Groups& groups, unsigned int address, int index) {
    const auto from = FirstUnconfirmed(groups);
    if (index >= most_packets_) return groups.end();
    return std::find_if(confirmed_hold_ ? groups.begin() : from, groups.end(),
                        [&](const s_addnode& group) { return Holds(group, address, index); });
}
