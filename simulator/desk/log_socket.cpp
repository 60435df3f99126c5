// /dev/log of the box.
#include "simulator/desk/log_socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace desk {

// The C library writes a time stamp of 15 characters and a blank after the priority.
static constexpr size_t stamp_length = 16;

static size_t skip_stamp(const std::string &datagram, size_t start) {
    const bool stamped = datagram.size() >= start + stamp_length && datagram[start + 3] == ' ' &&
                         datagram[start + 9] == ':' && datagram[start + 15] == ' ';
    return stamped ? start + stamp_length : start;
}

LogLine parse_log_line(const std::string &datagram) {
    LogLine line;
    line.text = datagram;
    const size_t bracket = datagram.find('>');
    if (datagram.empty() || datagram[0] != '<' || bracket == std::string::npos) return line;
    const int code = std::atoi(datagram.c_str() + 1);
    const size_t ident_start = skip_stamp(datagram, bracket + 1);
    const size_t colon = datagram.find(": ", ident_start);
    if (colon == std::string::npos) return line;
    line.priority = code & 7;
    line.facility = code & ~7;
    line.ident = datagram.substr(ident_start, colon - ident_start);
    line.text = datagram.substr(colon + 2);
    const size_t pid_start = line.ident.find('[');
    if (pid_start != std::string::npos) {
        line.pid = std::atoi(line.ident.c_str() + pid_start + 1);
        line.ident.resize(pid_start);
    }
    return line;
}

LogSocket::LogSocket(const std::string &path) : path_(path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw Error("too long for a socket, set a shorter TMPDIR: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    unlink(path.c_str());
    if (socket_ < 0 || bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0) {
        throw system_error("can't listen on " + path);
    }
    if (pipe2(stop_pipe_, O_CLOEXEC) != 0) throw system_error("can't make a pipe");
    reader_ = std::thread([this] { read_until_stopped(); });
}

LogSocket::~LogSocket() { hang_up(); }

void LogSocket::hang_up() {
    if (!reader_.joinable()) return;
    close(stop_pipe_[1]);
    reader_.join();
    close(stop_pipe_[0]);
    const std::lock_guard<std::mutex> lock(mutex_);
    drain();
    close(socket_);
    socket_ = -1;
    unlink(path_.c_str());
}

void LogSocket::read_until_stopped() {
    pollfd watched[2] = {{socket_, POLLIN, 0}, {stop_pipe_[0], POLLIN, 0}};
    while (poll(watched, 2, -1) >= 0 || errno == EINTR) {
        if (watched[1].revents != 0) return;
        const std::lock_guard<std::mutex> lock(mutex_);
        drain();
    }
}

// Called with the mutex held. Readers drain too: what was sent before they ask is always in their answer.
void LogSocket::drain() {
    char datagram[65536];
    ssize_t length = 0;
    while ((length = recv(socket_, datagram, sizeof(datagram), MSG_DONTWAIT)) >= 0) {
        // Some C libraries send the terminating zero along.
        if (length > 0 && datagram[length - 1] == '\0') length--;
        lines_.push_back(parse_log_line(std::string(datagram, static_cast<size_t>(length))));
    }
}

std::vector<LogLine> LogSocket::lines() {
    const std::lock_guard<std::mutex> lock(mutex_);
    drain();
    return lines_;
}

static bool contains(const LogLine &line, const std::string &part) { return line.text.find(part) != std::string::npos; }

int LogSocket::count(const std::string &part) {
    const std::vector<LogLine> all = lines();
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&part](const LogLine &line) { return contains(line, part); }));
}

bool LogSocket::wait_for(const std::function<bool(const LogLine &)> &condition, std::chrono::milliseconds deadline) {
    const auto seen = [this, &condition] {
        const std::vector<LogLine> all = lines();
        return std::any_of(all.begin(), all.end(), condition);
    };
    return wait_until(seen, deadline);
}

bool LogSocket::wait_for(const std::string &part, std::chrono::milliseconds deadline) {
    return wait_for([&part](const LogLine &line) { return contains(line, part); }, deadline);
}

void LogSocket::clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    drain();
    lines_.clear();
}

} // namespace desk
