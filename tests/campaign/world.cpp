#include "world.h"

#include <iterator>

#include "fakeclock.h"
#include "fakewait.h"
#include "sqlrows.h"

using namespace velmorin;

using membus::PfOf;
using membus::ReplyOf;
using membus::TheBus;

namespace {

/// A reply that ends a job with success, or leads there without the device having to do anything more.
bool SaysYes(const can_frame& frame) {
    return PfOf(frame) == 0x7F || (PfOf(frame) == 0x7D && frame.data[3] == 0);
}

void Deliver(const can_frame& frame) {
    constexpr std::size_t kReceiveQueue = 200;  // frames that wait for the updater; what follows is lost
    if (TheBus().arrivals.size() < kReceiveQueue) TheBus().Deliver(frame);
}

}  // namespace

World::World(const BenchDir& bench, const Job& job, const Disturbance& disturbance, std::mt19937& random)
    : bench_(bench),
      job_(job),
      disturbance_(disturbance),
      random_(random),
      image_(TestImage(job.size)),
      out_(disturbance.to_device, random),
      in_(disturbance.to_updater, random) {
    settings_.plan = job.plan;
    settings_.faults = disturbance.device;
    StartDevice();
}

void World::StartDevice() {
    settings_.seed = static_cast<std::uint32_t>(random_());
    device_.emplace(settings_);
}

Outcome World::Run() {
    // No two jobs may share a second: the time of packing is a job's key.
    fakeclock::Set((fakeclock::Now() / 1'000'000 + 1) * 1'000'000);
    membus::Attach(session_);
    session_.LoadData(bench_.Write(job_.name, image_).c_str());
    SessionWatch watch(session_);
    while (session_.m_finished != 1 && passes < kMaxPasses && fault.empty()) RunPass(watch);
    CompareExplained();
    if (session_.m_finished != 1) session_.m_errorcode = kResultInterrupted;
    session_.CacheClean();
    session_.UpdateRecord();
    return Judge();
}

void World::RunPass(SessionWatch& watch) {
    const long before = fakewait::WaitedMs();
    fault = watch.Pass(session_);
    now_ms_ += fakewait::WaitedMs() - before;
    fakeclock::Set(fakeclock::Now() + (fakewait::WaitedMs() - before) * 1000);
    Record(now_ms_ - (fakewait::WaitedMs() - before));
    ++passes;
    if (!TheBus().offered.empty()) last_sign_ = passes;
    Disturb();
    CarryOut();
    CarryIn();
}

/// A pass reads at its beginning, and writes before its last ten milliseconds.
void World::Record(std::int64_t from_ms) {
    if (TheBus().taken) log_.Take({from_ms * 1000, "can0", *TheBus().taken});
    for (const can_frame& frame : TheBus().written) log_.Take({(now_ms_ - kPassMs) * 1000, "can0", frame});
}

/// What explains logs must come to the session's own result, from the frames alone; to none for a job that is
/// still going on. Of a session none of whose frames went out there is nothing to explain.
void World::CompareExplained() {
    const std::vector<velmorin::Update> updates = log_.Finish(now_ms_ * 1000);
    if (updates.empty() || updates.back().commands == 0) return;
    const std::optional<int> explained = updates.back().result;
    const std::optional<int> result =
        session_.m_finished == 1 ? std::optional(session_.m_errorcode) : std::nullopt;
    if (explained == result || !fault.empty()) return;
    const auto text = [](std::optional<int> code) { return code ? std::to_string(*code) : "none"; };
    fault = "result " + text(result) + " explained as " + text(explained);
}

bool World::IsDeaf() const {
    const int from = disturbance_.deaf_from;
    return from != 0 && passes >= from && passes < from + disturbance_.deaf_passes;
}

void World::CarryOut() {
    for (const can_frame& frame : TheBus().written) out_.Offer(frame, now_ms_);
    while (const auto frame = out_.Take(now_ms_)) {
        if (!IsDeaf()) device_->Receive(*frame, now_ms_ * 1000);
    }
}

void World::CarryIn() {
    while (auto frame = device_->TakeDue(now_ms_ * 1000)) {
        if (IsDeaf()) continue;
        if (SaysYes(*frame)) NoteYes(*frame);
        if (Happens(disturbance_.other_node)) SpoilAddress(*frame);
        in_.Offer(*frame, now_ms_);
    }
    while (const auto frame = in_.Take(now_ms_)) {
        if (SaysYes(*frame) && !yes_said_[PfOf(*frame)]) forged_ = true;
        Deliver(*frame);
    }
}

