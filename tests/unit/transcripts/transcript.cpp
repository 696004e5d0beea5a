#include "transcript.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iomanip>
#include <iterator>
#include <map>
#include <utility>
#include <variant>

#include "benchdir.h"
#include "candump.h"
#include "desk.h"
#include "explain.h"
#include "options.h"
#include "process.h"
#include "watchedrun.h"

using namespace velmorin;

namespace {

const std::map<std::string, std::variant<int canframe::*, unsigned int canframe::*>> kFields = {
    {"step", &canframe::m_runstep},       {"result", &canframe::m_errorcode},
    {"finished", &canframe::m_finished},  {"timer", &canframe::m_waittime},
    {"sends", &canframe::m_sendcount},    {"number", &canframe::m_heartseq},
    {"missed", &canframe::m_heartmiss},   {"last", &canframe::m_heartlast},
    {"plan", &canframe::m_crcplan},       {"started", &canframe::m_startaddress},
    {"sequence", &canframe::m_rxseq},     {"position", &canframe::m_rxpos},
    {"port", &canframe::m_canport},       {"address", &canframe::m_chargeaddress},
    {"type", &canframe::m_devtype},       {"update", &canframe::m_updateaddress},
    {"function", &canframe::m_funcindex}, {"archive", &canframe::m_firewaretype},
    {"size", &canframe::m_filesize},
};

template <typename T = long>
T Number(Words& words, T otherwise = 0) {
    words >> std::setbase(0) >> otherwise;
    return otherwise;
}

std::string RestOf(Words& words) {
    return {std::istreambuf_iterator<char>(words), {}};
}

class Player : public Watcher {
  public:
    Player() {
        setenv("TZ", "UTC", 1);
        MakeDesk(std::nullopt);
    }
    ~Player() override {
        stdout = stdout_;
        stderr = stderr_;
        std::fclose(printing_);
        std::free(printed_);
    }
    std::string Play(const std::string& transcript) {
        Words lines(transcript);
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("  ")) continue;
            told_ += line + "\n";
            if (line.empty() || line.starts_with("#")) continue;
            Do(line);
            TellChanges();
            Flush();
        }
        return told_;
    }

  private:
    struct Rule {
        Desk::Fate fate;
        long byte = 0, mask = 0;
    };
    static const std::map<std::string, std::function<void(Player&, Words&)>> kCommands;

    // What comes of it.

    std::string Time() const {
        return Format(desk_->now % 1000 == 0 ? "%.0f" : "%.3f", static_cast<double>(desk_->now) / 1000);
    }
    void Tell(const std::string& text, const std::string& key) {
        if (key != key_) Flush();
        if (times_++ == 0) first_ = Time(), text_ = text;
        key_ = key;
        last_ = Time();
    }
    void Tell(const std::string& text) { TellPrinted(), Tell(text, text); }
    void TellPrinted() {
        std::fflush(printing_);
        Words lines(std::string(printed_ + read_, length_ - read_));
        read_ = length_;
        for (std::string line; std::getline(lines, line);) Tell("\"" + line + "\"", "\"" + line);
    }
    void Flush() {
        if (times_ == 0) return;
        told_ += "  " + first_ + (first_ == last_ ? "" : ".." + last_) + " " + text_ +
                 (times_ == 1 ? "" : " x" + std::to_string(times_)) + "\n";
        times_ = 0;
    }
    void TellFrame(Desk::Way way, const can_frame& frame) {
        const unsigned int pf = PfOf(frame.can_id);
        if (way == Desk::kToUpdater && pf != 0x71) retried_.reset();
        if ((pf == 0x70 || pf == 0x71) && !heartbeats_) return;
        const unsigned int usual = (way == Desk::kToDevice ? 0x9000E08AU : 0x90008AE0U) | pf << 16;
        std::string text = way == Desk::kToDevice ? "> " : "< ";
        text += frame.can_id == usual ? Format("%02x ", pf) : Format("%08x ", frame.can_id);
        for (int i = 0; i < std::min<int>(frame.can_dlc, 8); ++i) text += Format("%02x", frame.data[i]);
        TellPrinted();
        Tell(text, pf == 0x79 ? text.substr(0, 11) : text);
    }
    std::string ValueOf(const std::string& field) const {
        if (field == "groups") {
            std::string all;
            for (const s_addnode& each : session_.m_addlist)
                all += Format(" %x%s%s/%zu", each.address, each.addrstate == 1 ? "" : "?",
                              each.state == 1 ? "+" : "", each.dataqueue.size());
            return all.empty() ? all : all.substr(1);
        }
        return std::visit([&](auto member) { return Format("%d", session_.*member); }, kFields.at(field));
    }
    void TellChanges() {
        TellPrinted();
        for (auto& [field, before] : shown_) {
            if (before != ValueOf(field)) Tell(field + " " + (before = ValueOf(field)));
        }
    }

    void OnLink() override { Tell("link"); }
    void OnGroup(const GroupVerdict& v) override {
        constexpr const char* kVerdicts[] = {"right", "wrong", "erase failed"};
        Tell(Format("group %d at %x, attempt %d: %s", v.index, v.address, v.attempt,
                    kVerdicts[static_cast<int>(v.verdict)]));
    }
    void OnProgress(const Progress& p) override {
        if (progress_)
            Tell(Format("progress %d of %d, groups %d of %d, %.1f bytes/s, %.2f s left, retries %d", p.bytes,
                        p.of, p.groups, p.groups_of, p.rate, p.eta_s, p.retries));
    }
    /// Once for a run of like ones; the report has their number.
    void OnRetry(Question question, int count) override {
        if (std::exchange(retried_, question) != question)
            Tell(Format("retry %d: %s", count, QuestionText(question)));
    }
    void OnIgnored(const Ignored& i) override {
        Tell(Format("ignored %d, last %08x: %s", i.count, i.last.can_id, i.reason.c_str()));
    }
    void OnNote(const std::string& text) override { Tell("note: " + text); }

    // The commands.

    void MakeDesk(const std::optional<sim::Settings>& settings) {
        desk_.reset();
        delete std::exchange(session_.m_canhandle, nullptr);
        desk_.emplace(session_, settings);
        desk_->seen = [this](Desk::Way way, const can_frame& frame) { TellFrame(way, frame); };
        desk_->fate = [this](Desk::Way way, int, can_frame& frame) { return FateOf(way, frame); };
        desk_->passed = [this](const can_frame& frame) {
            const Micros at = desk_->now + desk_->wall_jump;
            const timeval when{static_cast<time_t>(at / 1'000'000), static_cast<suseconds_t>(at % 1'000'000)};
            log_ += CandumpLine(when, "can0", frame) + "\n";
        };
    }
    Desk::Fate FateOf(Desk::Way way, can_frame& frame) {
        const unsigned int pf = PfOf(frame.can_id);
        if (way == Desk::kToUpdater && from_ != 0) frame.can_id = (frame.can_id & ~0xFFU) | from_;
        const Rule& rule = rules_[{pf, ++count_[pf]}];
        frame.data[rule.byte] ^= static_cast<unsigned char>(rule.mask);
        return rule.fate;
    }
    void Fated(const Rule& rule, Words& words) {
        unsigned int pf = 0;
        words >> std::hex >> pf;
        const long first = Number(words, 1);
        for (long nth = first + Number(words, 1); nth-- > first;) rules_.try_emplace({pf, nth}, rule);
    }
    void Device(Words& words) {
        const std::vector<std::string> given{std::istream_iterator<std::string>(words), {}};
        std::vector<const char*> all = {"velmorin-sim", "--bench", "."};
        for (const std::string& word : given) all.push_back(word.c_str());
        sim::Options options;
        sim::ParseOptions(static_cast<int>(all.size()), all.data(), options);
        MakeDesk(options.device);
    }
    void Image(Words& words) {
        const auto size = Number<std::size_t>(words);
        std::string name = "image.bin";
        words >> name;
        session_.LoadData(bench_.Write(name, TestImage(size)).c_str());
    }
    void Groups(Words& words) {
        for (int packets; words >> packets;) {
            PackInto(session_, std::string(static_cast<std::size_t>(4 * packets), '\0'));
            s_addnode& group = session_.m_addlist.back();
            group.address = 1024 * static_cast<unsigned int>(session_.m_addlist.size());
            group.dataqueue.resize(static_cast<std::size_t>(group.count = packets));
        }
    }
    void Set(Words& words) {
        std::string field;
        words >> field;
        std::visit([&](auto m) { session_.*m = Number(words, session_.*m); }, kFields.at(field));
        for (auto& [name, before] : shown_) before = ValueOf(name);
    }
    void Show(Words& words) {
        shown_.clear();
        for (std::string field; words >> field;) shown_.emplace_back(field, ValueOf(field));
    }
    void Queue(Words& words) {
        desk_->frame_time = Number(words);
        desk_->room = Number<int>(words);
        desk_->full_fault = RestOf(words) == " ENOBUFS" ? ENOBUFS : EAGAIN;
    }
    void Deliver(Words& words) {
        std::string kind, data;
        words >> kind >> data;
        unsigned int id = 0, length = static_cast<unsigned int>(data.size() / 2);
        std::sscanf(kind.c_str(), "%x/%u", &id, &length);
        can_frame frame{kind.size() < 8 ? ReplyOf(id).can_id : id, {static_cast<__u8>(length)}, 0, 0, 0, {}};
        for (std::size_t i = 0; i < data.size() / 2; ++i)
            std::sscanf(data.c_str() + 2 * i, "%2hhx", &frame.data[i]);
        desk_->Arrive(Desk::kToUpdater, frame);
    }
    void Receive() {
        unsigned char data[1024];
        std::memset(data, 0xEE, sizeof data);
        int kind = -1;
        std::string text = Format("received %d,", session_.RecieveCanMuchData(data, &kind));
        text += Format(" kind %x:", kind);
        for (std::size_t i = 0; data[i] != 0xEE; ++i) text += Format(" %02x", data[i]);
        Tell(text);
    }
    void Short(int length) { desk_->inbox.push_back({length, ReplyOf(0x7F)}); }
    void Explain(Words& words) {
        const std::string page = (bench_.Root() / "page").string(), form = RestOf(words);
        std::string text = velmorin::Explain({bench_.Write("log", log_), -1, form == " json", page}).output;
        if (form == " page") text = BenchDir::Read(page), text.erase(0, text.find("</h1>"));  // style, path
        Flush();
        Words lines(text);
        for (std::string line; std::getline(lines, line);) told_ += line.empty() ? "" : "  " + line + "\n";
    }
    void Do(const std::string& line) {
        Words words(line);
        std::string name;
        words >> name;
        kCommands.at(name)(*this, words);
    }
    void At(Words& words) {
        const Micros moment = Number(words) * 1000;
        desk_->At(moment, [this, line = RestOf(words)] { Do(line); });
    }
    void Repeat(Words& words) {
        long times = Number(words);
        for (const std::string line = RestOf(words); times > 0; --times) Do(line);
    }
    void Pass(long passes) {
        for (; passes > 0 && session_.m_finished != 1; --passes) {
            session_.Runloop();
            TellChanges();
        }
    }
    void Watch(Words& words) {
        RunSettings settings;
        for (std::string word; words >> word;) {
            if (word == "trusting") settings.trusting = true;
            if (word == "progress") progress_ = true;
            std::sscanf(word.c_str(), "pace=%d", &settings.pace);
            std::sscanf(word.c_str(), "patience=%d", &settings.patience_s);
        }
        const RunReport r = RunWatched(session_, settings, *this, *desk_);
        constexpr const char* kEnds[] = {"decided", "silent", "bus lost", "signal"};
        Tell(Format("%s %d%s%s, status %d%s%s", kEnds[static_cast<int>(r.end)], r.result,
                    r.image_confirmed ? ", image confirmed" : "",
                    r.reset_confirmed ? ", reset confirmed" : "", r.device_status ? *r.device_status : -1,
                    r.why.empty() ? "" : ": ", r.why.c_str()));
        Tell(Format("%d bytes in %d groups, %d retries, %d ignored, %d queue waits, %.3f s, %.1f bytes/s",
                    r.bytes, r.groups, r.retries, r.ignored, r.queue_waits, r.duration_s, r.rate));
        if (desk_->device) {
            const std::string held(desk_->device->image().begin(), desk_->device->image().end());
            const bool whole = held.starts_with(TestImage(static_cast<std::size_t>(session_.m_filesize)));
            Tell(whole ? "the device holds the image" : "the device does not hold the image");
        }
        struct sigaction caught {};
        if (CaughtSignal() != 0 && sigaction(SIGTERM, nullptr, &caught) == 0) caught.sa_handler(0);
    }

    char* printed_ = nullptr;
    std::size_t length_ = 0, read_ = 0;
    std::FILE* const printing_ = open_memstream(&printed_, &length_);
    std::FILE* const stdout_ = std::exchange(stdout, printing_);
    std::FILE* const stderr_ = std::exchange(stderr, printing_);
    const BenchDir bench_;
    canframe session_;
    std::optional<Desk> desk_;
    std::map<std::pair<unsigned int, long>, Rule> rules_;
    long count_[256] = {};
    std::string log_;
    std::vector<std::pair<std::string, std::string>> shown_;
    unsigned int from_ = 0;
    std::optional<Question> retried_;
    bool heartbeats_ = false, progress_ = false;
    std::string told_, key_, first_, last_, text_;
    int times_ = 0;
};

