// Moving along the lines.
#include "simulator/page/scenario_player.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace desk {

using nlohmann::json;

// So long others wait for their turn while a run goes as fast as it can.
static constexpr std::chrono::milliseconds seek_turn{25};

ScenarioPlayer::ScenarioPlayer(Stage &stage, const ScenarioStore &store, PlayerWork work)
    : stage_(stage),
      store_(store),
      work_(std::move(work)),
      load_(std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1)) {}

/* ---- what is asked for ---- */

void ScenarioPlayer::load(ReadScenario scenario) {
    scenario_ = std::move(scenario);
    load_++;
    mode_ = Mode::rest;
    done_ = 0;
    in_line_ = exact_ = false;
    wait_.reset();
    film_.reset();
    disturbed_.clear();
    problem_.clear();
    pictures_.clear();
    notes_.clear();
}

const ReadScenario &ScenarioPlayer::loaded() const {
    if (!scenario_) throw Error("no scenario is loaded");
    return *scenario_;
}

void ScenarioPlayer::bring(const std::string &file, const panel::Picture &picture) {
    for (const ScenarioLine &line : loaded().lines) {
        for (const ExpectedFile &expected : expected_files(line.action)) {
            if (expected.name != file || scenario_->stored) continue;
            scenario_->brought[file] = picture;
            return;
        }
    }
    throw ScenarioError("no line of the scenario that was brought expects '" + file + "'");
}

void ScenarioPlayer::play() {
    const bool over = done_ == loaded().lines.size();
    if (!exact_ || over || !problem_.empty()) {
        // From the line where it stands, or from the first one.
        seek(over || !problem_.empty() ? 0 : done_);
    } else {
        mode_ = Mode::play;
    }
    then_plays_ = true;
    budget_ms_ = 0;
}

void ScenarioPlayer::pause() {
    loaded();
    mode_ = Mode::rest;
    then_plays_ = false;
}

void ScenarioPlayer::seek(size_t done) {
    if (!exact_ || !problem_.empty() || done < done_ || (done == done_ && in_line_)) begin_anew();
    wanted_ = done;
    then_plays_ = false;
    mode_ = Mode::seek;
}

void ScenarioPlayer::go(int number) {
    const std::vector<ScenarioLine> &lines = loaded().lines;
    if (number == 0) return seek(0);
    for (size_t i = 0; i < lines.size(); i++) {
        if (lines[i].number == number) return seek(i + 1);
    }
    throw ScenarioError("line " + std::to_string(number) + " of '" + scenario_->name +
                        "' does nothing, or is not there");
}

void ScenarioPlayer::step() { seek(std::min(done_ + 1, loaded().lines.size())); }

void ScenarioPlayer::back() {
    loaded();
    seek(in_line_ || done_ == 0 ? done_ : done_ - 1);
}

void ScenarioPlayer::to_end() { seek(loaded().lines.size()); }

/* ---- going on ---- */

void ScenarioPlayer::begin_anew() {
    work_.begin_anew();
    done_ = 0;
    in_line_ = false;
    wait_.reset();
    disturbed_.clear();
    problem_.clear();
    note_.clear();
    pictures_.clear();
    notes_.clear();
    film_.emplace(stage_);
    exact_ = true;
}

void ScenarioPlayer::look() {
    if (film_ && busy()) film_->look();
}

void ScenarioPlayer::disturb(const std::string &what) {
    if (!exact_) return;
    exact_ = false;
    disturbed_ = what;
}

void ScenarioPlayer::turn(int64_t due_ms) {
    const auto end = std::chrono::steady_clock::now() + seek_turn;
    if (mode_ == Mode::play) budget_ms_ += due_ms;
    while (busy()) {
        const bool arrived = done_ >= (mode_ == Mode::seek ? wanted_ : loaded().lines.size());
        if (arrived) {
            mode_ = mode_ == Mode::seek && then_plays_ ? Mode::play : Mode::rest;
        } else if (mode_ == Mode::play) {
            if (!move(budget_ms_)) return;
        } else {
            int64_t any_time = longest_pause_ms;
            move(any_time);
        }
        if (std::chrono::steady_clock::now() >= end) return;
    }
}

// Takes the next line or the next step of its wait. False: the time for that has not come yet.
bool ScenarioPlayer::move(int64_t &budget_ms) {
    const ScenarioLine &line = scenario_->lines[done_];
    try {
        if (wait_) return wait_on(budget_ms);
        take_line(line);
    } catch (const std::exception &problem) { // a wait that was not met, or a daemon that has ended
        fail(problem.what());
    }
    return true;
}

bool ScenarioPlayer::wait_on(int64_t &budget_ms) {
    const int64_t left_ms = wait_->left_ms;
    if (budget_ms < std::min(wait_->step_ms, left_ms)) return false;
    const bool over = stage_.go_on(*wait_);
    budget_ms -= left_ms - wait_->left_ms;
    if (over) finish(scenario_->lines[done_]);
    return true;
}

void ScenarioPlayer::take_line(const ScenarioLine &line) {
    before_us_ = stage_.now_us();
    if (!is(line.action, "wait")) {
        work_.carry_out(line.action);
        return finish(line);
    }
    if (!stage_.started()) work_.carry_out(*parse_action("start"));
    before_us_ = stage_.now_us();
    wait_ = begin_wait(stage_, line.action);
    in_line_ = true;
}

