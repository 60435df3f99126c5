// The simulator's web page, seen from the thread that drives the stage. This class carries out what the pages
// ask for, keeps the recording, and tells all open pages what has changed: pictures, log lines, the box.
// page_routes.cpp says under which addresses, web/ is the page itself.
//
//     desk::Page page(stage, pace, 0);
//     std::puts(page.address().c_str());
//     while (!end_wanted) page.turn();
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <string>

#include "simulator/page/event_hub.h"
#include "simulator/page/job_queue.h"
#include "simulator/page/page_json.h"
#include "simulator/page/web_server.h"
#include "simulator/scenario/pace.h"
#include "simulator/scenario/recorder.h"
#include "simulator/scenario/scenario.h"

namespace desk {

class Page {
public:
    // Serves the page on that port of 127.0.0.1, 0 for a free one, from now on. A line that waits on the
    // daemons' clock is given up when `end_wanted`. Throws Error.
    Page(Stage &stage, Pace &pace, int port, std::function<bool()> end_wanted);
    ~Page();

    std::string address() const { return server_.address(); }

    // One turn of the live loop, some 10 ms: does what the pages ask for, lets the daemons' time pass and
    // publishes what changed. A daemon that ended is shown on the page, where it can be started again;
    // nothing is thrown.
    void turn();
    // Why nothing moves any more; empty while the daemons run.
    const std::string &trouble() const { return trouble_; }

private:
    // In page_routes.cpp; what these register runs in the web server's threads.
    void add_routes();
    void add_files();
    void add_questions();
    void add_requests();
    void add_events();

    // In the driving thread.
    void perform(const std::string &line);
    void carry_out(const Action &action);
    void watch_wait();
    void begin_recording();
    void end_recording();
    void set_speed(const std::string &text);
    nlohmann::json state();
    void publish_changes();
    void publish_picture(View view);
    void publish_log(View view);
    void publish_state();
    void publish_time();

    Stage &stage_;
    Pace &pace_;
    Recorder recorder_;
    std::function<bool()> end_wanted_;
    std::string trouble_;
    std::array<Picture, both_views.size()> shown_;
    std::array<int, both_views.size()> logged_{};
    std::string state_shown_;
    std::string time_shown_;
    std::chrono::steady_clock::time_point published_{};

    JobQueue jobs_;
    EventHub hub_;
    WebServer server_; // last: its threads use what stands above
};

} // namespace desk
