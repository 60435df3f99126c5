// The addresses of the page and what stands behind each. Handlers run in the web server's threads: whatever
// touches the stage is handed to the driving thread as a job.
//
//     GET  /  /page.js  /style.css    the page, built into the program
//     GET  /events                    pictures, log lines, state, time, as they change (Server-Sent Events)
//     GET  /api/vocabulary            the words, by groups
//     GET  /api/commands              the commands of the scenario language
//     GET  /api/controls              the controls of the box
//     GET  /api/state                 the box, the start-up variant, the speed, the recording
//     GET  /api/picture.png           ?view=device or layout, &scale=1 to 16
//     GET  /api/scenario              what has been recorded
//     POST /api/do                    carries out one scenario line
//     POST /api/speed                 a number; 0 stands still
//     POST /api/record                "start" (starts the daemon afresh) or "stop"
//
// An answer to a POST is {"ok": true} or {"ok": false, "error": "..."}.
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>

#include <httplib.h>

#include "panel/png.h"
#include "simulator/page/page.h"
#include "simulator/page/page_files.h"

namespace desk {

using httplib::Request;
using httplib::Response;
using nlohmann::json;

static constexpr int largest_scale = 16;
// Often enough that a page notices the end and a stream's thread is free soon after the page has gone.
static constexpr std::chrono::milliseconds ping_period{2000};

static void answer(Response &response, int status, const json &value) {
    response.status = status;
    response.set_content(one_line(value) + "\n", "application/json");
}

static void answer_error(Response &response, int status, const std::string &problem) {
    answer(response, status, {{"ok", false}, {"error", problem}});
}

// Does `work` in the driving thread and answers for it. A bad line is the caller's mistake, the rest is not.
static void answer_for(JobQueue &jobs, Response &response, const std::function<void()> &work) {
    try {
        jobs.run(work);
        if (response.body.empty()) answer(response, 200, {{"ok", true}});
    } catch (const ScenarioError &problem) {
        answer_error(response, 400, problem.what());
    } catch (const std::exception &problem) {
        answer_error(response, 409, problem.what());
    }
}

void Page::add_routes() {
    add_files();
    add_questions();
    add_requests();
    add_events();
}

void Page::add_files() {
    for (const PageFile &file : page_files()) {
        server_.routes().Get(file.path, [&file](const Request &, Response &response) {
            response.set_content(file.content, file.length, file.type);
        });
    }
}

static std::optional<View> view_named(const std::string &name) {
    for (View view : both_views) {
        if (name == name_of(view)) return view;
    }
    return std::nullopt;
}

static int scale_of(const Request &request) {
    return request.has_param("scale") ? std::atoi(request.get_param_value("scale").c_str()) : 1;
}

void Page::add_questions() {
    httplib::Server &routes = server_.routes();
    routes.Get("/api/vocabulary", [](const Request &, Response &response) {
        answer(response, 200, vocabulary_json());
    });
    routes.Get("/api/commands", [](const Request &, Response &response) {
        answer(response, 200, commands_json());
    });
    routes.Get("/api/controls", [](const Request &, Response &response) {
        answer(response, 200, controls_json());
    });
    routes.Get("/api/state", [this](const Request &, Response &response) {
        answer_for(jobs_, response, [&] { answer(response, 200, state()); });
    });
    routes.Get("/api/picture\\.png", [this](const Request &request, Response &response) {
        const std::optional<View> view = view_named(request.get_param_value("view"));
        const int scale = scale_of(request);
        if (!view || scale < 1 || scale > largest_scale) {
            return answer_error(response, 400, "give view=device or view=layout, and scale=1 to 16");
        }
        answer_for(jobs_, response, [&] {
            response.set_content(panel::to_png(stage_.picture(*view).frame(), scale), "image/png");
        });
    });
    routes.Get("/api/scenario", [this](const Request &, Response &response) {
        answer_for(jobs_, response, [&] {
            if (recorder_.lines() == 0) return answer_error(response, 404, "nothing has been recorded yet");
            response.set_content(recorder_.text(), "text/plain; charset=utf-8");
        });
    });
}

void Page::add_requests() {
    httplib::Server &routes = server_.routes();
    routes.Post("/api/do", [this](const Request &request, Response &response) {
        answer_for(jobs_, response, [&] { perform(request.body); });
    });
    routes.Post("/api/speed", [this](const Request &request, Response &response) {
        answer_for(jobs_, response, [&] { set_speed(request.body); });
    });
    routes.Post("/api/record", [this](const Request &request, Response &response) {
        if (request.body != "start" && request.body != "stop") {
            return answer_error(response, 400, "send start or stop");
        }
        answer_for(jobs_, response, [&] { request.body == "start" ? begin_recording() : end_recording(); });
    });
}

// Writes what has come, or a comment when nothing has, so that a page that went away is noticed.
static bool write_events(EventHub &hub, EventHub::Listener &listener, httplib::DataSink &sink) {
    const std::optional<std::string> events = hub.next(listener, ping_period);
    if (!events) return false;
    const std::string text = events->empty() ? ": still here\n\n" : *events;
    return sink.write(text.data(), text.size());
}

void Page::add_events() {
    server_.routes().Get("/events", [this](const Request &, Response &response) {
        const std::shared_ptr<EventHub::Listener> listener = hub_.join();
        if (!listener) return answer_error(response, 503, "too many pages are open");
        response.set_chunked_content_provider(
            "text/event-stream",
            [this, listener](size_t, httplib::DataSink &sink) { return write_events(hub_, *listener, sink); },
            [this, listener](bool) { hub_.leave(listener); });
    });
}

} // namespace desk
