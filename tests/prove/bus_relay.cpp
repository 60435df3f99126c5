#include "bus_relay.h"

#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "simulator/desk/error.h"

namespace faults {

static sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) throw desk::Error("too long for a socket: " + path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

BusRelay::BusRelay(const std::string &path, const std::string &bus_path, const std::string &last_word)
    : path_(path), bus_path_(bus_path), last_word_(last_word) {
    const sockaddr_un address = address_of(path);
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener_ < 0 || bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener_, 1) != 0) {
        throw desk::system_error("can't listen on " + path);
    }
    for (int *pipe : {stop_pipe_, question_pipe_, answer_pipe_}) {
        if (pipe2(pipe, O_CLOEXEC) != 0) throw desk::system_error("can't make a pipe");
    }
    thread_ = std::thread([this] { relay_until_stopped(); });
}

BusRelay::~BusRelay() {
    close(stop_pipe_[1]);
    thread_.join();
    for (const int file : {stop_pipe_[0], question_pipe_[0], question_pipe_[1], answer_pipe_[0], answer_pipe_[1]}) {
        close(file);
    }
    close(listener_);
    unlink(path_.c_str());
}

void BusRelay::inject(const std::string &bytes) {
    if (send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
        throw desk::system_error("can't send to the daemon");
    }
}

void BusRelay::catch_up() {
    char byte = 0;
    if (write(question_pipe_[1], &byte, 1) != 1 || read(answer_pipe_[0], &byte, 1) != 1) {
        throw desk::system_error("the relay has ended");
    }
}

void BusRelay::answer() const {
    char byte = 0;
    if (read(question_pipe_[0], &byte, 1) == 1) (void)!write(answer_pipe_[1], &byte, 1);
}

bool BusRelay::wait_for_client(int &client) {
    for (;;) {
        pollfd watched[3] = {{listener_, POLLIN, 0}, {stop_pipe_[0], POLLIN, 0}, {question_pipe_[0], POLLIN, 0}};
        if (poll(watched, 3, -1) < 0 || watched[1].revents != 0) return false;
        if (watched[2].revents != 0) answer();
        if (watched[0].revents == 0) continue;
        client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        return client >= 0;
    }
}

// libdbus waits for each answer while it sets up, so that a call arrives alone.
bool BusRelay::pass_on(int from, int to, bool look) const {
    char buffer[65536];
    const ssize_t length = recv(from, buffer, sizeof(buffer), 0);
    if (length <= 0) return false;
    const std::string piece(buffer, static_cast<size_t>(length));
    if (look && !last_word_.empty() && piece.find(last_word_) != std::string::npos) return false;
    return send(to, piece.data(), piece.size(), MSG_NOSIGNAL) == length;
}

void BusRelay::relay_for(int client) {
    const sockaddr_un address = address_of(bus_path_);
    const int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool open = connect(bus, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    while (open) {
        pollfd watched[4] = {
            {client, POLLIN, 0}, {bus, POLLIN, 0}, {stop_pipe_[0], POLLIN, 0}, {question_pipe_[0], POLLIN, 0}};
        if (poll(watched, 4, -1) < 0 || watched[2].revents != 0) break;
        const bool from_daemon = watched[0].revents != 0;
        const bool from_bus = watched[1].revents != 0;
        if (from_daemon) open = pass_on(client, bus, true);
        if (open && from_bus) open = pass_on(bus, client, false);
        if (!from_daemon && !from_bus && watched[3].revents != 0) answer();
    }
    close(bus);
}

void BusRelay::relay_until_stopped() {
    for (int client = -1; wait_for_client(client);) {
        client_ = client;
        relay_for(client);
        client_ = -1;
        close(client);
    }
}

} // namespace faults
