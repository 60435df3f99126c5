// The addresses of the page, and what stands behind each. Handlers run in the web server's threads: whatever
// touches the stage is handed to the driving thread as a job.
//
//     GET  /  /*.js  /style.css       the page, built into the program
//     GET  /events                    pictures, log lines, state, time, as they change (Server-Sent Events)
//     GET  /api/vocabulary            the words, by groups
//     GET  /api/commands              the commands of the scenario language
//     GET  /api/controls              the controls of the box
//     GET  /api/state                 the box, the start-up variant, the speed, the recording
//     GET  /api/picture.png           ?view=device, layout or both, &scale=1 to 16
//     GET  /api/texts                 what can be read on the panels
//     GET  /api/scenario              what has been recorded
//     POST /api/do                    carries out one scenario line
//     POST /api/give-up               ends the line that waits on the daemons' clock
//     POST /api/speed                 a number; 0 stands still
//     POST /api/record                "start" (starts the daemon afresh) or "stop"
//
// Those of scenarios, the gallery and copies stand in scenario_routes.cpp.
//
// An answer to a POST is {"ok": true} or {"ok": false, "error": "..."}.
#include "simulator/page/page.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include <httplib.h>

#include "panel/png.h"
#include "simulator/page/answers.h"
#include "simulator/page/page_files.h"
#include "simulator/page/page_json.h"
#include "simulator/page/scenario_routes.h"

namespace desk {

using httplib::Request;
using httplib::Response;
using httplib::Server;
using nlohmann::json;

// How long a turn listens for requests.
static constexpr std::chrono::milliseconds turn_length{10};
// Often enough that a page notices the end and a stream's thread is free soon after the page has gone.
static constexpr std::chrono::milliseconds ping_period{2000};

static void add_files(Server &routes) {
    for (const PageFile &file : page_files()) {
        routes.Get(file.path, [&file](const Request &, Response &response) {
            response.set_content(file.content, file.length, file.type);
        });
    }
}

static void add_table(Server &routes, const char *path, const json &table) {
    routes.Get(path, [table](const Request &, Response &response) { answer(response, 200, table); });
}

static void add_questions(Server &routes, JobQueue &jobs, PageController &controller) {
    routes.Get("/api/state", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] { answer(response, 200, controller.state()); });
    });
    routes.Get("/api/picture\\.png", [&](const Request &request, Response &response) {
        const std::string wanted = request.get_param_value("view");
        const std::optional<View> view = view_named(wanted);
        const int scale = scale_wanted(request);
        if ((!view && wanted != "both") || scale == 0) {
            return answer_error(response, 400, "give view=device, view=layout or view=both, and scale=1 to 16");
        }
        answer_for(jobs, response, [&] {
            const Picture picture = view ? controller.picture(*view) : controller.both_pictures();
            response.set_content(panel::to_png(picture, scale), "image/png");
        });
    });
    routes.Get("/api/texts", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] { answer(response, 200, controller.texts()); });
    });
    routes.Get("/api/scenario", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] {
            const std::string recording = controller.recording();
            if (recording.empty()) return answer_error(response, 404, "nothing has been recorded yet");
            response.set_content(recording, "text/plain; charset=utf-8");
        });
    });
}

static void add_requests(Server &routes, JobQueue &jobs, PageController &controller) {
    routes.Post("/api/do", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] { controller.perform(request.body); });
    });
    routes.Post("/api/give-up", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] { controller.give_up(); });
    });
    routes.Post("/api/speed", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] { controller.set_speed(request.body); });
    });
    routes.Post("/api/record", [&](const Request &request, Response &response) {
        if (request.body != "start" && request.body != "stop") {
            return answer_error(response, 400, "send start or stop");
        }
        answer_for(jobs, response,
                   [&] { request.body == "start" ? controller.begin_recording() : controller.end_recording(); });
    });
}

// Writes what has come, or a sign of life when nothing has, so that a page that went away is noticed, and a simulator
// that stands still too.
static bool write_events(EventHub &hub, EventHub::Listener &listener, httplib::DataSink &sink) {
    const std::optional<std::string> events = hub.next(listener, ping_period);
    if (!events) return false;
    const std::string text = events->empty() ? ": still here\nevent: alive\ndata: true\n\n" : *events;
    return sink.write(text.data(), text.size());
}

static void add_events(Server &routes, EventHub &hub) {
    routes.Get("/events", [&hub](const Request &, Response &response) {
        const std::shared_ptr<EventHub::Listener> listener = hub.join();
        if (!listener)
            return answer_error(response, 503, "Too many pages of this simulator are open; close one of them.");
        response.set_chunked_content_provider(
            "text/event-stream",
            [&hub, listener](size_t, httplib::DataSink &sink) { return write_events(hub, *listener, sink); },
            [&hub, listener](bool) { hub.leave(listener); });
    });
}

Page::Page(Stage &stage, Pace &pace, int port, std::function<bool()> end_wanted)
    : controller_(stage, pace, hub_, std::move(end_wanted),
                  [this] { jobs_.work_until(std::chrono::steady_clock::now()); }),
      server_(port) {
    Server &routes = server_.routes();
    add_files(routes);
    add_table(routes, "/api/vocabulary", vocabulary_json());
    add_table(routes, "/api/commands", commands_json());
    add_table(routes, "/api/controls", controls_json());
    add_questions(routes, jobs_, controller_);
    add_requests(routes, jobs_, controller_);
    add_events(routes, hub_);
    add_scenario_routes(server_, jobs_, controller_);
    server_.start();
}

Page::~Page() {
    jobs_.close();
    hub_.close();
    server_.stop();
}

void Page::turn() {
    jobs_.work_until(std::chrono::steady_clock::now() + turn_length);
    controller_.turn();
}

} // namespace desk
