#include "simulator/scenario/recorder.h"

#include <algorithm>

#include "simulator/scenario/scenario.h"

namespace desk {

std::vector<std::string> lines_between(const BoxReport &before, const BoxReport &after) {
    std::vector<std::string> lines;
    for (const auto &entry : after) {
        if (!entry.second || std::find(before.begin(), before.end(), entry) != before.end()) continue;
        lines.push_back(entry.first + " " + quoted(*entry.second));
    }
    return lines;
}

void Recorder::begin(const std::vector<std::string> &first_lines, int64_t now_us) {
    lines_.clear();
    for (const std::string &line : first_lines) lines_.push_back({line, now_us});
    written_us_ = now_us;
    running_ = true;
}

void Recorder::catch_up(int64_t now_us) {
    // A night at a high speed is longer than one wait may be.
    for (int64_t left = (now_us - written_us_) / 1000; left > 0;) {
        const int64_t ms = std::min(left, longest_pause_ms);
        written_us_ += ms * 1000;
        lines_.push_back({"wait " + std::to_string(ms) + "ms", written_us_});
        left -= ms;
    }
}

void Recorder::note(const std::string &line, int64_t before_us, int64_t after_us) {
    if (!running_) return;
    // While a line waited, something came from outside: the rest of the wait is a matter of time alone.
    if (written_us_ > before_us && after_us > before_us) return catch_up(after_us);
    catch_up(before_us);
    lines_.push_back({line, after_us});
    written_us_ = after_us;
}

void Recorder::end(int64_t now_us) {
    if (running_) catch_up(now_us);
    running_ = false;
}

std::string Recorder::text() const {
    if (lines_.empty()) return "";
    std::string text = "# Recorded on the simulator's page. Play it with: display-sim play FILE\n";
    for (const RecordedLine &line : lines_) text += line.text + "\n";
    return text;
}

} // namespace desk
