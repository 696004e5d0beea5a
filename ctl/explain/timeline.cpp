// The course of an update as an SVG element. Colours are classes, so that the page's style decides on them.
#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "reports.h"

namespace velmorin {
namespace {

constexpr double kLeft = 62;
constexpr double kRight = 976;
constexpr double kPhaseTop = 30;
constexpr double kPhaseHeight = 26;
constexpr double kBarBase = 168;  // bars of groups stand on it
constexpr double kBarStep = 28;   // height for each start
constexpr double kRateTop = 200;
constexpr double kRateBase = 266;
constexpr double kMarkTop = 70;
constexpr int kHeight = 300;
constexpr std::size_t kColumns = 460;  // bars, at most; more groups share them

class Drawing {
  public:
    explicit Drawing(const Update& update) : u_(update), span_(std::max<double>(1, Span(update))) {}

    std::string Draw() {
        Put("<svg class=\"timeline\" viewBox=\"0 0 1000 %d\" role=\"img\" aria-label=\"Course of the update "
            "over time\">\n",
            kHeight);
        Axis();
        Phases();
        Groups();
        Rate();
        Marks();
        return text_ + "</svg>\n";
    }

  private:
    static double Span(const Update& update) { return static_cast<double>(update.ended - update.started); }
    double X(Micros at) const {
        const double share = static_cast<double>(at - u_.started) / span_;
        return kLeft + std::clamp(share, 0.0, 1.0) * (kRight - kLeft);
    }

    __attribute__((format(printf, 2, 3))) void Put(const char* format, ...) {
        char line[512];
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(line, sizeof line, format, arguments);
        va_end(arguments);
        text_ += line;
    }

    /// Lines at round times, seven or so.
    void Axis() {
        const double rough = span_ / 1e6 / 7;
        const double decade = std::pow(10, std::floor(std::log10(rough)));
        const double step = decade * (rough / decade < 1.5   ? 1
                                      : rough / decade < 3.5 ? 2
                                      : rough / decade < 7.5 ? 5
                                                             : 10);
        for (int tick = 0; tick * step <= span_ / 1e6; ++tick) {
            const double at = tick * step;
            const double x = X(u_.started + static_cast<Micros>(at * 1e6));
            Put("<line class=\"grid\" x1=\"%.1f\" x2=\"%.1f\" y1=\"%.0f\" y2=\"%.0f\"/>", x, x, kPhaseTop,
                kRateBase);
            Put("<text class=\"tick\" x=\"%.1f\" y=\"%d\" text-anchor=\"middle\">%g s</text>\n", x,
                kHeight - 14, at);
        }
        Put("<text class=\"name\" x=\"0\" y=\"%.0f\">phases</text>", kPhaseTop + 17);
        Put("<text class=\"name\" x=\"0\" y=\"%.0f\">groups</text>", kBarBase - 2);
        Put("<text class=\"name\" x=\"0\" y=\"%.0f\">rate</text>\n", kRateBase - 2);
        Put("<line class=\"base\" x1=\"%.0f\" x2=\"%.0f\" y1=\"%.0f\" y2=\"%.0f\"/>\n", kLeft, kRight,
            kBarBase, kBarBase);
        Put("<line class=\"base\" x1=\"%.0f\" x2=\"%.0f\" y1=\"%.0f\" y2=\"%.0f\"/>\n", kLeft, kRight,
            kRateBase, kRateBase);
    }

    void Phases() {
        for (const Stretch& stretch : u_.course) {
            const double x = X(stretch.from);
            const double width = std::max(X(stretch.to) - x, 0.6);
            const char* const name = kPhaseNames[stretch.phase];
            Put("<rect class=\"phase-%s\" x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"%.0f\"><title>%s "
                "%.2f s</title></rect>\n",
                name, x, kPhaseTop, width, kPhaseHeight, name,
                static_cast<double>(stretch.to - stretch.from) / 1e6);
            if (width > 44)
                Put("<text class=\"inside\" x=\"%.1f\" y=\"%.0f\">%s</text>\n", x + 7, kPhaseTop + 17, name);
        }
    }

    /// A bar a group, as high as it was started often. Of groups that share a bar the worst shows.
    void Groups() {
        const std::size_t share = (u_.groups.size() + kColumns - 1) / kColumns;
        for (std::size_t first = 0; first < u_.groups.size(); first += std::max<std::size_t>(share, 1)) {
            const std::size_t last = std::min(first + share, u_.groups.size()) - 1;
            Bar(first, last);
        }
    }

