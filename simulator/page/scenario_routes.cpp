// What stands behind the addresses:
//
//     GET  /api/scenarios             the stored scenarios, and whether pictures may be written beside them
//     GET  /api/scenarios/NAME        one of them, line by line
//     POST /api/scenarios             the same for a text; nothing is loaded
//     GET  /api/gallery               the pictures that the stored scenarios expect
//     GET  /api/expected.png          one of them, ?file=
//     GET  /api/player                what is loaded, how far it has come, what differs
//     GET  /api/player/scenario       the one that is loaded, line by line
//     GET  /api/player/picture.png    ?line=, &view=, &show=actual, expected or difference
//     GET  /api/player/picture.pbm    ?line=, &view=: the actual one, as an expected picture's file
//     GET  /api/player/film.png       the run up to here
//     POST /api/player/open           loads the stored scenario of that name
//     POST /api/player/load           loads the text
//     POST /api/player/expected       ?file=: a picture that the loaded text expects
//     POST /api/player/play, pause    at the speed of the page
//     POST /api/player/step, back, go as fast as it goes; answers when it is there
//     POST /api/player/expect         what that line showed is expected from now on
//     GET  /api/copy                  what has been done since the start, ?as=
//
// The store is asked in the web server's threads, everything else in the one that drives the stage.
#include "simulator/page/scenario_routes.h"

#include <chrono>
#include <cstdlib>
#include <thread>

#include "panel/png.h"
#include "simulator/page/answers.h"

namespace desk {

using httplib::Request;
using httplib::Response;
using httplib::Server;
using nlohmann::json;

// How often it is asked whether a run has arrived.
static constexpr std::chrono::milliseconds asking_period{15};
static constexpr size_t longest_name = 80;

/* ---- the store ---- */

static void answer_picture(const Request &request, Response &response, const panel::Picture &picture) {
    const int scale = scale_wanted(request);
    if (scale == 0) return answer_error(response, 400, "give a scale of 1 to 16");
    response.set_content(panel::to_png(picture, scale), "image/png");
}

// For people alone: it names no file here.
static std::string name_given(const Request &request) {
    std::string name;
    for (char letter : request.get_param_value("name").substr(0, longest_name)) {
        name += static_cast<unsigned char>(letter) < ' ' ? '?' : letter;
    }
    return name.empty() ? "scenario" : name;
}

static void add_store(Server &routes, const ScenarioStore &store) {
    routes.Get("/api/scenarios", [&](const Request &, Response &response) {
        answer(response, 200, {{"scenarios", store.list()}, {"readOnly", store.read_only()}});
    });
    routes.Get("/api/scenarios/([^/]+)", [&](const Request &request, Response &response) {
        try {
            answer(response, 200, scenario_json(store.scenario(request.matches[1])));
        } catch (const std::exception &problem) {
            answer_error(response, 404, problem.what());
        }
    });
    routes.Post("/api/scenarios", [](const Request &request, Response &response) {
        answer_after(response, [&] {
            json read = scenario_json(read_scenario(name_given(request), request.body));
            read["ok"] = true;
            answer(response, 200, read);
        });
    });
    routes.Get("/api/gallery", [&](const Request &, Response &response) { answer(response, 200, store.gallery()); });
    routes.Get("/api/expected\\.png", [&](const Request &request, Response &response) {
        answer_after(response, [&] {
            const std::optional<panel::Picture> picture = store.picture(request.get_param_value("file"));
            if (!picture) return answer_error(response, 404, "there is no such picture");
            answer_picture(request, response, *picture);
        });
    });
}

/* ---- what the player shows ---- */

static const LinePicture *picture_wanted(const Request &request, PageController &controller) {
    const std::optional<View> view = view_named(request.get_param_value("view"));
    return view ? controller.player().picture(std::atoi(request.get_param_value("line").c_str()), *view) : nullptr;
}

static void answer_line_picture(const Request &request, Response &response, PageController &controller) {
    const LinePicture *const taken = picture_wanted(request, controller);
    const std::string show = request.get_param_value("show");
    if (taken == nullptr) return answer_error(response, 404, "that line has taken no picture of that panel");
    if (show == "actual" || show.empty()) return answer_picture(request, response, taken->actual);
    if (show != "expected" && show != "difference") {
        return answer_error(response, 400, "give show=actual, show=expected or show=difference");
    }
    if (!taken->expected) return answer_error(response, 404, "no picture is expected there");
    answer_picture(request, response,
                   show == "expected" ? *taken->expected : taken->actual.difference(*taken->expected));
}

static void add_looks(Server &routes, JobQueue &jobs, PageController &controller) {
    routes.Get("/api/player", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] { answer(response, 200, controller.player().state()); });
    });
    routes.Get("/api/player/scenario", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] {
            if (!controller.player().scenario()) return answer_error(response, 404, "no scenario is loaded");
            answer(response, 200, scenario_json(*controller.player().scenario()));
        });
    });
    routes.Get("/api/player/picture\\.png", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] { answer_line_picture(request, response, controller); });
    });
    routes.Get("/api/player/picture\\.pbm", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] {
            const LinePicture *const taken = picture_wanted(request, controller);
            if (taken == nullptr) return answer_error(response, 404, "that line has taken no picture of that panel");
            const std::string comment = controller.store().comment(taken->file);
            response.set_content(expected_text(taken->actual, comment), "image/x-portable-bitmap");
        });
    });
    routes.Get("/api/player/film\\.png", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] {
            const std::string film = controller.player().film();
            if (film.empty()) return answer_error(response, 404, "nothing has been played yet");
            response.set_content(film, "image/png");
        });
    });
}

