// The daemon's clock, driven from the desk through a file that the shim maps (desk_clock.h).
//   stepped  The daemon's usleep() moves time by what it asks for, up to a limit; there it stands still until
//            the desk raises it. Nothing depends on the speed of the machine: frames repeat exactly.
//   scaled   Time runs on its own, `speed` times as fast as the wall clock (20 for soaks, 0 stands still).
// One pass of the daemon's loop is one usleep() of 1 ms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct desk_clock;

namespace desk {

// What the panel held at a moment of stepped time.
struct Look {
    int64_t at_us;
    std::vector<unsigned char> panel;
};

class Clock {
public:
    // Makes the clock file. It begins stepped, with the limit at 0: the daemon starts up and stands at its
    // first sleep.
    explicit Clock(const std::string &host_path, int64_t origin_us = usual_origin());
    ~Clock();
    Clock(const Clock &) = delete;
    Clock &operator=(const Clock &) = delete;

    // A moment from which the daemon's 32-bit millisecond clock runs for 71 minutes without its wrap.
    static int64_t usual_origin();
    // A moment `ms` before that wrap.
    static int64_t origin_before_wrap(int64_t ms);

    // Lets the daemon run `ms` further; raise() returns at once, stands_still() tells when it has arrived.
    void raise(int64_t ms);
    bool stands_still() const;
    // Stepped: `ms` pass at once, as they do while the daemon waits for somebody and makes no pass.
    void skip(int64_t ms);
    // From the next raise() on the panel, one of one bit, is looked at every `ms` while the daemon runs; 0 is never
    // again. So many a raise are kept.
    static constexpr int64_t most_looks = 7;
    void look_every(int64_t ms, size_t panel_bytes);
    // The looks since the last raise() at which the panel was not what it had been before, once it stands still. How it
    // stands then is not among them.
    std::vector<Look> looks() const;
    // Scaled time from here on; stop() is stepped time again, at the moment reached.
    void set_speed(double speed);
    void stop();

    // As if somebody set the box's clock by so much, back if negative. now_us() goes on as if nothing had happened.
    void set_by(int64_t us);

    // Microseconds since the origin.
    int64_t now_us() const;
    // Passes of the daemon's loop up to now.
    uint32_t passes() const;

    // Back to the beginning, for a daemon that is started again.
    void reset(int64_t origin_us);

private:
    desk_clock *shared_ = nullptr;
};

} // namespace desk
