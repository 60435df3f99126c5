// The simulator's web page: its server, and under which addresses it answers what. web/ is the page itself.
//
//     desk::Page page(stage, pace, 0, end_wanted);
//     std::puts(page.address().c_str());
//     while (!end_wanted()) page.turn();
#pragma once

#include <functional>
#include <string>

#include "simulator/page/event_hub.h"
#include "simulator/page/job_queue.h"
#include "simulator/page/page_controller.h"
#include "simulator/page/web_server.h"

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
    const std::string &trouble() const { return controller_.trouble(); }
    // A scenario has the stage to itself.
    bool plays() { return controller_.player().busy(); }

private:
    JobQueue jobs_;
    EventHub hub_;
    PageController controller_;
    WebServer server_; // last: its threads use what stands above
};

} // namespace desk
