#include "membus.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

using namespace velmorin;

namespace membus {
namespace {

constexpr int kDescriptor = 1 << 20;  // its reads and writes come here; all others are the system's

ssize_t Failure(int reason) {
    errno = reason;
    return -1;
}

ssize_t Read(void* to) {
    Bus& bus = TheBus();
    if (bus.arrivals.empty()) return Failure(EAGAIN);
    const Arrival arrival = bus.arrivals.front();
    bus.arrivals.pop_front();
    if (arrival.length < 0) return Failure(ENETDOWN);
    std::memcpy(to, &arrival.frame, static_cast<std::size_t>(arrival.length));
    if (arrival.length == sizeof arrival.frame) bus.taken = arrival.frame;
    return arrival.length;
}

ssize_t Write(const void* from) {
    Bus& bus = TheBus();
    can_frame frame;
    std::memcpy(&frame, from, sizeof frame);
    bus.offered.push_back(frame);
    if (bus.refuses) return Failure(ENOBUFS);
    bus.written.push_back(frame);
    return sizeof frame;
}

}  // namespace

Bus& TheBus() {
    static Bus bus;
    return bus;
}

void Attach(canframe& session) {
    TheBus() = {};
    session.m_canhandle = new CAN_Port{kDescriptor, 0};
    session.SetAddress(1, 0xE0, 0x10, 0x20);
}

void AddGroup(canframe& session, unsigned int address, int packets) {
    s_addnode& group = session.m_addlist.emplace_back();
    group.addrstate = -1;
    group.address = address;
    group.count = packets;
    for (int i = 0; i < packets; ++i) {
        s_datanode& packet = group.dataqueue.emplace_back();
        packet.dataid = i;
        packet.frame.can_id = 0x9079E08AU;
        packet.frame.can_dlc = 8;
        packet.frame.data[3] = static_cast<unsigned char>(i);
    }
}

can_frame ReplyOf(unsigned int pf, unsigned char status) {
    return {0x90008AE0U | pf << 16, {8}, 0, 0, 0, {0x01, 0x10, 0x20, status}};
}

void SayYes(const can_frame& command) {
    const unsigned int pf = PfOf(command);
    if (pf == 0x79) return;
    can_frame reply = ReplyOf(pf + 1);
    std::ranges::copy(command.data, reply.data);
    if (pf == 0x72 || pf == 0x7C) reply.data[3] = 0;
    if (pf == 0x7A) reply.data[3] = 0xAA;
    TheBus().Deliver(reply);
    reply.can_id = ReplyOf(0x76).can_id;
    if (pf == 0x74) TheBus().Deliver(reply);
}

}  // namespace membus

extern "C" {

ssize_t __real_read(int fd, void* to, std::size_t size);
ssize_t __real_write(int fd, const void* from, std::size_t size);

ssize_t __wrap_read(int fd, void* to, std::size_t size) {
    if (fd == membus::kDescriptor && size == sizeof(can_frame)) return membus::Read(to);
    return __real_read(fd, to, size);
}

ssize_t __wrap_write(int fd, const void* from, std::size_t size) {
    if (fd == membus::kDescriptor && size == sizeof(can_frame)) return membus::Write(from);
    return __real_write(fd, from, size);
}
}
