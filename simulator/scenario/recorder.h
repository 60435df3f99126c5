// Writes down what is done to a stage as a scenario: each line as it was carried out, with the waits between
// them on the daemons' clock. Played back in stepped time it gives the same pictures, because the live stage
// moves in steps too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/scenario/controls.h"

namespace desk {

// The lines that make a box that reports `before` into one that reports `after`.
std::vector<std::string> lines_between(const BoxReport &before, const BoxReport &after);

// A line, and the moment of the daemons' clock at which it had been carried out.
struct RecordedLine {
    std::string text;
    int64_t end_us;
};

class Recorder {
public:
    // Begins anew; the daemons' clock stands at 0, or at `now_us`.
    void begin(const std::vector<std::string> &first_lines, int64_t now_us);
    // A line that has been carried out between these two moments; a start ends at its own moment 0. Lines that were
    // noted between them cut a wait in two.
    void note(const std::string &line, int64_t before_us, int64_t after_us);
    void end(int64_t now_us);

    bool running() const { return running_; }
    size_t lines() const { return lines_.size(); }
    const std::vector<RecordedLine> &recorded() const { return lines_; }
    // The scenario, also while it is still being recorded. Empty when nothing was ever recorded.
    std::string text() const;

private:
    void catch_up(int64_t now_us);

    std::vector<RecordedLine> lines_;
    int64_t written_us_ = 0; // up to here the lines account for the time
    bool running_ = false;
};

} // namespace desk
