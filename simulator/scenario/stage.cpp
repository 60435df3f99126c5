// Two daemons in one box: starting them, letting time pass for both, and waiting for what they show.
#include "simulator/scenario/stage.h"

#include <algorithm>
#include <limits>

#include "panel/drawing.h"
#include "simulator/scenario/stage_target.h"
#include "simulator/scenario/stage_text.h"

namespace desk {

const char *name_of(View view) { return view == View::device ? "device" : "layout"; }

const char *name_of(Start::Variant variant) {
    static constexpr const char *names[] = {"normal", "debug", "production"};
    return names[static_cast<size_t>(variant)];
}

Stage::Stage(const StageOptions &options) : options_(options) { make_desks(false); }

// The layout's desk lives in the device's box: it goes first.
Stage::~Stage() { layout_.reset(); }

Options Stage::desk_options(View view, bool bare) const {
    Options options;
    options.contents = bare ? Contents::bare : Contents::healthy;
    options.layout = view == View::layout;
    if (view == View::layout) options.companion_of = device_.get();
    if (options_.target == Target::armhf) choose_armhf(options);
    return options;
}

void Stage::make_desks(bool bare) {
    layout_.reset();
    device_.reset();
    device_ = std::make_unique<Desk>(desk_options(View::device, bare));
    layout_ = std::make_unique<Desk>(desk_options(View::layout, bare));
}

Desk &Stage::desk(View view) { return view == View::device ? *device_ : *layout_; }

/* ---- start and commands ---- */

void Stage::start(const Start &how) {
    started_ = false;
    layout_->stop();
    device_->stop();
    if (how.bare != start_.bare || how.bare) make_desks(how.bare);
    if (bus().ended()) bus().start_again();
    start_ = how;
    box().set_wifi_debug(how.variant == Start::Variant::debug);
    box().set_production(how.variant == Start::Variant::production);
    log_mark_ = {};
    for (View view : both_views) desk(view).start();
    started_ = true;
}

void Stage::begin_anew() {
    started_ = false;
    layout_->reset();
    device_->reset();
    if (bus().ended()) bus().start_again();
    if (start_.bare) {
        make_desks(false);
    } else {
        box().begin_anew();
    }
    start_ = {};
    log_mark_ = {};
}

void Stage::check_alive() {
    for (View view : both_views) {
        if (started_ && !desk(view).alive()) desk(view).advance(0); // throws with the daemon's last words
    }
}

void Stage::send(const std::string &word, const std::vector<Argument> &further) {
    check_alive();
    for (View view : both_views) log_mark_[view == View::layout] = log(view).size();
    bus().send(word, further);
}

std::vector<LogLine> Stage::log(View view) { return desk(view).log().lines(); }

/* ---- time ---- */

int64_t Stage::now_us() { return started_ ? device_->clock().now_us() : 0; }

Moment Stage::moment() { return {now_us(), {device_->panel().bytes(), layout_->panel().bytes()}}; }

// Both run at the same time; the second wait is short.
void Stage::step(int64_t ms) {
    for (View view : both_views) {
        const int size = desk(view).panel().geometry().size_in_bytes();
        desk(view).clock().look_every(viewer_ ? watch_step_ms : 0, static_cast<size_t>(size));
    }
    check_alive();
    for (View view : both_views) desk(view).clock().raise(ms);
    for (View view : both_views) desk(view).arrive(ms);
}

// From how they stood before: a panel of which there is no look shows what it showed. The first moment is shown in any
// case, for who has not seen how they stood.
void Stage::show_looks(Moment moment) {
    const std::array<std::vector<Look>, 2> looks = {device_->clock().looks(), layout_->clock().looks()};
    std::array<size_t, 2> next{};
    const auto left = [&](size_t panel) { return next[panel] < looks[panel].size(); };
    const int64_t first_us = moment.now_us + watch_step_ms * 1000;
    for (bool first = first_us < now_us(); first || left(0) || left(1); first = false) {
        moment.now_us = first ? first_us : std::numeric_limits<int64_t>::max();
        for (size_t panel : {0, 1}) {
            if (left(panel)) moment.now_us = std::min(moment.now_us, looks[panel][next[panel]].at_us);
        }
        for (size_t panel : {0, 1}) {
            if (!left(panel) || looks[panel][next[panel]].at_us != moment.now_us) continue;
            moment.panels[panel] = looks[panel][next[panel]++].panel;
        }
        viewer_(moment);
    }
    viewer_(this->moment());
}

void Stage::pass(int64_t ms) {
    const int64_t largest = watcher_ ? watch_step_ms : viewer_ ? (Clock::most_looks + 1) * watch_step_ms : 1000;
    for (int64_t left = ms; left > 0;) {
        const int64_t part = std::min(left, largest);
        const Moment before = viewer_ ? moment() : Moment{};
        step(part);
        if (viewer_) show_looks(before);
        if (watcher_) watcher_();
        left -= part;
    }
}

/* ---- waits ---- */

static std::string within_limit() { return " within " + std::to_string(wait_limit_ms / 1000) + " s"; }

bool Stage::go_on(Wait &wait) {
    if (wait.met && wait.met()) return true;
    if (wait.left_ms <= 0) {
        if (wait.met) throw WaitFailed(wait.why_not());
        return true;
    }
    const int64_t part = std::min(wait.step_ms, wait.left_ms);
    pass(part);
    wait.left_ms -= part;
    return false;
}

Wait Stage::wait_for_log(const std::string &text) {
    const auto logged = [this, text](View view) {
        const std::vector<LogLine> lines = log(view);
        for (size_t i = log_mark_[view == View::layout]; i < lines.size(); i++) {
            if (lines[i].text.find(text) != std::string::npos) return true;
        }
        return false;
    };
    const auto why_not = [this, text] {
        std::string seen;
        const std::vector<LogLine> lines = log(View::device);
        for (size_t i = log_mark_[0]; i < lines.size(); i++) {
            seen += "\n    " + lines[i].text.substr(0, lines[i].text.find('\n'));
        }
        return "no log line has \"" + text + "\"" + within_limit() +
               "; logged since the last command:" + (seen.empty() ? " nothing" : seen);
    };
    return {[logged] { return logged(View::device) && logged(View::layout); }, why_not, 1, wait_limit_ms};
}

// The mode row between its two icons.
static Picture mode_row(const Picture &layout) { return layout.part(18, 50, 93, text_height); }

Wait Stage::wait_for_mode(const std::string &text) {
    const auto shown = [this, text] { return shows_exactly(mode_row(picture(View::layout)), text); };
    const auto why_not = [this, text] {
        return "the mode row does not show \"" + text + "\"" + within_limit() + "; it shows:\n" +
               panel::drawn(mode_row(picture(View::layout)), panel::Marks::half_blocks);
    };
    return {shown, why_not, watch_step_ms, wait_limit_ms};
}

Picture without_activity_icon(const Picture &layout) {
    Picture rest = layout;
    for (int y = 50; y < layout.height(); y++) {
        for (int x = 111; x < 123; x++) rest.set(x, y, false);
    }
    return rest;
}

Wait Stage::wait_until_settled() {
    const auto settled = [this, before = std::array<Picture, 2>(), since = now_us()]() mutable {
        const std::array<Picture, 2> now = {picture(View::device), without_activity_icon(picture(View::layout))};
        if (now != before) since = now_us();
        before = now;
        return now_us() - since >= settled_ms * 1000;
    };
    const auto why_not = [] { return "the picture does not come to rest" + within_limit(); };
    return {settled, why_not, watch_step_ms, wait_limit_ms};
}

} // namespace desk