const std::map<std::string, std::function<void(Player&, Words&)>> Player::kCommands = {
    {"device", &Player::Device},
    {"image", &Player::Image},
    {"groups", &Player::Groups},
    {"set", &Player::Set},
    {"show", &Player::Show},
    {"trace", [](Player& p, Words&) { p.session_.m_debug = 1; }},
    {"trace-port", [](Player& p, Words&) { p.session_.m_canhandle->log_on = 1; }},
    {"receive", [](Player& p, Words&) { p.Receive(); }},
    {"heartbeats", [](Player& p, Words&) { p.heartbeats_ = true; }},
    {"lose", [](Player& p, Words& w) { p.Fated({{.first = Desk::kNever}}, w); }},
    {"double", [](Player& p, Words& w) { p.Fated({{.second = 0}}, w); }},
    {"late", [](Player& p, Words& w) { p.Fated({{.first = 1000 * Number(w)}}, w); }},
    {"flip", [](Player& p, Words& w) { p.Fated({.fate = {}, .byte = Number(w), .mask = Number(w)}, w); }},
    {"queue", &Player::Queue},
    {"<", &Player::Deliver},
    {"log", [](Player& p, Words& w) { p.log_ += RestOf(w).substr(1) + "\n"; }},
    {"short", [](Player& p, Words& w) { p.Short(Number<int>(w)); }},
    {"version", [](Player& p, Words&) { p.session_.m_mailbox.push_back(p.session_.Build1792()); }},
    {"from", [](Player& p, Words& w) { p.from_ = Number<unsigned int>(w); }},
    {"restart", [](Player& p, Words&) { p.desk_->StartDevice(); }},
    {"deaf", [](Player& p, Words&) { p.desk_->deaf = true; }},
    {"hear", [](Player& p, Words&) { p.desk_->deaf = false; }},
    {"down", [](Player& p, Words&) { p.desk_->read_fault = p.desk_->write_fault = ENETDOWN; }},
    {"up", [](Player& p, Words&) { p.desk_->read_fault = p.desk_->write_fault = 0; }},
    {"gone", [](Player& p, Words&) { p.desk_->read_fault = p.desk_->write_fault = ENODEV; }},
    {"signal", [](Player&, Words&) { CatchEndSignals(), std::raise(SIGTERM); }},
    {"jump", [](Player& p, Words& w) { p.desk_->wall_jump = Number(w) * 1'000'000; }},
    {"at", &Player::At},
    {"repeat", &Player::Repeat},
    {"wait", [](Player& p, Words& w) { p.desk_->RunTo(p.desk_->now + 1000 * Number(w)); }},
    {"pass", [](Player& p, Words& w) { p.Pass(Number(w, 1)); }},
    {"run", [](Player& p, Words&) { p.Pass(30000); }},
    {"end", [](Player& p, Words&) { p.session_.CacheClean(), p.session_.UpdateRecord(); }},
    {"watch", &Player::Watch},
    {"explain", &Player::Explain},
};

}  // namespace

std::string Replay(const std::string& transcript) {
    return Player().Play(transcript);
}