void World::NoteYes(const can_frame& reply) {
    if (PfOf(reply) == 0x7D) held_.assign(device_->image().begin(), device_->image().end());
    // A command that became a reset on its way is answered as one.
    const bool by_itself = PfOf(reply) == 0x7D || yes_said_[0x7D] || disturbance_.to_device.mangled == 0;
    yes_said_[PfOf(reply)] = yes_said_[PfOf(reply)] || by_itself;
}

void World::Disturb() {
    const Disturbance& d = disturbance_;
    if (d.deaf_from != 0 && passes == d.deaf_from + d.deaf_passes && d.forgets) {
        StartDevice();
        in_.Drop();
    }
    if (d.held_from != 0 && passes == d.held_from) in_.HoldUntil(now_ms_ + d.held_ms);
    if (d.forged_at != 0 && passes == d.forged_at) {
        forged_ = true;
        Deliver(Any(2) == 0 ? ReplyOf(0x7D) : ReplyOf(0x7F, 0xAA));
    }
    if (Happens(d.stray)) SendStray();
    if (Happens(d.full_queue)) TheBus().refuses = !TheBus().refuses;
    if (Happens(d.broken_reads)) TheBus().arrivals.push_front({Any(17) - 1, ReplyOf(0x7F, 0xAA)});
    for (int i = 0; i < 2; ++i) {
        if (!Happens(d.chatter / 2)) continue;
        const auto data = static_cast<unsigned char>(Any(256));
        const auto pf = static_cast<unsigned int>(Any(0x70));
        if (pf != 0x08) Deliver(ReplyOf(pf, data));
    }
}

/// Any reply but a yes, with bytes that may or may not fit.
void World::SendStray() {
    constexpr unsigned char kReplies[] = {0x71, 0x73, 0x75, 0x76, 0x78, 0x7B, 0x7B};
    constexpr unsigned char kStatus[] = {0, 0, 0x55, 0xAA, 0x66};
    const unsigned char status = kStatus[random_() % std::size(kStatus)];
    can_frame frame = ReplyOf(kReplies[random_() % std::size(kReplies)], status);
    for (int i = 4; i < 8; ++i) frame.data[i] = static_cast<unsigned char>(random_());
    if (Any(4) == 0) frame.data[Any(3)] = static_cast<unsigned char>(random_());
    if (Any(8) == 0) frame = ReplyOf(Any(2) == 0 ? 0x08 : 0x7D, 0x01);
    Deliver(frame);
}

/// The address bytes of another device, or another group's address.
void World::SpoilAddress(can_frame& frame) {
    const bool bytes = Any(2) == 0;
    for (int i = 0; i < 3 && bytes; ++i) frame.data[i] = static_cast<unsigned char>(0xF0 + i);
    if (!bytes && (PfOf(frame) == 0x78 || PfOf(frame) == 0x7B || PfOf(frame) == 0x75)) {
        frame.data[5] ^= static_cast<unsigned char>(1U << Any(8));
    }
}

Outcome World::Judge() {
    const auto rows = SqlRows(bench_.StagingFile(), "SELECT state,result FROM tag_history WHERE timestamp=" +
                                                        std::to_string(session_.m_history.timestamp));
    if (fault.empty() && !session_.m_addlist.empty()) fault = "cache not clean";
    if (fault.empty() && rows != std::vector{"1|" + std::to_string(session_.m_errorcode)})
        fault = "the job's row does not hold its result";
    if (fault.empty() && session_.m_finished != 1 && passes - last_sign_ > 100)
        fault = "neither over nor trying";
    if (!fault.empty()) return Outcome::kWrong;
    if (session_.m_finished != 1) return Outcome::kTrying;
    if (session_.m_errorcode != 0) return Outcome::kRefused;

    std::string wanted = image_;
    if (job_.plan == sim::Plan::kA && !job_.name.ends_with(".tar.gz")) {
        wanted.resize((wanted.size() + 1023) / 1024 * 1024, '\xFF');
    }
    if (held_ == wanted) return passes <= PassesNeeded(job_.size) ? Outcome::kWell : Outcome::kRecovered;
    if (forged_) return Outcome::kDeceived;
    fault = "result 0, but the device does not hold the image";
    return Outcome::kWrong;
}
