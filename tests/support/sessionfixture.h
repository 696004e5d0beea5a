// A session whose port is one end of a socket pair; the test holds the other end and plays the bus.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <optional>
#include <vector>

#include "canframe.h"

class SessionFixture : public testing::Test {
  protected:
    SessionFixture() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
        session.m_canhandle = new CAN_Port{ends[0], 0};
        bus = ends[1];
        session.m_canport = 0x01;
        session.m_chargeaddress = 0xE0;
        session.m_devtype = 0x10;
        session.m_updateaddress = 0x20;
    }
    ~SessionFixture() override { close(bus); }

    void Send(can_frame frame) const { EXPECT_EQ(write(bus, &frame, sizeof frame), 16); }

    /// A reply of the device with these data bytes.
    void Reply(unsigned int pf, std::initializer_list<unsigned char> data) const {
        can_frame frame{};
        frame.can_id = CAN_EFF_FLAG | 0x10008AE0U | pf << 16;
        frame.can_dlc = static_cast<unsigned char>(data.size());
        std::copy(data.begin(), data.end(), frame.data);
        Send(frame);
    }

    std::optional<can_frame> NextFrame() const {
        can_frame frame{};
        if (read(bus, &frame, sizeof frame) != 16) return std::nullopt;
        return frame;
    }

    /// Every frame written since the last call.
    std::vector<can_frame> Frames() const {
        std::vector<can_frame> frames;
        while (const auto frame = NextFrame()) frames.push_back(*frame);
        return frames;
    }

    void RunPasses(int count) {
        for (int i = 0; i < count; ++i) session.Runloop();
    }

    /// Appends a group with `packets` packets whose first image byte is the packet's index.
    s_addnode& AddGroup(unsigned int address, int packets) {
        s_addnode& group = session.m_addlist.emplace_back();
        group.addrstate = -1;
        group.address = address;
        group.count = packets;
        for (int i = 0; i < packets; ++i) {
            s_datanode packet{};
            packet.dataid = i;
            packet.frame.can_id = 0x9079E08AU;
            packet.frame.can_dlc = 8;
            packet.frame.data[3] = packet.frame.data[4] = static_cast<unsigned char>(i);
            group.dataqueue.push_back(packet);
        }
        return group;
    }

    canframe session;
    int bus = -1;
};
