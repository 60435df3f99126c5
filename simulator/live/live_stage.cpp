// Stage, pace, page and terminal, turned by one thread.
#include "simulator/live/live_stage.h"

#include <memory>
#include <string>

#include <poll.h>

#include "simulator/live/ending.h"
#include "simulator/live/live.h"
#include "simulator/page/page.h"

namespace desk {

static constexpr int turn_ms = 10;

static void turn_without_page(desk::Stage &stage, desk::Pace &pace) {
    poll(nullptr, 0, turn_ms);
    stage.check_alive();
    pace.turn();
}

// A daemon that has ended is told by the next turn: with the page it stays there to be started again.
static std::string perform(desk::Page *page, const std::function<void()> &work) {
    const bool over = page != nullptr && !page->trouble().empty();
    if (over) return "The daemon has ended; the page can start it again.";
    if (page != nullptr && page->plays()) return "A scenario is playing; pause it on the page first.";
    try {
        work();
    } catch (const desk::WaitFailed &) { // the end
    } catch (const desk::Error &) {
        if (page == nullptr) throw;
        return "The daemon has ended.";
    }
    return "";
}

static std::unique_ptr<desk::Page> open_page(desk::Stage &stage, desk::Pace &pace, const LiveOptions &options) {
    try {
        return std::make_unique<desk::Page>(stage, pace, *options.port, end_wanted);
    } catch (const desk::Error &) {
        if (options.port_chosen) throw;
    }
    return std::make_unique<desk::Page>(stage, pace, 0, end_wanted);
}

static std::string told_address(const desk::Page &page, const LiveOptions &options) {
    const std::string address = page.address();
    const std::string port = std::to_string(*options.port);
    const bool usual = options.port_chosen || address.find(":" + port + "/") != std::string::npos;
    return usual ? address : address + " (port " + port + " is taken)";
}

void run_live(const LiveOptions &options) {
    desk::StageOptions stage_options;
    stage_options.target = options.target;
    desk::Stage stage(stage_options);
    stage.start();
    desk::Pace pace(stage, options.speed);
    std::unique_ptr<desk::Page> page;
    LiveView what{options.view, options.style, ""};
    if (options.port) {
        page = open_page(stage, pace, options);
        what.page = told_address(*page, options);
    }
    LiveWork work;
    work.turn = [&] { page ? page->turn() : turn_without_page(stage, pace); };
    work.perform = [&](const std::function<void()> &job) { return perform(page.get(), job); };
    if (options.terminal) return show_live(stage, pace, what, work);
    print("The page: " + what.page + "\n");
    while (!end_wanted()) work.turn();
}

} // namespace desk
