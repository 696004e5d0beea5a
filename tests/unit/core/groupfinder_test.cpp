// The finder gives what a plain walk over the list gives, whatever happens to the list.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "groupfinder.h"

namespace {

using Groups = GroupFinder::Groups;

const s_addnode* At(Groups& groups, Groups::iterator it) {
    return it == groups.end() ? nullptr : &*it;
}

template <typename Wanted>
const s_addnode* Walk(Groups& groups, Wanted wanted) {
    return At(groups, std::find_if(groups.begin(), groups.end(), wanted));
}

s_addnode MakeGroup(unsigned int address, int packets) {
    s_addnode group{};
    group.address = address;
    group.addrstate = -1;
    group.count = packets;
    group.dataqueue.resize(static_cast<std::size_t>(packets));
    return group;
}

TEST(GroupFinder, AgreesWithAWalkUnderRandomChanges) {
    const char* given = std::getenv("VELMORIN_SEED");
    const unsigned long seed = given != nullptr ? std::strtoul(given, nullptr, 10) : std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE("VELMORIN_SEED=" + std::to_string(seed));
    std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned int>(limit));
    };

    GroupFinder finder;
    Groups groups;
    for (int step = 0; step < 20000; ++step) {
        const int what = below(100);
        if (what == 0) {
            groups.clear();
            finder.Reset();
        }
        if (what < 3 || groups.empty()) {
            const int more = 1 + below(12);
            for (int i = 0; i < more; ++i) {
                groups.push_back(MakeGroup(static_cast<unsigned int>(below(6)), below(4)));
            }
        }
        const auto any = std::next(groups.begin(), below(static_cast<int>(groups.size())));
        if (what == 3) any->dataqueue.clear();
        if (what == 4) any->count = below(5);
        if (what == 5) groups.front().state = 0;
        const unsigned int address = static_cast<unsigned int>(below(6));
        if (what >= 90) {  // a good verdict, whose packets a damaged cache may keep
            const auto group = finder.FirstUnconfirmed(groups);
            if (group != groups.end()) {
                group->state = 1;
                if (what < 99) group->dataqueue.clear();
            }
        } else if (what >= 80) {  // an address from the device
            const auto group = finder.FirstWaiting(groups);
            if (group != groups.end()) {
                group->address = address;
                group->addrstate = 1;
            }
        }

        const int index = below(5);
        ASSERT_EQ(At(groups, finder.FirstUnconfirmed(groups)),
                  Walk(groups, [](const s_addnode& g) { return g.state == 0; }));
        ASSERT_EQ(At(groups, finder.FirstWaiting(groups)),
                  Walk(groups, [](const s_addnode& g) { return g.addrstate == -1; }));
        ASSERT_EQ(At(groups, finder.FirstUnconfirmedAt(groups, address)),
                  Walk(groups, [&](const s_addnode& g) { return g.state == 0 && g.address == address; }));
        ASSERT_EQ(At(groups, finder.HolderOf(groups, address, index)), Walk(groups, [&](const s_addnode& g) {
                      return g.address == address && index < g.count &&
                             static_cast<std::size_t>(index) < g.dataqueue.size();
                  }));
    }
}

TEST(GroupFinder, SeesAGroupThatIsOpenAgain) {
    GroupFinder finder;
    Groups groups;
    for (unsigned int i = 0; i < 5; ++i) groups.push_back(MakeGroup(i, 1));
    for (s_addnode& group : groups) group.state = group.addrstate = 1;
    EXPECT_EQ(At(groups, finder.FirstUnconfirmed(groups)), nullptr);
    EXPECT_EQ(At(groups, finder.FirstWaiting(groups)), nullptr);
    s_addnode& middle = *std::next(groups.begin(), 2);
    middle.state = 0;
    middle.addrstate = -1;
    EXPECT_EQ(At(groups, finder.FirstUnconfirmed(groups)), &middle);
    EXPECT_EQ(At(groups, finder.FirstWaiting(groups)), &middle);
}

}  // namespace
