// Who is let in. What is served stands in page.cpp.
#include "simulator/page/web_server.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <httplib.h>
#include <sys/socket.h>

#include "simulator/desk/error.h"
#include "simulator/page/event_hub.h"
#include "simulator/page/page_json.h"

namespace desk {

// A scenario line is short; a few places take more.
static constexpr size_t usual_longest_body = 4096;
// Each open stream of events holds one, and each connection that says nothing for the time that it is given.
static constexpr size_t worker_threads = most_listeners + 136;
// Everybody is on this machine and sends at once what is short.
static constexpr time_t longest_silence_s = 2;

static const httplib::Headers fixed_headers = {
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy", "default-src 'self'; img-src 'self' data:; frame-ancestors 'none'; base-uri 'none'"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
};

static bool is_own_name(const std::string &name, int port) {
    const std::string number = ":" + std::to_string(port);
    return name == "127.0.0.1" + number || name == "localhost" + number;
}

// Two headers of one name are as good as a foreign one.
static bool is_for_us(const httplib::Request &request, int port) {
    return request.get_header_value_count("Host") == 1 && is_own_name(request.get_header_value("Host"), port);
}

static bool is_from_us(const httplib::Request &request, int port) {
    const size_t count = request.get_header_value_count("Origin");
    if (count == 0) return true; // no browser sent it
    const std::string origin = request.get_header_value("Origin");
    return count == 1 && origin.rfind("http://", 0) == 0 && is_own_name(origin.substr(7), port);
}

// Only a body of announced length can be bounded.
static bool has_honest_body(const httplib::Request &request) {
    return request.get_header_value_count("Content-Length") == 1 && !request.has_header("Transfer-Encoding");
}

// 0: the request may pass.
static int refusal(const httplib::Request &request, int port, size_t longest_body) {
    if (!is_for_us(request, port)) return 403;
    if (request.method == "GET" || request.method == "HEAD") return 0;
    if (!is_from_us(request, port)) return 403;
    if (request.method != "POST") return 405;
    if (!has_honest_body(request)) return 411;
    return std::strtoull(request.get_header_value("Content-Length").c_str(), nullptr, 10) > longest_body ? 413 : 0;
}

static std::string reason_of(int status, size_t longest_body) {
    if (status == 413) return "This is too long: " + std::to_string(longest_body) + " bytes at most.";
    if (status == 405 || status == 411) return "This simulator takes GET, and POST with a length.";
    return "This simulator answers only its own page.";
}

using Handled = httplib::Server::HandlerResponse;

static Handled guard(const httplib::Request &request, httplib::Response &response, int port, size_t longest_body) {
    const int status = refusal(request, port, longest_body);
    if (status == 0) return Handled::Unhandled;
    response.status = status;
    response.set_content(one_line({{"ok", false}, {"error", reason_of(status, longest_body)}}) + "\n",
                         "application/json");
    return Handled::Handled;
}

// A port in use must be an error, not shared with whoever has it.
static void set_socket_options(int socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
}

WebServer::WebServer(int port) : server_(std::make_unique<httplib::Server>()) {
    std::signal(SIGPIPE, SIG_IGN); // a page that goes away in the middle of an answer is nothing special
    server_->set_socket_options(set_socket_options);
    port_ = port == 0 ? server_->bind_to_any_port("127.0.0.1") : port;
    const bool bound = port == 0 ? port_ > 0 : server_->bind_to_port("127.0.0.1", port);
    if (!bound) {
        throw Error("can't serve the page on port " + std::to_string(port) +
                    ": it is taken or not allowed. "
                    "Give another one with --port, or --no-page.");
    }
    server_->new_task_queue = [] { return new httplib::ThreadPool(worker_threads); };
    server_->set_payload_max_length(usual_longest_body);
    server_->set_read_timeout(longest_silence_s);
    server_->set_write_timeout(longest_silence_s);
    server_->set_keep_alive_timeout(longest_silence_s);
    // One request a connection: the unread body of a refused request must never count as the next request.
    server_->set_keep_alive_max_count(1);
    server_->set_default_headers(fixed_headers);
    server_->set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &response) {
        return guard(request, response, port_, longest_body(request.path));
    });
}

void WebServer::let_longer(const std::string &path, size_t bytes) {
    longer_[path] = bytes;
    server_->set_payload_max_length(std::max(bytes, usual_longest_body));
}

size_t WebServer::longest_body(const std::string &path) const {
    const auto found = longer_.find(path);
    return found != longer_.end() ? found->second : usual_longest_body;
}

WebServer::~WebServer() { stop(); }

void WebServer::start() {
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    if (!wait_until([this] { return server_->is_running(); })) throw Error("the web server does not start");
}

void WebServer::stop() {
    if (!thread_.joinable()) return;
    server_->stop();
    thread_.join();
}

std::string WebServer::address() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

} // namespace desk
