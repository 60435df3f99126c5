// Lets a stage that moves in steps keep up with the wall clock, at a speed that may be changed at any time.
// So a live display is as repeatable as a played one: what is done to it happens between two steps, at a
// whole millisecond of the daemons' clock.
#pragma once

#include <chrono>

#include "simulator/scenario/stage.h"

namespace desk {

constexpr double fastest = 100.0;

class Pace {
public:
    // The stage must not be live: this is what makes it so.
    explicit Pace(Stage &stage, double speed = 1.0) : stage_(stage), speed_(speed) {}

    // Lets pass what the wall clock is ahead by. What a slow machine can't keep up with is let go.
    void turn();
    // What turn() would let pass, for who lets it pass himself: whole milliseconds.
    int64_t take_due_ms();
    // From here on; whatever took the stage's thread up to now was not waiting.
    void forget_lag();

    double speed() const { return speed_; }
    // 0 stands still. Throws Error outside 0 to `fastest`.
    void set_speed(double speed);

private:
    Stage &stage_;
    double speed_;
    double owed_ms_ = 0.0;
    std::chrono::steady_clock::time_point seen_ = std::chrono::steady_clock::now();
};

} // namespace desk
