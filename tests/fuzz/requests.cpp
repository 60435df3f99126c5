// What comes in on the simulator's port: requests for its addresses with any parameters and bodies, and any bytes. A
// page that is asked so gives an answer that a browser understands, and the daemons behind it live on.
#include <fuzzer/FuzzedDataProvider.h>

#include <poll.h>
#include <sanitizer/lsan_interface.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "simulator/page/page.h"

namespace {

// A new one for so many inputs: a start takes longer than most of them.
constexpr int inputs_a_stage = 32;
// What a page may ask for takes no longer, waiting ten minutes of the display's time included.
constexpr int longest_answer_ms = 50000;
// A stream of events goes on for ever; so much silence is enough of it.
constexpr int silence_ms = 100;

struct Served {
    desk::Stage stage;
    desk::Pace pace{stage, 0.0};
    std::unique_ptr<desk::Page> page;
    int inputs = 0;

    Served() {
        stage.start();
        page = std::make_unique<desk::Page>(stage, pace, 0, [] { return false; });
    }
};

[[noreturn]] void found(const std::string &what, const std::string &request, const std::string &answer) {
    fprintf(stderr, "ERROR: %s\n---- asked:\n%s\n---- answered:\n%s\n", what.c_str(), request.c_str(), answer.c_str());
    abort();
}

/* ---- the client ---- */

int connected(int port) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<uint16_t>(port));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (client < 0 || connect(client, reinterpret_cast<sockaddr *>(&place), sizeof(place)) != 0) {
        found("nobody takes a connection", "", "");
    }
    return client;
}

bool is_stream(const std::string &answer) {
    return answer.find("Content-Type: text/event-stream") < answer.find("\r\n\r\n");
}

