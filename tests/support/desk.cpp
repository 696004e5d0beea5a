#include "desk.h"

#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "Packdata.h"
#include "tool.h"

using namespace velmorin;

namespace {

constexpr int kDescriptor = 1 << 20;        // its reads and writes come here; all others are the system's
constexpr std::size_t kReceiveQueue = 200;  // frames that wait for the updater; what follows is lost
constexpr Micros kSecond = 1'000'000;

Desk* current = nullptr;

// Jobs are keyed by the second, so each desk begins in a new one.
Micros next_wall_start = 1'700'000'000 * kSecond;

ssize_t Failure(int reason) {
    errno = reason;
    return -1;
}

}  // namespace

Desk::Desk(canframe& session, const std::optional<sim::Settings>& settings)
    : settings_(settings), wall_start_(next_wall_start) {
    if (settings) StartDevice();
    session.m_canhandle = new CAN_Port{kDescriptor, 0};
    current = this;
    session.SetAddress(1, 0xE0, 0x10, 0x20);
}

Desk::~Desk() {
    next_wall_start = (wall_start_ + now) / kSecond * kSecond + kSecond;
    current = nullptr;
}

void Desk::Wait(int, bool writable, Micros until) {
    if (writable) until = std::min(until, std::max(now, busy_until_ - (room - 1) * frame_time));
    while (inbox.empty() && Step(until)) {
    }
}

void Desk::RunTo(Micros until) {
    while (Step(until)) {
    }
}

bool Desk::Step(Micros until) {
    const auto due = device ? device->NextDue() : std::nullopt;
    const bool replies = due && (moments_.empty() || *due < moments_.begin()->first);
    const Micros next = replies ? *due : moments_.empty() ? until + 1 : moments_.begin()->first;
    now = std::max(now, std::min(next, until));
    if (next > until) return false;
    if (replies)
        Offer(kToUpdater, *device->TakeDue(now));
    else
        moments_.extract(moments_.begin()).mapped()();
    return true;
}

void Desk::Offer(Way way, can_frame frame, Micros delay) {
    if (deaf) return way == kToDevice ? Arrive(way, frame) : void();  // the bus still has it
    const int nth = count[way]++;
    const Fate what = fate ? fate(way, nth, frame) : Fate{};
    const auto pass = [&](const can_frame& which, Micros later) {
        if (delay + later == 0) return Arrive(way, which);
        At(now + delay + later, [this, way, which] { Arrive(way, which); });
    };
    if (what.behind_next && !held_[way]) {
        held_[way] = frame;
        return;
    }
    if (what.first != kNever) pass(frame, what.first);
    if (what.second != kNever) pass(frame, what.second);
    if (held_[way]) pass(*std::exchange(held_[way], std::nullopt), std::max<Micros>(what.first, 0));
}

void Desk::Arrive(Way way, const can_frame& frame) {
    if (passed) passed(frame);
    if (way == kToUpdater && inbox.size() < kReceiveQueue) inbox.push_back({sizeof frame, frame});
    if (way == kToDevice && device && !deaf) device->Receive(frame, now);
}

ssize_t Desk::Read(void* to) {
    if (read_fault != 0) return Failure(read_fault);
    if (inbox.empty()) return Failure(EAGAIN);
    const Arrival arrival = inbox.front();
    inbox.pop_front();
    if (arrival.length < 0) return Failure(ENETDOWN);
    std::memcpy(to, &arrival.frame, static_cast<std::size_t>(arrival.length));
    if (arrival.length == sizeof arrival.frame && seen) seen(kToUpdater, arrival.frame);
    return arrival.length;
}

ssize_t Desk::Write(const void* from) {
    last_offer = now;
    if (write_fault != 0 || !HasRoom()) {
        ++refused;
        return Failure(write_fault != 0 ? write_fault : full_fault);
    }
    busy_until_ = std::max(busy_until_, now) + frame_time;
    can_frame frame;
    std::memcpy(&frame, from, sizeof frame);
    if (seen) seen(kToDevice, frame);
    Offer(kToDevice, frame, busy_until_ - now);
    return sizeof frame;
}

void PackInto(canframe& session, const std::string& image) {
    const auto size = static_cast<int>(image.size());
    const std::string padded =
        image + std::string(static_cast<std::size_t>(GroupsOf(size) * kGroupSize - size), '\xFF');
    const auto* bytes = reinterpret_cast<const unsigned char*>(padded.data());
    PackData packer;
    packer.Pack_SetCanPort(session.m_canport);
    packer.Pack_SetChargeAddress(session.m_chargeaddress);
    packer.Pack_SetDevType(session.m_devtype);
    packer.Pack_SetUpAddress(session.m_updateaddress);
    packer.canid = DataIdentifier(packer.chargeaddress);
    packer.groupsize = kGroupSize;
    for (int i = 0; i < GroupsOf(size); ++i)
        packer.Pack_WriteDataToDBV2(&session.m_addlist, i, bytes + i * kGroupSize, kGroupSize);
    session.m_filesize = size;
    session.m_crcA = tool::crc32_planA(bytes, padded.size());
    session.m_crcB = tool::crc32_planB(bytes, static_cast<unsigned int>(size));
}

can_frame ReplyOf(unsigned int pf, unsigned char status) {
    return {0x90008AE0U | pf << 16, {8}, 0, 0, 0, {0x01, 0x10, 0x20, status}};
}

void SayYes(Desk& desk, const can_frame& command) {
    const unsigned int pf = PfOf(command.can_id);
    if (pf == kPfData) return;
    can_frame reply = ReplyOf(pf + 1);
    std::ranges::copy(command.data, reply.data);
    if (pf == kPfStartDownload || pf == kPfProgramCheck) reply.data[3] = kAccepted;
    if (pf == kPfGroupEnd) reply.data[3] = kGroupRight;
    desk.Arrive(Desk::kToUpdater, reply);
    if (pf == kPfAddressRequest) desk.Arrive(Desk::kToUpdater, ReplyOf(kPfGoAhead));
}

extern "C" {

ssize_t __real_read(int fd, void* to, std::size_t size);
ssize_t __real_write(int fd, const void* from, std::size_t size);

ssize_t __wrap_read(int fd, void* to, std::size_t size) {
    return fd == kDescriptor ? current->Read(to) : __real_read(fd, to, size);
}

ssize_t __wrap_write(int fd, const void* from, std::size_t size) {
    return fd == kDescriptor ? current->Write(from) : __real_write(fd, from, size);
}

int select(int count, fd_set* reading, fd_set* writing, fd_set* failing, timeval* timeout) {
    if (current == nullptr) {
        const timespec limit{timeout->tv_sec, static_cast<long>(timeout->tv_usec) * 1000};
        return pselect(count, reading, writing, failing, &limit, nullptr);
    }
    current->RunTo(current->now + timeout->tv_sec * kSecond + timeout->tv_usec);
    return 0;
}

int gettimeofday(timeval* tv, void* /*zone*/) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const Micros wall = current != nullptr ? current->WallClock() : now.tv_sec * kSecond + now.tv_nsec / 1000;
    *tv = {static_cast<time_t>(wall / kSecond), static_cast<suseconds_t>(wall % kSecond)};
    return 0;
}

time_t time(time_t* to) noexcept {
    timeval now{};
    gettimeofday(&now, nullptr);
    if (to != nullptr) *to = now.tv_sec;
    return now.tv_sec;
}
}
