#include "support.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "simulator/desk/bus_configuration.h"

namespace tools_test {

using test_support::deadline;
using test_support::start;
using test_support::wait_for_exit;

Words displayctl_command(const Words &arguments) {
    Words command;
    std::istringstream emulator(EMULATOR);
    for (std::string word; std::getline(emulator, word, '|');) command.push_back(word);
    command.push_back(DISPLAYCTL_BINARY);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Result displayctl(const Words &arguments, const std::string &input) {
    return run(displayctl_command(arguments), input);
}

Running::Running(const Words &arguments) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    pid_ = start(displayctl_command(arguments), in[0], out[1], STDERR_FILENO);
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_descriptor_ = out[0];
}

Running::~Running() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        wait_for_exit(pid_);
    }
    close_input();
    close(output_descriptor_);
}

void Running::write(const std::string &bytes) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::write(input_, bytes.data() + done, bytes.size() - done);
        if (count < 0) throw std::runtime_error(std::string("write failed: ") + strerror(errno));
        done += size_t(count);
    }
}

void Running::close_input() {
    if (input_ >= 0) close(input_);
    input_ = -1;
}

bool Running::wait_for(const std::string &part) {
    const auto end = deadline();
    while (output_.find(part) == std::string::npos) {
        using namespace std::chrono;
        const auto left = duration_cast<milliseconds>(end - steady_clock::now()).count();
        pollfd waiting{output_descriptor_, POLLIN, 0};
        if (left <= 0 || poll(&waiting, 1, int(left)) <= 0) return false;
        char bytes[4096];
        const ssize_t count = read(output_descriptor_, bytes, sizeof bytes);
        if (count <= 0) return false;
        output_.append(bytes, size_t(count));
    }
    return true;
}

int Running::wait() {
    const int status = wait_for_exit(pid_);
    pid_ = -1;
    return status;
}

// ---- Bus ----

// As the display's own.
static const char *const display_rule = "type='signal',interface='zor.signal.Type'";

PrivateBus::PrivateBus(const std::string &policy) {
    address_ = "unix:path=" + folder_.file("socket");
    const std::string configuration = folder_.write("bus.conf", desk::bus_configuration(address_, policy));
    const int log = open(folder_.file("log").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    pid_ = start({"dbus-daemon", "--nofork", "--config-file=" + configuration}, log, log, log);
    close(log);
    wait_until([this] {
        listener_ = dbus_connection_open_private(address_.c_str(), nullptr);
        return listener_ != nullptr;
    });
    if (listener_ == nullptr || !dbus_bus_register(listener_, nullptr)) {
        throw std::runtime_error("no private bus: " + folder_.read("log"));
    }
    dbus_connection_set_exit_on_disconnect(listener_, FALSE);
    dbus_bus_add_match(listener_, display_rule, nullptr);
    dbus_connection_flush(listener_);
    // The bus has the rule once it has answered something that came behind it.
    dbus_bus_name_has_owner(listener_, "org.freedesktop.DBus", nullptr);
}

PrivateBus::~PrivateBus() {
    if (listener_ != nullptr) {
        dbus_connection_close(listener_);
        dbus_connection_unref(listener_);
    }
    kill(pid_, SIGKILL);
    wait_for_exit(pid_);
}

void PrivateBus::own_display_name() { dbus_bus_request_name(listener_, "zor.signal.sink", 0, nullptr); }

void PrivateBus::stop_listening() {
    DBusError problem;
    dbus_error_init(&problem); // with it the call waits for the bus's answer
    dbus_bus_remove_match(listener_, display_rule, &problem);
    if (dbus_error_is_set(&problem)) throw std::runtime_error(problem.message);
}

DBusMessage *PrivateBus::next_signal() {
    const auto end = deadline();
    while (std::chrono::steady_clock::now() < end) {
        while (DBusMessage *message = dbus_connection_pop_message(listener_)) {
            if (dbus_message_has_interface(message, "zor.signal.Type")) return message;
            dbus_message_unref(message);
        }
        if (!dbus_connection_read_write(listener_, 100)) break;
    }
    return nullptr;
}

static sockaddr_un place_of(const std::string &address) {
    sockaddr_un place = {};
    place.sun_family = AF_UNIX;
    const std::string path = address.substr(address.find('=') + 1);
    path.copy(place.sun_path, sizeof place.sun_path - 1);
    return place;
}

LeavingBus::LeavingBus(const std::string &bus_address, Moment moment)
    : address_("unix:path=" + folder_.file("leaving")),
      moment_(moment),
      listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      bus_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un own = place_of(address_);
    const sockaddr_un other = place_of(bus_address);
    if (bind(listening_, reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 || listen(listening_, 1) != 0 ||
        connect(bus_, reinterpret_cast<const sockaddr *>(&other), sizeof other) != 0) {
        throw std::runtime_error(std::string("no leaving bus: ") + strerror(errno));
    }
    thread_ = std::thread([this] { serve(); });
}

LeavingBus::~LeavingBus() {
    shutdown(listening_, SHUT_RDWR);
    shutdown(bus_, SHUT_RDWR);
    thread_.join();
    close(listening_);
    close(bus_);
}

void LeavingBus::serve() {
    const int client = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    std::string asked;
    bool greeted = false;
    while (client >= 0) {
        pollfd sides[] = {{client, POLLIN, 0}, {bus_, POLLIN, 0}};
        poll(sides, 2, -1);
        char bytes[4096];
        const bool from_client = sides[0].revents != 0;
        const ssize_t count = recv(from_client ? client : bus_, bytes, sizeof bytes, 0);
        if (count <= 0) break;
        if (from_client) asked.append(bytes, size_t(count));
        // The greeting's answer is the first that comes behind the question for it.
        greeted = greeted || (from_client && asked.find("Hello") != std::string::npos);
        const bool last = moment_ == Moment::after_hello && greeted && !from_client;
        if (last) shutdown(client, SHUT_RD); // before the answer: what the client sends from then on fails
        send(from_client ? bus_ : client, bytes, size_t(count), MSG_NOSIGNAL);
        // The question may come together with the signal, so it is passed on; its answer is not.
        if (last || asked.find("NameHasOwner") != std::string::npos) break;
    }
    close(client);
}

// ---- Pictures ----

panel::Picture pattern(panel::Size size, unsigned seed) {
    panel::Picture frame(size);
    unsigned state = seed * 2654435761u + 1;
    for (int i = 0; i < size.width * size.height; i++) {
        state = state * 1664525u + 1013904223u;
        frame.set(i % size.width, i / size.width, (state >> 24 & 1u) != 0);
    }
    return frame;
}

std::string raw_of(const panel::Picture &frame) {
    std::string bytes(panel::raw_length(frame.size()), '\0');
    for (int i = 0; i < frame.width() * frame.height(); i++) {
        char &byte = bytes[size_t(i / 8)];
        if (frame.at(i % frame.width(), i / frame.width())) byte = char(byte | 1 << i % 8);
    }
    return bytes;
}

} // namespace tools_test