// What promises more than it holds is waited for as long as the server is patient; and all but a stream until the
// server hangs up, for on a busy machine there may be a while between the head and the body.
std::string asked(int port, const std::string &request) {
    const int client = connected(port);
    for (size_t sent = 0; sent < request.size();) {
        const ssize_t now = send(client, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
        if (now <= 0) break;
        sent += static_cast<size_t>(now);
    }
    std::string answer;
    pollfd ready{client, POLLIN, 0};
    while (poll(&ready, 1, is_stream(answer) ? silence_ms : longest_answer_ms) > 0) {
        char part[4096];
        const ssize_t length = recv(client, part, sizeof(part), 0);
        if (length <= 0) break;
        answer.append(part, static_cast<size_t>(length));
    }
    close(client);
    return answer;
}

/* ---- what an answer must be ---- */

void must_be_an_answer(const std::string &request, const std::string &answer) {
    if (answer.empty()) return; // what is no request is hung up on
    if (answer.rfind("HTTP/1.1 ", 0) != 0) found("this is no answer", request, answer);
    const int status = atoi(answer.c_str() + 9);
    if (status < 200 || status >= 500) found("a status of the server's own fault", request, answer);
    const size_t body = answer.find("\r\n\r\n");
    if (body == std::string::npos) found("the head of the answer does not end", request, answer);
    const bool is_json = answer.find("Content-Type: application/json") < body;
    if (!is_json || request.rfind("HEAD", 0) == 0) return;
    if (!nlohmann::json::accept(answer.substr(body + 4))) found("this is no JSON", request, answer);
}

/* ---- the requests ---- */

const char *const addresses[] = {
    "/",
    "/page.js",
    "/events",
    "/api/vocabulary",
    "/api/commands",
    "/api/controls",
    "/api/state",
    "/api/picture.png",
    "/api/texts",
    "/api/scenario",
    "/api/do",
    "/api/give-up",
    "/api/speed",
    "/api/record",
    "/api/scenarios",
    "/api/scenarios/",
    "/api/gallery",
    "/api/expected.png",
    "/api/player",
    "/api/player/scenario",
    "/api/player/picture.png",
    "/api/player/picture.pbm",
    "/api/player/film.png",
    "/api/player/open",
    "/api/player/load",
    "/api/player/expected",
    "/api/player/play",
    "/api/player/pause",
    "/api/player/step",
    "/api/player/back",
    "/api/player/go",
    "/api/player/expect",
    "/api/copy",
};

const char *const parameters[] = {"view", "scale", "file", "name", "line", "show", "then", "as", "what", "for"};

const char *const values[] = {"device", "layout", "both",        "1",     "16",         "expected", "difference",
                              "start",  "stop",   "go-on",       "curl",  "dbus-send",  "all",      "last",
                              "box",    "end",    "expected/..", "../..", "displayctl", "2",        "scenario",
                              "actual", "-1",     "0",           "100",   "1e9",        "nan",      "P1 2 2 0110"};

std::string any_value(FuzzedDataProvider &bytes) {
    return bytes.ConsumeBool() ? bytes.PickValueInArray(values) : bytes.ConsumeRandomLengthString(40);
}

// A line of the language: one of its commands, with words that fit, or not.
std::string any_line(FuzzedDataProvider &bytes) {
    const std::vector<desk::Command> &all = desk::scenario_commands();
    std::string line = all[bytes.ConsumeIntegralInRange<size_t>(0, all.size() - 1)].name;
    for (int words = bytes.ConsumeIntegralInRange(0, 3); words > 0; words--) {
        static const char *const usual[] = {"chan_bt", "USB_update", "Error_Code", "clear_msg", "40",
                                            "600ms",   "none",       "on",         "off",       "log",
                                            "mode",    "READY",      "settled"};
        line += ' ' + (bytes.ConsumeBool() ? usual[bytes.ConsumeIntegralInRange(0, 12)] : any_value(bytes));
    }
    return line;
}

std::string any_body(FuzzedDataProvider &bytes) {
    switch (bytes.ConsumeIntegralInRange(0, 3)) {
        case 0: return any_line(bytes);
        case 1: return any_value(bytes);
        case 2: return bytes.ConsumeRandomLengthString(6000);
        default: break;
    }
    std::string scenario;
    for (int lines = bytes.ConsumeIntegralInRange(0, 8); lines > 0; lines--) scenario += any_line(bytes) + "\n";
    return scenario;
}

std::string any_target(FuzzedDataProvider &bytes) {
    std::string target = bytes.PickValueInArray(addresses);
    if (target.back() == '/' || bytes.ConsumeIntegralInRange(0, 15) == 1) target += any_value(bytes);
    for (int more = bytes.ConsumeIntegralInRange(0, 3), first = more; more > 0; more--) {
        target +=
            (more == first ? "?" : "&") + std::string(bytes.PickValueInArray(parameters)) + "=" + any_value(bytes);
    }
    return target;
}

// Most of them well-formed, as far as whoever sends them is let in.
std::string any_request(FuzzedDataProvider &bytes, const std::string &host) {
    if (bytes.ConsumeIntegralInRange(0, 15) == 1) return bytes.ConsumeRandomLengthString(2000);
    const bool posts = bytes.ConsumeBool();
    std::string request = (posts ? "POST " : "GET ") + any_target(bytes) + " HTTP/1.1\r\nHost: " + host + "\r\n";
    if (bytes.ConsumeIntegralInRange(0, 7) == 1) request += bytes.ConsumeRandomLengthString(200) + "\r\n";
    if (!posts) return request + "\r\n";
    const std::string body = any_body(bytes);
    return request + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/* ---- the page, and who asks it ---- */

// The driving thread turns while another one asks.
std::string answer_of(Served &served, int port, const std::string &request) {
    std::string answer;
    std::atomic<bool> answered{false};
    std::thread client([&] {
        answer = asked(port, request);
        answered = true;
    });
    while (!answered) served.page->turn();
    client.join();
    must_be_an_answer(request, answer);
    return answer;
}

void ask(Served &served, FuzzedDataProvider &bytes) {
    const std::string address = served.page->address();
    const std::string host = address.substr(7, address.size() - 8);
    const int port = atoi(host.substr(host.find(':') + 1).c_str());
    for (int requests = 0; requests < 8 && bytes.remaining_bytes() > 0; requests++) {
        answer_of(served, port, any_request(bytes, host));
    }
    const std::string question = "GET /api/state HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
    const std::string answer = answer_of(served, port, question);
    if (answer.rfind("HTTP/1.1 200", 0) != 0) found("it does not live on", question, answer);
    if (!served.page->trouble().empty()) found("nothing moves any more: " + served.page->trouble(), "", "");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static std::unique_ptr<Served> served;
    FuzzedDataProvider bytes(data, size);
    if (served == nullptr || served->inputs >= inputs_a_stage) {
        served.reset();
        // Only now: a connection that is still open holds what it needs.
        if (__lsan_do_recoverable_leak_check() != 0) abort();
        served = std::make_unique<Served>();
    }
    served->inputs++;
    ask(*served, bytes);
    return 0;
}