    void Bar(std::size_t first, std::size_t last) {
        int starts = 0;
        bool open = false;
        for (std::size_t i = first; i <= last; ++i) {
            starts = std::max<int>(starts, u_.groups[i].starts);
            open = open || !u_.groups[i].confirmed;
        }
        const int height = std::min(starts, 3);
        if (height == 0) return;
        const double x = X(u_.groups[first].first);
        const double room = X(u_.groups[last].last) - x;
        const double width = std::max(room > 4 ? room - 1.5 : room, 0.8);
        Put("<rect class=\"group starts%d%s\" x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"%.0f\"><title>",
            height, open ? " open" : "", x, kBarBase - height * kBarStep, width, height * kBarStep);
        if (first == last)
            Put("group %zu: ", first);
        else
            Put("groups %zu to %zu: at most ", first, last);
        Put("%d starts%s</title></rect>\n", starts, open ? ", not confirmed" : "");
    }

    struct Step {
        Micros from, to;
        double rate;
    };

    /// From verdict to verdict, over as many groups as share a bar.
    std::vector<Step> Steps() const {
        std::vector<Step> steps;
        const std::size_t share = std::max<std::size_t>((u_.groups.size() + kColumns - 1) / kColumns, 1);
        Micros from = u_.data_from;
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < u_.groups.size(); ++i) {
            if (!u_.groups[i].confirmed) continue;
            bytes += kGroupSize;
            const Micros to = u_.groups[i].last;
            if (bytes < share * kGroupSize && i + 1 < u_.groups.size()) continue;
            if (to > from)
                steps.push_back(
                    {from, to, static_cast<double>(bytes) * 1e6 / static_cast<double>(to - from)});
            from = std::max(from, to);
            bytes = 0;
        }
        return steps;
    }

    void Rate() {
        const std::vector<Step> steps = Steps();
        if (steps.empty()) return;
        const double most = std::ranges::max_element(steps, {}, &Step::rate)->rate;
        Put("<text class=\"tick\" x=\"%.0f\" y=\"%.0f\" text-anchor=\"end\">%.0f B/s</text>", kLeft - 5,
            kRateTop + 4, most);
        std::string path;
        char part[64];
        for (const Step& step : steps) {
            const double y = kRateBase - step.rate / most * (kRateBase - kRateTop);
            std::snprintf(part, sizeof part, "%s%.1f %.1f H%.1f ", path.empty() ? "M" : "L", X(step.from), y,
                          X(step.to));
            path += part;
        }
        text_ += "<path class=\"rate\" d=\"" + path + "\"/>\n";
    }

    void Marks() {
        static constexpr const char* kWords[] = {"sent again", "missing", "refused", "link lost", "end"};
        static constexpr const char* kClasses[] = {"resend", "lost", "refused", "link", "end"};
        double drawn[5] = {-9, -9, -9, -9, -9};  // where the last mark of a kind is: they never overlap
        for (const Mark& mark : u_.marks) {
            const double x = X(mark.at);
            if (x < drawn[mark.kind] + 3) continue;
            drawn[mark.kind] = x;
            const bool line = mark.kind == Mark::kLinkLost || mark.kind == Mark::kEnd;
            Put("<g class=\"mark %s%s\"><title>%s at %.2f s", kClasses[mark.kind],
                mark.kind == Mark::kEnd && u_.result != 0 ? " fault" : "", kWords[mark.kind],
                static_cast<double>(mark.at - u_.started) / 1e6);
            if (mark.group >= 0) Put(", group %d", mark.group);
            Put("</title>");
            if (line)
                Put("<line x1=\"%.1f\" x2=\"%.1f\" y1=\"%.0f\" y2=\"%.0f\"/>", x, x, kPhaseTop - 8,
                    kRateBase);
            Shape(mark.kind, x);
            Put("</g>\n");
        }
    }

    /// A triangle, a dot, a cross: kinds differ without their colours.
    void Shape(Mark::Kind kind, double x) {
        const double y = kMarkTop + 4;
        switch (kind) {
            case Mark::kResend:
                Put("<path d=\"M%.1f %.1f l4 7 h-8 z\"/>", x, y - 4);
                break;
            case Mark::kLost:
                Put("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3.2\"/>", x, y);
                break;
            case Mark::kRefused:
                Put("<path class=\"cross\" d=\"M%.1f %.1f l7 7 m0 -7 l-7 7\"/>", x - 3.5, y - 3.5);
                break;
            case Mark::kLinkLost:
            case Mark::kEnd:
                Put("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"4.5\"/>", x, kPhaseTop - 10);
                break;
        }
    }

    const Update& u_;
    double span_;
    std::string text_;
};

}  // namespace

std::string Timeline(const Update& update) {
    return Drawing(update).Draw();
}

}  // namespace velmorin
