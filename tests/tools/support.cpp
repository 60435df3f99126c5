// See support.h.
#include "support.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tools_test {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds deadline{30};

bool wait_until(const std::function<bool()> &condition) {
    const auto end = Clock::now() + deadline;
    while (!condition()) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// ---- Programs ----

// Starts a program with the given descriptors as its standard ones.
static pid_t start(const Words &command, int input, int output, int errors) {
    std::vector<char *> argv;
    for (const std::string &word : command) argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid > 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // What the tests expect is for UTF-8; whoever runs them may have another locale.
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TERM", "xterm", 1);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execvp(argv[0], argv.data());
    _exit(127);
}

static int wait_for_exit(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// An unnamed file that holds `content`, read from its beginning.
static FILE *scratch_file(const std::string &content = "") {
    FILE *file = tmpfile();
    if (file == nullptr) throw std::runtime_error("tmpfile failed");
    fwrite(content.data(), 1, content.size(), file);
    fflush(file);
    rewind(file);
    return file;
}

static std::string content_of(FILE *file) {
    std::string content;
    char part[4096];
    rewind(file);
    while (const size_t count = fread(part, 1, sizeof part, file)) content.append(part, count);
    fclose(file);
    return content;
}

Result run(const Words &command, const std::string &input) {
    FILE *in = scratch_file(input);
    FILE *out = scratch_file();
    FILE *err = scratch_file();
    Result result;
    result.status = wait_for_exit(start(command, fileno(in), fileno(out), fileno(err)));
    fclose(in);
    result.output = content_of(out);
    result.errors = content_of(err);
    return result;
}

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
    const auto end = Clock::now() + deadline;
    while (output_.find(part) == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
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

// ---- Files ----

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "tools-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string Folder::write(const std::string &name, const std::string &content) const {
    const std::string unfinished = file(name + ".unfinished");
    std::ofstream(unfinished, std::ios::binary) << content;
    std::filesystem::rename(unfinished, file(name));
    return file(name);
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("can't read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// ---- Bus ----

static std::string bus_configuration(const std::string &address, const std::string &policy) {
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>system</type><listen>" + address + "</listen><auth>EXTERNAL</auth>"
           "<policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
           "<allow send_destination=\"*\"/><allow send_type=\"signal\"/><allow receive_sender=\"*\"/>" + policy +
           "</policy></busconfig>\n";
}

// As the display's own.
static const char *const display_rule = "type='signal',interface='zor.signal.Type'";

PrivateBus::PrivateBus(const std::string &policy) {
    address_ = "unix:path=" + folder_.file("socket");
    const std::string configuration = folder_.write("bus.conf", bus_configuration(address_, policy));
    FILE *log = scratch_file();
    const int all = fileno(log);
    pid_ = start({"dbus-daemon", "--nofork", "--config-file=" + configuration}, all, all, all);
    wait_until([this] {
        ear_ = dbus_connection_open_private(address_.c_str(), nullptr);
        return ear_ != nullptr;
    });
    const std::string said = content_of(log);
    if (ear_ == nullptr || !dbus_bus_register(ear_, nullptr)) {
        throw std::runtime_error("no private bus: " + said);
    }
    dbus_connection_set_exit_on_disconnect(ear_, FALSE);
    dbus_bus_add_match(ear_, display_rule, nullptr);
    dbus_connection_flush(ear_);
    // The bus has the rule once it has answered something that came behind it.
    dbus_bus_name_has_owner(ear_, "org.freedesktop.DBus", nullptr);
}

PrivateBus::~PrivateBus() {
    if (ear_ != nullptr) {
        dbus_connection_close(ear_);
        dbus_connection_unref(ear_);
    }
    kill(pid_, SIGKILL);
    wait_for_exit(pid_);
}

void PrivateBus::own_display_name() {
    dbus_bus_request_name(ear_, "zor.signal.sink", 0, nullptr);
}

void PrivateBus::stop_listening() {
    DBusError problem;
    dbus_error_init(&problem); // with it the call waits for the bus's answer
    dbus_bus_remove_match(ear_, display_rule, &problem);
    if (dbus_error_is_set(&problem)) throw std::runtime_error(problem.message);
}

DBusMessage *PrivateBus::next_signal() {
    const auto end = Clock::now() + deadline;
    while (Clock::now() < end) {
        while (DBusMessage *message = dbus_connection_pop_message(ear_)) {
            if (dbus_message_has_interface(message, "zor.signal.Type")) return message;
            dbus_message_unref(message);
        }
        if (!dbus_connection_read_write(ear_, 100)) break;
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
    : address_("unix:path=" + folder_.file("leaving")), moment_(moment),
      listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), bus_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
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
