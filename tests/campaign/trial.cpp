#include "trial.h"

#include <algorithm>
#include <cerrno>

#include "buslog.h"
#include "watchedrun.h"

using namespace velmorin;

namespace {

constexpr Micros kMs = 1000;
constexpr Micros kSessionLimit = 120'000 * kMs;
constexpr Micros kWatchedLimit = 1'800'000 * kMs;  // beyond every patience

}  // namespace

Trial::Trial(bool watched, std::mt19937& random)
    : watched_(watched), random_(random), archive_(Any(4) == 0), image_(TestImage(1 + Any(4096))) {
    settings_.plan = Any(2) == 0 ? sim::Plan::kA : sim::Plan::kB;
}

int Trial::LastsMs() const {
    return 4350 + 2640 * GroupsOf(static_cast<int>(image_.size()));
}

Outcome Trial::Run(const Disturbance& disturbance) {
    disturbance_ = disturbance;
    settings_.faults = disturbance.device;
    Desk& desk = desk_.emplace(session_, settings_);
    desk.fate = [this](Desk::Way way, int, can_frame& frame) { return FateOf(way, frame); };
    PackInto(session_, image_);
    session_.m_firewaretype = archive_ ? 1 : 0;
    const Disturbance& d = disturbance_;
    if (d.deaf_from != 0) {
        desk.At(d.deaf_from * kMs, [&] { desk.deaf = true; });
        desk.At((d.deaf_from + d.deaf_ms) * kMs, [&] {
            desk.deaf = false;
            if (d.forgets) desk.StartDevice();
        });
    }
    watched_ ? RunWatch() : RunSession();
    return Judge();
}

void Trial::RunSession() {
    BusLog log;
    desk_->seen = [&](Desk::Way, const can_frame& frame) { log.Take({desk_->now, "can0", frame}); };
    while (session_.m_finished != 1 && desk_->now < kSessionLimit) session_.Runloop();
    if (session_.m_finished == 1) result_ = session_.m_errorcode;
    // What explains logs must come to the session's own result, from the frames alone.
    const auto updates = log.Finish(desk_->now);
    const int explained = updates.empty() ? -1 : updates.back().result.value_or(-1);
    if (explained != result_) fault = "explained as " + std::to_string(explained);
    if (result_ == -1 && desk_->now - desk_->last_offer > 11'010 * kMs) fault = "neither over nor trying";
}

void Trial::RunWatch() {
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
    if (way == Desk::kToUpdater && PfOf(frame.can_id) == kPfProgramCheckReply && frame.data[kAtStatus] == 0)
        held_.assign(desk_->device->image().begin(), desk_->device->image().end());
    if (Happens(line.lost)) return {.first = Desk::kNever};
    const auto later = [&] { return Any(static_cast<unsigned int>(std::max(line.slow_ms, 20)) + 1) * kMs; };
    Desk::Fate fate;
    if (Happens(line.slow)) fate.first = later();
    if (Happens(line.doubled)) fate.second = later();
    const Micros now = desk_->now;
    if (line.in_order) fate.first = std::max(fate.first, last_due_[way] - now);
    last_due_[way] = std::max(last_due_[way], now + fate.first);
    return fate;
}

Outcome Trial::Judge() {
    if (!fault.empty()) return Outcome::kWrong;
    if (result_ == -1) return Outcome::kTrying;
    if (result_ != 0) return Outcome::kRefused;
    std::string wanted = image_;
    if (settings_.plan == sim::Plan::kA && !archive_)
        wanted.resize(static_cast<std::size_t>(GroupsOf(static_cast<int>(image_.size())) * kGroupSize),
                      '\xFF');
    if (held_ == wanted) return desk_->now <= LastsMs() * kMs ? Outcome::kWell : Outcome::kRecovered;
    fault = "result 0, but the device does not hold the image";
    return Outcome::kWrong;
}