/* ---- what the player is told ---- */

static void answer_state(Response &response, PageController &controller) {
    json state = controller.player().state();
    state["ok"] = true;
    answer(response, 200, state);
}

static void add_loading(Server &routes, JobQueue &jobs, PageController &controller) {
    routes.Post("/api/player/open", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] {
            controller.load_scenario(controller.store().scenario(request.body));
            answer_state(response, controller);
        });
    });
    routes.Post("/api/player/load", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] {
            controller.load_scenario(read_scenario(name_given(request), request.body));
            answer_state(response, controller);
        });
    });
    routes.Post("/api/player/expected", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] {
            try {
                controller.player().bring(request.get_param_value("file"), panel::Picture::from_pbm(request.body));
            } catch (const panel::Failure &problem) {
                throw ScenarioError(request.get_param_value("file") + ": " + problem.what());
            }
        });
    });
}

using Move = std::function<void(ScenarioPlayer &)>;

// Answers when the run has arrived, with what it met.
static void answer_move(JobQueue &jobs, Response &response, PageController &controller, const Request &request,
                        const Move &move) {
    const std::string then = request.get_param_value("then");
    answer_after(response, [&] {
        jobs.run([&] {
            controller.move_scenario(move,
                                     then == "go-on" ? PageController::Then::go_on : PageController::Then::stand_still);
        });
        json state;
        for (bool busy = true; busy;) {
            std::this_thread::sleep_for(asking_period);
            jobs.run([&] {
                busy = controller.player().busy();
                state = controller.player().state();
            });
        }
        const std::string problem = state["problem"];
        if (!problem.empty()) throw Error("line " + state["next"].dump() + ": " + problem);
        state["ok"] = true;
        answer(response, 200, state);
    });
}

// "38", or "end".
static Move move_to(const std::string &place) {
    if (place == "end") return [](ScenarioPlayer &player) { player.to_end(); };
    char *end = nullptr;
    const long number = std::strtol(place.c_str(), &end, 10);
    if (place.empty() || *end != '\0' || number < 0 || number > 1000000) {
        throw ScenarioError("give the number of a line, 0 or end");
    }
    return [number](ScenarioPlayer &player) { player.go(static_cast<int>(number)); };
}

static void add_moves(Server &routes, JobQueue &jobs, PageController &controller) {
    routes.Post("/api/player/play", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] { controller.play_scenario(); });
    });
    routes.Post("/api/player/pause", [&](const Request &, Response &response) {
        answer_for(jobs, response, [&] { controller.pause_scenario(); });
    });
    routes.Post("/api/player/step", [&](const Request &request, Response &response) {
        answer_move(jobs, response, controller, request, [](ScenarioPlayer &player) { player.step(); });
    });
    routes.Post("/api/player/back", [&](const Request &request, Response &response) {
        answer_move(jobs, response, controller, request, [](ScenarioPlayer &player) { player.back(); });
    });
    routes.Post("/api/player/go", [&](const Request &request, Response &response) {
        answer_after(response, [&] { answer_move(jobs, response, controller, request, move_to(request.body)); });
    });
    routes.Post("/api/player/expect", [&](const Request &request, Response &response) {
        answer_for(jobs, response, [&] {
            const std::vector<std::string> written = controller.expect_this(std::atoi(request.body.c_str()));
            answer(response, 200, {{"ok", true}, {"written", written}});
        });
    });
}

/* ---- copies ---- */

static void add_copies(WebServer &server, JobQueue &jobs, PageController &controller) {
    server.routes().Get("/api/copy", [&](const Request &request, Response &response) {
        const std::string what = request.has_param("what") ? request.get_param_value("what") : "all";
        for (CopyForm form : all_copy_forms) {
            if (request.get_param_value("as") != name_of(form) || (what != "all" && what != "last")) continue;
            return answer_for(jobs, response, [&] {
                const bool box = request.get_param_value("for") == "box";
                const CopyPlace place{server.address(), box ? "" : controller.exports()};
                const std::vector<RecordedLine> lines = controller.lines_to_here();
                const std::string text =
                    what == "all" ? copied_as(form, lines, place) : last_copied_as(form, lines, place);
                if (text.empty()) throw Error("no command has been sent since the start");
                response.set_content(text, "text/plain; charset=utf-8");
            });
        }
        answer_error(response, 400, "give as=scenario, curl, dbus-send or displayctl, and what=all or last");
    });
}

void add_scenario_routes(WebServer &server, JobQueue &jobs, PageController &controller) {
    Server &routes = server.routes();
    for (const char *path : {"/api/scenarios", "/api/player/load", "/api/player/expected"}) {
        server.let_longer(path, longest_scenario);
    }
    add_store(routes, controller.store());
    add_looks(routes, jobs, controller);
    add_loading(routes, jobs, controller);
    add_moves(routes, jobs, controller);
    add_copies(server, jobs, controller);
}

} // namespace desk
