#include "trial.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "buslog.h"
#include "sqlrows.h"
#include "watchedrun.h"

using namespace velmorin;

namespace {

constexpr Micros kMs = 1000;
constexpr Micros kSessionLimit = 120'000 * kMs;
constexpr Micros kWatchedLimit = 1'800'000 * kMs;  // beyond every patience

/// A reply that ends a job with success, or leads there without the device having to do anything more.
bool SaysYes(const can_frame& frame) {
    return PfOf(frame.can_id) == 0x7F || (PfOf(frame.can_id) == 0x7D && frame.data[3] == 0);
}

}  // namespace

Trial::Trial(const BenchDir& bench, bool watched, std::mt19937& random)
    : bench_(bench),
      watched_(watched),
      random_(random),
      name_(Any(4) == 0 ? "image.tar.gz" : "image.bin"),
      image_(TestImage(1 + Any(4096))) {
    settings_.plan = Any(2) == 0 ? sim::Plan::kA : sim::Plan::kB;
    settings_.seed = static_cast<std::uint32_t>(random_());
}

int Trial::LastsMs() const {
    return 4350 + 2640 * GroupsOf(static_cast<int>(image_.size()));
}

Outcome Trial::Run(const Disturbance& disturbance) {
    disturbance_ = disturbance;
    settings_.faults = disturbance.device;
    Desk& desk = desk_.emplace(session_, settings_);
    desk.full_fault = EAGAIN;
    desk.fate = [this](Desk::Way way, int, can_frame& frame) { return FateOf(way, frame); };
    desk.At(kPassMs * kMs, [this] { Tick(); });
    const Disturbance& d = disturbance_;
    if (d.deaf_from != 0) {
        desk.At(d.deaf_from * kMs, [&] { desk.deaf = true; });
        desk.At((d.deaf_from + d.deaf_ms) * kMs, [&] {
            desk.deaf = false;
            if (d.forgets) desk.StartDevice();
        });
    }
    if (d.forged_at != 0)
        desk.At(d.forged_at * kMs, [&] {
            const can_frame yes = Any(2) == 0 ? ReplyOf(0x7D) : ReplyOf(0x7F, 0xAA);
            NoteForgery(yes);
            desk.Arrive(Desk::kToUpdater, yes);
        });
    watched_ ? RunWatch() : RunSession();
    return Judge();
}

