// Steps at the speed of the wall clock.
#include "simulator/scenario/pace.h"

#include <algorithm>

namespace desk {

// Beyond this much real time the lag is let go, so that the page stays quick on a slow machine.
static constexpr double longest_lag_ms = 60.0;

int64_t Pace::take_due_ms() {
    const auto now = std::chrono::steady_clock::now();
    const double passed_ms = std::chrono::duration<double, std::milli>(now - seen_).count();
    seen_ = now;
    owed_ms_ += std::min(passed_ms, longest_lag_ms) * speed_;
    const auto whole = static_cast<int64_t>(owed_ms_);
    owed_ms_ -= static_cast<double>(whole);
    return whole;
}

void Pace::turn() {
    const int64_t due_ms = take_due_ms();
    if (due_ms > 0) stage_.pass(due_ms);
}

void Pace::forget_lag() {
    seen_ = std::chrono::steady_clock::now();
    owed_ms_ = 0.0;
}

void Pace::set_speed(double speed) {
    if (!(speed >= 0.0 && speed <= fastest)) {
        const std::string highest = std::to_string(static_cast<int>(fastest));
        throw Error("the speed is a number from 0 (stand still) to " + highest);
    }
    forget_lag();
    speed_ = speed;
}

} // namespace desk
