// What the pages ask for and what they are told, all of it in the thread that drives the stage: carries lines out,
// keeps the recording, and publishes what has changed: pictures, log lines, the box.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include "simulator/page/event_hub.h"
#include "simulator/page/scenario_player.h"
#include "simulator/page/scenario_store.h"
#include "simulator/scenario/copy_as.h"
#include "simulator/scenario/overheard.h"
#include "simulator/scenario/pace.h"
#include "simulator/scenario/recorder.h"
#include "simulator/scenario/scenario.h"

namespace desk {

class PageController {
public:
    // A line that waits on the daemons' clock is given up when `end_wanted`.
    // While one waits for long, `meanwhile` is called again and again, for what the pages ask for.
    PageController(Stage &stage, Pace &pace, EventHub &hub, std::function<bool()> end_wanted,
                   std::function<void()> meanwhile);
    ~PageController();

    // Lets the daemons' time pass and publishes what changed. A daemon that ended is told; nothing is thrown.
    void turn();
    // Why nothing moves any more; empty while the daemons run.
    const std::string &trouble() const { return trouble_; }

    // Each throws ScenarioError for what is no line of the language, Error for what could not be done.
    void perform(const std::string &line);
    // Ends the line that waits.
    void give_up();
    void begin_recording();
    void end_recording();
    void set_speed(const std::string &text);

    // Scenarios. Playing goes on in turn(); meanwhile other commands are refused. After a pause, a step and a run to a
    // line time stands still, or goes on as it did before.
    void load_scenario(ReadScenario scenario);
    void play_scenario();
    void pause_scenario();
    enum class Then { stand_still, go_on };
    void move_scenario(const std::function<void(ScenarioPlayer &)> &move, Then then = Then::stand_still);
    std::vector<std::string> expect_this(int number);
    ScenarioPlayer &player() { return player_; }
    const ScenarioStore &store() const { return store_; }

    // What leads from a fresh box to here. Throws Error when that is too much.
    std::vector<RecordedLine> lines_to_here();
    std::string exports(); // what makes a shell send to this desk

    nlohmann::json state();
    Picture picture(View view) { return stage_.picture(view); }
    Picture both_pictures();                                   // side by side
    nlohmann::json texts();                                    // what can be read on both panels
    std::string recording() const { return recorder_.text(); } // empty before the first one

private:
    void watch_wait();
    void note_trouble(const Error &problem);
    void record_commands(bool but_our_last);
    void record_outside();
    void refuse_while_waiting() const;
    void refuse_while_playing() const;
    void refuse_while_recording() const;
    void note(const std::string &line, int64_t now_us);
    void note_done(const std::string &line, const Action &action, int64_t before_us);
    void begin_history(const std::string &start);
    void begin_anew();
    void hold();
    void turn_player(int64_t due_ms);
    void carry_out(const Action &action);
    void publish_now();
    void publish_changes();
    void publish_picture(View view);
    void publish_texts(View view, const Picture &now);
    void publish_start();
    void publish_log(View view);
    void publish_if_new(const std::string &name, const std::string &data, std::string &shown);

    Stage &stage_;
    Pace &pace_;
    EventHub &hub_;
    Recorder recorder_;
    Recorder history_; // since the last start or fresh box; ended when it has grown too long
    BoxReport fresh_box_;
    ScenarioStore store_;
    ScenarioPlayer player_;
    Then then_ = Then::stand_still;
    bool held_ = false; // by the player, not by a person
    double usual_speed_ = 1.0;
    BusListener listener_;
    BoxReport box_recorded_; // what the recording accounts for
    std::chrono::steady_clock::time_point box_looked_at_{};
    std::function<bool()> end_wanted_;
    std::function<void()> meanwhile_;
    // A line that waits on the daemons' clock; empty when none does.
    std::string waiting_;
    std::chrono::steady_clock::time_point waiting_since_;
    bool waits_long_ = false;
    bool given_up_ = false;
    std::string trouble_;
    std::array<Picture, both_views.size()> shown_;
    std::array<Picture, both_views.size()> read_; // whose texts have been told
    std::array<std::string, both_views.size()> texts_shown_;
    std::array<int, both_views.size()> logged_{};
    std::string state_shown_;
    std::string time_shown_;
    std::string player_shown_;
    std::chrono::steady_clock::time_point published_{};
};

} // namespace desk
