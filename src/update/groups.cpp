#include "groups.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "protocol.h"

namespace velmorin {
namespace {

template <typename Wanted>
s_addnode* First(std::list<s_addnode>* groups, Wanted wanted) {
    const auto found = std::ranges::find_if(*groups, wanted);
    return found == groups->end() ? nullptr : &*found;
}

}  // namespace

Groups::Groups(std::list<s_addnode>* cache) : cache_(cache), kept_(cache->size()) {}

s_addnode* Groups::Next() {
    return First(cache_, [](const s_addnode& each) { return each.state == kUnconfirmed; });
}

s_addnode* Groups::Waiting() {
    return First(cache_, [](const s_addnode& each) { return each.addrstate == kAddressMissing; });
}

s_addnode* Groups::Holder(unsigned int address) {
    return First(cache_, [address](const s_addnode& each) {
        return each.addrstate == kAddressGiven && each.address == address;
    });
}

int Groups::IndexOf(const s_addnode* group) const {
    const auto found =
        std::ranges::find_if(*cache_, [group](const s_addnode& each) { return &each == group; });
    return static_cast<int>(std::distance(cache_->begin(), found));
}

int Groups::Confirmed() const {
    return static_cast<int>(
        std::ranges::count_if(*cache_, [](const s_addnode& each) { return each.state == kConfirmed; }));
}

void Groups::Keep(s_addnode* group) {
    kept_[static_cast<std::size_t>(IndexOf(group))] = std::exchange(group->dataqueue, {});
}

void Groups::StartAnew() {
    auto kept = kept_.begin();
    for (s_addnode& group : *cache_) {
        if (group.state == kConfirmed) group.dataqueue = std::exchange(*kept, {});
        group.state = kUnconfirmed;
        group.addrstate = kAddressMissing;
        group.sendcount = 0;
        ++kept;
    }
}

}  // namespace velmorin
