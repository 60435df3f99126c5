// The stage: the device's daemon (64 x 128) and the layout's (128 x 66) side by side in one box on one bus,
// so that a command or a file reaches both. Everything that plays or shows the display stands on it: the
// scenario player, the web page, the live view. Its time is stepped: the daemons move in pass() only, as fast
// as the machine can. Use it from one thread.
//
//     desk::Stage stage;
//     stage.start();
//     stage.send("chan_bt");
//     stage.pass(600);
//     stage.picture(desk::View::layout).save_pbm("bluetooth.pbm");
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulator/desk/desk.h"

namespace desk {

enum class View { device, layout };
constexpr std::array<View, 2> both_views = {View::device, View::layout};
const char *name_of(View view); // "device" or "layout", as in file names

enum class Target {
    native,
    armhf, // the 32-bit ARM daemon of build/armhf under qemu-arm
};

// What a start leads to; see Box::set_wifi_debug() and Box::set_production().
struct Start {
    enum class Variant { normal, debug, production };
    Variant variant = Variant::normal;
    bool bare = false;
};
constexpr std::array<Start::Variant, 3> all_variants = {Start::Variant::normal, Start::Variant::debug,
                                                        Start::Variant::production};
const char *name_of(Start::Variant variant); // "normal", "debug" or "production", as in scenarios

struct StageOptions {
    Target target = Target::native;
};

// What a scenario asked for did not happen: a wait ran into its limit. Other Errors are trouble of the desk.
class WaitFailed : public Error {
public:
    using Error::Error;
};

// A wait that goes on step by step, so that others get their turn in between.
struct Wait {
    std::function<bool()> met;            // empty: it is for the time alone
    std::function<std::string()> why_not; // when `left_ms` have passed without it
    int64_t step_ms;
    int64_t left_ms;
};

// What both panels held at a moment of the daemons' clock, as bytes of their files.
struct Moment {
    int64_t now_us;
    std::array<std::vector<unsigned char>, 2> panels; // device, layout
};

class Stage {
public:
    explicit Stage(const StageOptions &options = {});
    ~Stage();

    // The box that both daemons share. It may be prepared before the first start. A start that changes
    // between a bare and a healthy box makes a new one: don't keep the reference across starts.
    Box &box() { return desk(View::device).box(); }
    Bus &bus() { return desk(View::device).bus(); }
    Desk &desk(View view);

    // Ends both daemons if they run and starts them as that variant. The box stays as it is otherwise.
    void start(const Start &how = {});
    // Ends both daemons. Box, logs, panels and clock are as those of a new stage then, on the same bus and in the same
    // folders if the box was no bare one.
    void begin_anew();
    bool started() const { return started_; }
    const Start &start_made() const { return start_; }
    const StageOptions &options() const { return options_; }
    // Throws Error when one of them has ended by itself.
    void check_alive();
    // One signal to both. wait_for_log() looks at what has been logged since the last of these.
    void send(const std::string &word, const std::vector<Argument> &further = {});

    Picture picture(View view) { return desk(view).picture(); }
    // Everything logged since the start.
    std::vector<LogLine> log(View view);

    // Microseconds of the daemons' clock since the start; 0 before one.
    int64_t now_us();
    // Lets that much of the daemons' time pass.
    void pass(int64_t ms);
    // Called again and again while time passes, at least after every `watch_step_ms` of it. Throwing from it
    // ends the wait.
    void set_watcher(std::function<void()> watcher) { watcher_ = std::move(watcher); }
    // Shown what a watcher would see that looks at both panels, `watch_step_ms` after another: the first moment, each at
    // which one of them holds something else than at the one before, and how they stand in the end. The daemons stop
    // less often for it; where it is called they may be some looks ahead.
    void set_viewer(std::function<void(const Moment &)> viewer) { viewer_ = std::move(viewer); }
    Moment moment();

    // Waits on the daemons' clock that begin now, 10 s of it at most.
    Wait wait_for_log(const std::string &text);
    Wait wait_for_mode(const std::string &text); // the words in the mode row of the layout's picture
    Wait wait_until_settled();                   // nothing but the activity icon moved for 700 ms
    // The next step of a wait. True: it is over. Throws WaitFailed when it was not met.
    bool go_on(Wait &wait);

private:
    void make_desks(bool bare);
    Options desk_options(View view, bool bare) const;
    void step(int64_t ms);
    void show_looks(Moment moment);

    StageOptions options_;
    Start start_;
    bool started_ = false;
    std::unique_ptr<Desk> device_;
    std::unique_ptr<Desk> layout_;
    std::function<void()> watcher_;
    std::function<void(const Moment &)> viewer_;
    std::array<size_t, 2> log_mark_{}; // lines logged before the last send or start
};

constexpr int64_t wait_limit_ms = 10000;
constexpr int64_t settled_ms = 700;
constexpr int64_t watch_step_ms = 20;

// The layout's picture without the corner in which the activity icon moves all the time.
Picture without_activity_icon(const Picture &layout);

} // namespace desk