void Trial::RunSession() {
    session_.LoadData(bench_.Write(name_, image_).c_str());
    BusLog log, filtered;  // the second one without heartbeats
    desk_->seen = [&](Desk::Way, const can_frame& frame) {
        log.Take({desk_->now, "can0", frame});
        if (PfOf(frame.can_id) != kPfHeartbeat) filtered.Take({desk_->now, "can0", frame});
    };
    while (session_.m_finished != 1 && desk_->now < kSessionLimit) session_.Runloop();
    if (session_.m_finished == 1) result_ = session_.m_errorcode;
    misread = WronglyExplained(log.Finish(desk_->now), filtered.Finish(desk_->now));
    if (session_.m_finished != 1) session_.m_errorcode = kResultInterrupted;
    session_.CacheClean();
    session_.UpdateRecord();
    const auto rows = SqlRows(bench_.StagingFile(), "SELECT state,result FROM tag_history WHERE timestamp=" +
                                                        std::to_string(session_.m_history.timestamp));
    if (!fault.empty()) return;
    if (!session_.m_addlist.empty()) fault = "cache not clean";
    if (rows != std::vector{"1|" + std::to_string(session_.m_errorcode)})
        fault = "the job's row does not hold its result";
    if (result_ == -1 && desk_->now - desk_->last_offer > 11'010 * kMs) fault = "neither over nor trying";
}

/// What explains logs must come to the session's own result and to where it is, from the frames alone.
/// Those of a session whose writes failed may tell of no result, but not of another one.
std::string Trial::WronglyExplained(const std::vector<Update>& updates,
                                    const std::vector<Update>& filtered) const {
    const auto told = [](const std::vector<Update>& all) {
        return all.empty() ? -1 : all.back().result.value_or(-1);
    };
    if (told(updates) != result_ && (told(updates) != -1 || desk_->refused == 0))
        return "result " + std::to_string(result_) + " explained as " + std::to_string(told(updates));
    if (desk_->refused > 0) return "";
    if (updates.empty()) return "not explained at all";
    // Which heartbeat the last one was is not known then, and so not what its reply did to a job that closes.
    const auto alike = [](int result) { return result == kResultHeartbeat ? kResultGroupRejected : result; };
    if (alike(told(filtered)) != alike(result_))
        return "result " + std::to_string(result_) + " explained as " + std::to_string(told(filtered)) +
               " without heartbeats";
    const Update& update = updates.back();
    bool same =
        session_.m_heartseq - update.heartbeats <= session_.m_mailbox.size();  // some are not sent yet
    same = same && (result_ != -1 || update.step == session_.m_runstep);
    same = same && (update.plan == -1 || update.plan == session_.m_crcplan);
    auto group = session_.m_addlist.begin();
    for (const GroupFacts& facts : update.groups) {
        if (group == session_.m_addlist.end()) break;
        same = same && facts.confirmed == (group->state == 1) && facts.starts >= group->sendcount &&
               (group->addrstate != 1 || facts.address == group->address);
        ++group;
    }
    return same ? "" : "explained with another step, plan or group";
}

void Trial::RunWatch() {
    PackInto(session_, image_);
    session_.m_firewaretype = canframe::FirewareType(name_.c_str());
    desk_->At(kWatchedLimit, [this] { desk_->read_fault = ENODEV; });
    Watcher nobody;
    const RunReport report = RunWatched(session_, {}, nobody, *desk_);
    if (desk_->read_fault == 0) result_ = report.result;
    const auto groups =
        std::ranges::count_if(session_.m_addlist, [](const s_addnode& group) { return group.state == 1; });
    if (report.groups != groups) fault = "the report miscounts the groups";
    if (result_ == 0 && !report.image_confirmed) fault = "success without a yes";
}

Desk::Fate Trial::FateOf(Desk::Way way, can_frame& frame) {
    const LineFaults& line = disturbance_.line[way];
    if (way == Desk::kToUpdater) {
        if (SaysYes(frame)) NoteYes(frame);
        if (Happens(disturbance_.other_node)) SpoilAddress(frame);
    }
    if (Happens(line.lost)) return {.first = Desk::kNever};
    const auto later = [&] { return Any(static_cast<unsigned int>(std::max(line.slow_ms, 20)) + 1) * kMs; };
    Desk::Fate fate;
    if (Happens(line.slow)) fate.first = later();
    if (Happens(line.doubled)) fate.second = later();
    if (Happens(line.mangled)) {
        for (auto flips = Any(3) + 1; flips > 0; --flips) {
            const auto bit = Any(29 + 64);
            if (bit < 29)
                frame.can_id ^= 1U << bit;
            else
                frame.data[(bit - 29) / 8] ^= static_cast<unsigned char>(1U << (bit - 29) % 8);
        }
        if (way == Desk::kToUpdater && SaysYes(frame)) NoteForgery(frame);
    }
    const Micros now = desk_->now;
    const Micros held_until = disturbance_.held_from + disturbance_.held_ms;
    const bool held =
        way == Desk::kToUpdater && now >= disturbance_.held_from * kMs && now < held_until * kMs;
    if (held) fate.first = std::max(fate.first, held_until * kMs - now);
    if (line.in_order) fate.first = std::max(fate.first, last_due_[way] - now);
    last_due_[way] = std::max(last_due_[way], now + fate.first);
    return fate;
}

void Trial::NoteYes(const can_frame& reply) {
    if (PfOf(reply.can_id) == 0x7D)
        held_.assign(desk_->device->image().begin(), desk_->device->image().end());
    // A command that became a reset on its way is answered as one.
    const bool by_itself =
        PfOf(reply.can_id) == 0x7D || yes_said_[0x7D] || disturbance_.line[Desk::kToDevice].mangled == 0;
    if (by_itself)
        yes_said_[PfOf(reply.can_id)] = true;
    else
        NoteForgery(reply);
}

/// What the watched run has to believe is the device's own frame in the very step that waits for it. The step
/// is looked at when it arrives; here it is on its way, so what follows it counts as well.
void Trial::NoteForgery(const can_frame& frame) {
    if (!watched_) {
        forged_ = true;
        return;
    }
    const bool own = frame.can_id == (0x90008AE0U | static_cast<unsigned int>(PfOf(frame.can_id)) << 16);
    forged_ = forged_ ||
              (own && session_.m_runstep == (PfOf(frame.can_id) == 0x7D ? kStepProgramCheck : kStepReset));
}

void Trial::Tick() {
    const Disturbance& d = disturbance_;
    Desk& desk = *desk_;
    if (Happens(d.stray)) SendStray();
    if (Happens(d.full_queue)) desk.write_fault = desk.write_fault == 0 ? ENOBUFS : 0;
    if (Happens(d.broken_reads))
        desk.inbox.push_front({Any(2) == 0 ? -1 : static_cast<int>(Any(15)) + 1, ReplyOf(0x7F, 0xAA)});
    for (int i = 0; i < 2; ++i) {
        const unsigned int pf = Any(0x70);
        if (Happens(d.chatter / 2) && pf != 0x08)
            desk.Arrive(Desk::kToUpdater, ReplyOf(pf, static_cast<unsigned char>(Any(256))));
    }
    desk.At(desk.now + kPassMs * kMs, [this] { Tick(); });
}

/// Any reply but a yes, with bytes that may or may not fit.
void Trial::SendStray() {
    constexpr unsigned char kReplies[] = {0x71, 0x73, 0x75, 0x76, 0x78, 0x7B, 0x7B};
    constexpr unsigned char kStatus[] = {0, 0, 0x55, 0xAA, 0x66};
    can_frame frame = ReplyOf(kReplies[Any(std::size(kReplies))], kStatus[Any(std::size(kStatus))]);
    for (int i = 4; i < 8; ++i) frame.data[i] = static_cast<unsigned char>(random_());
    if (Any(4) == 0) frame.data[Any(3)] = static_cast<unsigned char>(random_());
    if (Any(8) == 0) frame = ReplyOf(Any(2) == 0 ? 0x08 : 0x7D, 0x01);
    desk_->Arrive(Desk::kToUpdater, frame);
}

/// The address bytes of another device, or another group's address.
void Trial::SpoilAddress(can_frame& frame) {
    const unsigned int pf = PfOf(frame.can_id);
    const bool bytes = Any(2) == 0;
    for (int i = 0; i < 3 && bytes; ++i) frame.data[i] = static_cast<unsigned char>(0xF0 + i);
    if (!bytes && (pf == 0x78 || pf == 0x7B || pf == 0x75))
        frame.data[5] ^= static_cast<unsigned char>(1U << Any(8));
}

Outcome Trial::Judge() {
    if (!fault.empty()) return Outcome::kWrong;
    if (result_ == -1) return Outcome::kTrying;
    if (result_ != 0) return Outcome::kRefused;
    std::string wanted = image_;
    if (settings_.plan == sim::Plan::kA && !name_.ends_with(".tar.gz"))
        wanted.resize(static_cast<std::size_t>(GroupsOf(static_cast<int>(image_.size())) * kGroupSize),
                      '\xFF');
    if (held_ == wanted) return desk_->now <= LastsMs() * kMs ? Outcome::kWell : Outcome::kRecovered;
    if (forged_) return Outcome::kDeceived;
    fault = "result 0, but the device does not hold the image";
    return Outcome::kWrong;
}