void ScenarioPlayer::finish(const ScenarioLine &line) {
    wait_.reset();
    in_line_ = false;
    done_++;
    film_->look();
    if (is(line.action, "note")) {
        note_ = line.action.text;
        film_->set_caption(note_);
    }
    take_pictures(line);
    work_.done(line, before_us_);
}

void ScenarioPlayer::take_pictures(const ScenarioLine &line) {
    std::vector<LinePicture> taken;
    if (is(line.action, "picture")) {
        for (View view : both_views) taken.push_back({view, "", stage_.picture(view), std::nullopt, "", 0});
    }
    for (const ExpectedFile &file : expected_files(line.action)) {
        taken.push_back({file.view, file.name, stage_.picture(file.view), std::nullopt, "", 0});
        compare(taken.back());
    }
    if (taken.empty()) return;
    pictures_[line.number] = taken;
    notes_[line.number] = note_;
}

void ScenarioPlayer::compare(LinePicture &picture) const {
    const auto brought = scenario_->brought.find(picture.file);
    picture.problem.clear();
    try {
        picture.expected = brought != scenario_->brought.end() ? brought->second : store_.picture(picture.file);
        if (!picture.expected) picture.problem = "there is no picture " + picture.file;
    } catch (const std::exception &problem) {
        picture.expected.reset();
        picture.problem = picture.file + ": " + problem.what();
    }
    if (picture.expected) picture.different = picture.actual.count_different(*picture.expected);
}

void ScenarioPlayer::fail(const std::string &problem) {
    if (!busy()) return;
    problem_ = problem;
    mode_ = Mode::rest;
    wait_.reset();
    in_line_ = false;
}

/* ---- what is told ---- */

// Short, for it is published whenever something moves.
json ScenarioPlayer::state() const {
    if (!scenario_) return {{"name", ""}, {"load", load_}};
    json marks = json::array();
    for (const auto &[number, pictures] : pictures_) {
        int different = 0;
        bool tested = false;
        json differ = json::array();
        std::string problem;
        for (const LinePicture &picture : pictures) {
            if (picture.file.empty()) continue;
            tested = true;
            different += picture.different;
            if (!picture.agrees()) differ.push_back(name_of(picture.view));
            if (!picture.problem.empty()) problem = picture.problem;
        }
        marks.push_back({{"line", number}});
        if (tested) marks.back()["different"] = different;
        if (!differ.empty()) marks.back()["views"] = differ;
        if (!problem.empty()) marks.back()["problem"] = problem;
    }
    const std::vector<ScenarioLine> &lines = scenario_->lines;
    static const char *const modes[] = {"rest", "play", "seek"};
    return {{"name", scenario_->name},
            {"stored", scenario_->stored},
            {"load", load_},
            {"mode", modes[static_cast<size_t>(mode_)]},
            {"done", done_},
            {"lines", lines.size()},
            {"line", done_ > 0 ? lines[done_ - 1].number : 0},
            {"next", done_ < lines.size() ? lines[done_].number : 0},
            {"waits", in_line_},
            {"started", stage_.started()},
            {"disturbed", disturbed_},
            {"problem", problem_},
            {"marks", marks},
            {"frames", film_ ? film_->frames() : 0}};
}

std::string ScenarioPlayer::moment() const {
    std::string text;
    for (const int64_t part : {load_, static_cast<int64_t>(mode_), static_cast<int64_t>(done_),
                               static_cast<int64_t>(in_line_), static_cast<int64_t>(stage_.started()),
                               static_cast<int64_t>(film_ ? film_->frames() : 0), static_cast<int64_t>(rewritten_)}) {
        text += std::to_string(part) + " ";
    }
    return text + disturbed_ + "\n" + problem_;
}

const LinePicture *ScenarioPlayer::picture(int number, View view) const {
    const auto taken = pictures_.find(number);
    if (taken == pictures_.end()) return nullptr;
    for (const LinePicture &picture : taken->second) {
        if (picture.view == view) return &picture;
    }
    return nullptr;
}

std::string ScenarioPlayer::film() const { return film_ && film_->frames() > 0 ? film_->bytes() : ""; }

/* ---- expect this ---- */

std::vector<std::string> ScenarioPlayer::expect(int number) {
    const auto taken = pictures_.find(number);
    if (taken == pictures_.end() || taken->second[0].file.empty()) {
        throw Error("line " + std::to_string(number) + " has compared nothing yet; play to it first");
    }
    if (!loaded().stored)
        throw Error("'" + scenario_->name + "' is no stored scenario; its pictures can be downloaded");
    const std::string reason = store_.read_only();
    if (!reason.empty()) throw Error("nothing was written: " + reason + "; the pictures can be downloaded");
    std::vector<std::string> written;
    for (const LinePicture &picture : taken->second) {
        if (!picture.agrees()) written.push_back(store_.save(picture.file, picture.actual, notes_[number]));
    }
    rewritten_++;
    // Other lines may expect the same picture.
    for (auto &[line, pictures] : pictures_) {
        for (LinePicture &picture : pictures) {
            if (!picture.file.empty()) compare(picture);
        }
    }
    return written;
}

} // namespace desk
