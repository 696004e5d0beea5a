// The finder gives what a plain walk over the list gives, whatever happens to the list.
#include "groupfinder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "seed.h"

namespace {

using Groups = GroupFinder::Groups;

bool IsOpen(const s_addnode& group) {
    return group.state == 0;
}

bool Waits(const s_addnode& group) {
    return group.addrstate == -1;
}

TEST(GroupFinder, AgreesWithAWalkUnderRandomChanges) {
    std::mt19937 random = SeededRandom();
    const auto below = [&](std::size_t limit) { return static_cast<unsigned int>(random() % limit); };

    GroupFinder finder;
    Groups groups;
    const auto walk = [&](auto wanted) { return std::find_if(groups.begin(), groups.end(), wanted); };
    for (int step = 0; step < 20000; ++step) {
        const unsigned int what = below(100);
        if (what == 0) {
            groups.clear();
            finder.Reset();
        }
        for (unsigned int more = what < 3 || groups.empty() ? 1 + below(12) : 0; more > 0; --more) {
            s_addnode& group = groups.emplace_back();
            group.address = below(6);
            group.addrstate = -1;
            group.count = static_cast<int>(below(4));
            group.dataqueue.resize(static_cast<std::size_t>(group.count));
        }
        s_addnode& any = *std::next(groups.begin(), static_cast<int>(below(groups.size())));
        if (what == 3) any.dataqueue.clear();
        if (what == 4) any.count = static_cast<int>(below(5));
        if (what == 5) groups.front().state = 0;
        if (what == 6 && walk(IsOpen) == groups.end()) any.state = 0;
        if (what == 6 && walk(Waits) == groups.end()) any.addrstate = -1;
        const unsigned int address = below(6);
        const auto open = finder.FirstUnconfirmed(groups);
        const auto waiting = finder.FirstWaiting(groups);
        if (what >= 75 && open != groups.end()) {  // a right verdict, whose packets a damaged cache may keep
            open->state = 1;
            if (what < 99) open->dataqueue.clear();
        } else if (what >= 50 && waiting != groups.end()) {  // an address from the device
            waiting->address = address;
            waiting->addrstate = 1;
        }

        const int index = static_cast<int>(below(5));
        ASSERT_EQ(finder.FirstUnconfirmed(groups), walk(IsOpen));
        ASSERT_EQ(finder.FirstWaiting(groups), walk(Waits));
        ASSERT_EQ(finder.FirstUnconfirmedAt(groups, address),
                  walk([&](const s_addnode& group) { return IsOpen(group) && group.address == address; }));
        ASSERT_EQ(finder.HolderOf(groups, address, index), walk([&](const s_addnode& group) {
                      return group.address == address && index < group.count &&
                             static_cast<std::size_t>(index) < group.dataqueue.size();
                  }));
    }
}

}  // namespace
