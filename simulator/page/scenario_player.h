// Plays one scenario on the stage that the page shows: line by line, at the speed of the page or as fast as it goes, to
// a line or back. Time is driven, so going back is a run from a fresh start; what else happens to the stage meanwhile
// makes the next move such a run, too. Used by the thread that drives the stage, a turn at a time.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "simulator/page/scenario_store.h"
#include "simulator/scenario/expected_picture.h"
#include "simulator/scenario/play_film.h"

namespace desk {

// What a line showed on one panel, and what was expected there.
struct LinePicture {
    View view;
    std::string file; // as the scenario names it; "" for a picture that is only taken
    panel::Picture actual;
    std::optional<panel::Picture> expected;
    std::string problem; // why there is none
    int different = 0;   // pixels
    bool agrees() const { return expected == actual; }
};

// How a player reaches what belongs to whoever owns the stage.
struct PlayerWork {
    std::function<void()> begin_anew;                                  // the stage is as new
    std::function<void(const Action &action)> carry_out;               // throws Error
    std::function<void(const ScenarioLine &, int64_t before_us)> done; // a line has been
};

class ScenarioPlayer {
public:
    ScenarioPlayer(Stage &stage, const ScenarioStore &store, PlayerWork work);

    // The stage stays as it is until something is played.
    void load(ReadScenario scenario);
    const std::optional<ReadScenario> &scenario() const { return scenario_; }
    // A picture that a line of a page's scenario expects. Throws ScenarioError when none does.
    void bring(const std::string &file, const panel::Picture &picture);

    // Each throws Error when nothing is loaded.
    void play();
    void pause();
    // Until the line of that number has been carried out, as fast as it goes; 0 is before the first. Throws
    // ScenarioError for a line that does nothing or is not there.
    void go(int number);
    void step(); // one line further; what is left of a wait counts as one
    void back(); // one line less
    void to_end();

    // Plays, or is on its way: nobody else should touch the stage.
    bool busy() const { return mode_ != Mode::rest; }
    bool plays() const { return mode_ == Mode::play; }
    // Goes on. Of the daemons' time, playing lets `due_ms` pass.
    void turn(int64_t due_ms);
    // Nothing if it does not play.
    void fail(const std::string &problem);
    // For the stage's watcher.
    void look();
    // Something else has happened to the stage.
    void disturb(const std::string &what);

    nlohmann::json state() const;
    // Another text when state() has changed; cheap, however long the scenario is.
    std::string moment() const;
    // Nothing when the line took no picture in this run.
    const LinePicture *picture(int number, View view) const;
    // The film of this run; "" before its first frame.
    std::string film() const;
    // Takes what a line has shown as expected and writes it; the paths. Throws Error.
    std::vector<std::string> expect(int number);

private:
    enum class Mode { rest, play, seek };

    const ReadScenario &loaded() const;
    void seek(size_t done);
    void begin_anew();
    bool move(int64_t &budget_ms);
    bool wait_on(int64_t &budget_ms);
    void take_line(const ScenarioLine &line);
    void finish(const ScenarioLine &line);
    void take_pictures(const ScenarioLine &line);
    void compare(LinePicture &picture) const;

    Stage &stage_;
    const ScenarioStore &store_;
    PlayerWork work_;
    std::optional<ReadScenario> scenario_;
    int64_t load_; // tells the pages that there is another one; none of an earlier program has its number
    Mode mode_ = Mode::rest;
    size_t done_ = 0;   // lines that have been carried out
    size_t wanted_ = 0; // seek: so many
    bool then_plays_ = false;
    bool in_line_ = false; // the next one has begun: a wait
    std::optional<Wait> wait_;
    int64_t before_us_ = 0;
    int64_t budget_ms_ = 0; // what the wall clock is ahead by
    bool exact_ = false;    // the stage is as these lines and nothing else have made it
    std::string disturbed_; // by what
    std::string problem_;   // of the line after the last one that was done
    std::optional<Film> film_;
    std::string note_;
    std::map<int, std::vector<LinePicture>> pictures_; // by the numbers of their lines
    int rewritten_ = 0;                                // how often what is expected has changed in this run
    std::map<int, std::string> notes_;                 // the last one before such a line
};

} // namespace desk
