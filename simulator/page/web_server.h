// A small web server for the person at this machine: it listens on 127.0.0.1 alone, answers only those who
// call it by that name, and knows no files. Who registers routes decides what it serves. Requests are handled
// by threads of its own.
//
// A page from elsewhere that is open in the same browser must not get at it: a request whose Host header
// names anything but this server (a foreign name that was pointed at 127.0.0.1) and a POST whose Origin is
// another page's are refused with 403. Bodies are short and of announced length.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace desk {

class WebServer {
public:
    // Takes `port`, or a free one for 0. Throws Error when it is taken.
    explicit WebServer(int port);
    ~WebServer();
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;

    // For registering routes, before start().
    httplib::Server &routes() { return *server_; }
    // What is posted there may be so long.
    void let_longer(const std::string &path, size_t bytes);
    void start();
    // Returns when no request is being handled any more.
    void stop();

    int port() const { return port_; }
    // "http://127.0.0.1:8080/"
    std::string address() const;

private:
    size_t longest_body(const std::string &path) const;

    std::unique_ptr<httplib::Server> server_;
    std::map<std::string, size_t> longer_;
    std::thread thread_;
    int port_ = 0;
};

} // namespace desk
