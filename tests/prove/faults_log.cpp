// The log: nobody listens, somebody listens late or again, and one who listens and does not read.
//
// What the C library does then is the daemon's behaviour too: a line that can't be sent goes to the console, the socket
// is tried again with each line, and a full one is waited for.
#include <cstring>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "faults.h"

namespace faults {

static const char *const socket_in_box = "/dev/log";

// The console of the box: a pipe, so that no line is written over another one.
class Console {
public:
    explicit Console(desk::Box &box) {
        make_fifo(box, desk::console);
        pipe_ = open(box.host_path(desk::console).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (pipe_ < 0) throw desk::system_error("can't open the console of the box");
    }
    ~Console() { close(pipe_); }
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    // What was written since the last call; each line must be the daemon's.
    std::string texts() {
        std::string all;
        char buffer[65536];
        for (ssize_t length = 0; (length = read(pipe_, buffer, sizeof(buffer))) > 0;) {
            all.append(buffer, static_cast<size_t>(length));
        }
        std::istringstream lines(all);
        std::string texts;
        for (std::string line; std::getline(lines, line);) {
            if (line == "\r") continue; // the end that the C library adds to the one of the text
            const size_t ident = line.find("Display[");
            const size_t colon = line.find("]: ", ident);
            must(ident != std::string::npos && colon != std::string::npos, "on the console stands: " + line);
            texts += line.substr(colon + 3) + "\n";
        }
        return texts;
    }

private:
    int pipe_ = -1;
};

static std::string texts_of(const std::vector<Line> &lines) {
    std::string texts;
    for (const Line &line : lines) texts += line.text;
    return texts;
}

// Words that mean nothing, so that nothing but their lines is to be seen.
static std::vector<Line> send_some(Trial &trial, int count) {
    std::vector<Line> lines;
    for (int i = 0; i < count; i++) {
        const std::string word = "nonsense " + std::to_string(pick(trial.random(), 0, 99999));
        trial.send(word);
        lines.push_back(received(word));
    }
    return lines;
}

static void must_be_logged(desk::LogSocket &log, const std::vector<Line> &lines) {
    std::string seen;
    for (const desk::LogLine &line : log.lines()) seen += line.text;
    must_be("what is logged", seen, texts_of(lines));
}

// Nothing, a file, a folder, or a socket of another kind.
static void put_in_the_logs_place(Trial &trial) {
    switch (pick(trial.random(), 0, 3)) {
        case 0: break;
        case 1: trial.box().write(socket_in_box, "no socket"); break;
        case 2: mkdir(trial.box().host_path(socket_in_box).c_str(), 0777); break;
        default: make_fifo(trial.box(), socket_in_box);
    }
}

static void begin_without_log(Trial &trial, Console &console) {
    trial.desk().log().hang_up();
    put_in_the_logs_place(trial);
    trial.begin(std::nullopt);
    must_be("what is on the console", console.texts(), texts_of(start_lines()));
}

static void log_missing(Random &random) {
    Trial trial(random);
    Console console(trial.box());
    begin_without_log(trial, console);
    const std::vector<Line> lines = send_some(trial, pick(random, 0, 20));
    trial.advance(25, 1000);
    must_be("what is on the console", console.texts(), texts_of(lines));
    trial.must_obey(false);
    trial.must_hold();
}

static void log_late(Random &random) {
    Trial trial(random);
    Console console(trial.box());
    begin_without_log(trial, console);
    std::vector<Line> lines = send_some(trial, pick(random, 0, 5));
    trial.advance(10, 1000);
    must_be("what is on the console", console.texts(), texts_of(lines));
    trial.box().remove(socket_in_box);
    desk::LogSocket late(trial.box().host_path(socket_in_box));
    lines = send_some(trial, pick(random, 1, 20));
    trial.advance(25, 1000);
    must_be_logged(late, lines);
    trial.must_obey(false);
    must_be("what is on the console", console.texts(), "");
    must_be("lines of the log", static_cast<long>(late.lines().size()), static_cast<long>(lines.size()) + 2);
    trial.must_hold(1); // its socket
}

static void log_restarted(Random &random) {
    Trial trial(random);
    Console console(trial.box());
    trial.begin();
    for (int times = pick(random, 1, 3); times > 0; times--) {
        trial.desk().log().hang_up();
        std::vector<Line> lines = send_some(trial, pick(random, 0, 5));
        trial.advance(10, 1000);
        must_be("what is on the console", console.texts(), texts_of(lines));
        desk::LogSocket again(trial.box().host_path(socket_in_box));
        lines = send_some(trial, pick(random, 1, 20));
        trial.advance(25, 1000);
        must_be_logged(again, lines);
        must_be("what is on the console", console.texts(), "");
        trial.must_obey(false);
        trial.must_hold();
    }
}

// A log that listens and reads nothing until it is told to. Its queue is full from the beginning.
class FullLog {
public:
    explicit FullLog(const std::string &path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
        const auto *place = reinterpret_cast<const sockaddr *>(&address);
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (bind(socket_, place, sizeof(address)) != 0 || connect(sender, place, sizeof(address)) != 0) {
            throw desk::system_error("can't make a full log");
        }
        while (send(sender, filling, sizeof(filling), 0) > 0) {
        }
        close(sender);
    }
    ~FullLog() { close(socket_); }
    FullLog(const FullLog &) = delete;
    FullLog &operator=(const FullLog &) = delete;

    // What has arrived since the last call, without what filled it.
    std::string read_all() {
        std::string texts;
        char buffer[65536];
        for (ssize_t length = 0; (length = recv(socket_, buffer, sizeof(buffer), 0)) > 0;) {
            const std::string datagram(buffer, static_cast<size_t>(length));
            if (datagram != std::string(filling, sizeof(filling))) texts += desk::parse_log_line(datagram).text;
        }
        return texts;
    }

private:
    static constexpr char filling[] = "<13>Jan  1 00:00:00 other: line";
    int socket_ = -1;
};

constexpr char FullLog::filling[];

// The process sleeps in the kernel, sending. Where the kernel does not tell, it sleeps and makes no pass for a while.
static bool waits_for_log(desk::Desk &desk) {
    std::ifstream file("/proc/" + std::to_string(desk.daemon_pid()) + "/wchan");
    std::string place;
    file >> place;
    if (place.size() > 1) return place.find("unix_wait_for_peer") != std::string::npos;
    return !desk.clock().stands_still();
}

static void log_full(Random &random) {
    Trial trial(random);
    Console console(trial.box());
    trial.begin();
    trial.desk().log().hang_up();
    const bool logger_dies = pick(random, 0, 1) == 1;
    std::vector<Line> lines;
    {
        FullLog full(trial.box().host_path(socket_in_box));
        lines = send_some(trial, pick(random, 1, 20));
        trial.desk().clock().raise(pick(random, 50, 500));
        must(desk::wait_until([&] { return waits_for_log(trial.desk()); }, patience), "it does not wait for the log");
        must(!trial.desk().clock().stands_still(), "the daemon goes on although the log takes no line");
        must(trial.look().empty(), "the panel changes although the loop stands still:" + trial.look());
        if (!logger_dies) {
            std::string texts;
            const auto arrived = [&] {
                texts += full.read_all();
                return trial.desk().clock().stands_still() && texts.size() >= texts_of(lines).size();
            };
            must(desk::wait_until(arrived, patience), "the daemon does not go on when the log is read");
            must_be("what is logged", texts, texts_of(lines));
            must_be("what is on the console", console.texts(), "");
        }
    }
    if (logger_dies) {
        unlink(trial.box().host_path(socket_in_box).c_str());
        must(desk::wait_until([&] { return trial.desk().clock().stands_still(); }, patience),
             "the daemon does not go on when nobody listens any more");
        must_be("what is on the console", console.texts(), texts_of(lines));
    }
    desk::LogSocket again(trial.box().host_path(socket_in_box));
    trial.must_obey(false);
    must_be("lines of the log", static_cast<long>(again.lines().size()), 2);
    trial.must_hold();
}

const std::vector<Kind> &log_kinds() {
    static const std::vector<Kind> kinds = {
        {"log_missing", "a healthy box, the daemon starts",
         "nothing, a file, a folder or a pipe in the place of /dev/log",
         "each line is on the console, once and in order; it obeys", log_missing},
        {"log_late", "the daemon runs without a log", "the log begins to listen",
         "lines from then on are in the log and not on the console; it obeys", log_late},
        {"log_restarted", "the daemon runs and logs", "up to three times the log goes and comes back",
         "meanwhile lines are on the console, afterwards in the log; no descriptor is lost", log_restarted},
        {"log_full", "the daemon runs; the log listens and does not read, its queue is full",
         "up to 20 commands; then the log is read, or ends",
         "the loop waits; then all lines are in the log, or on the console, and it obeys", log_full},
    };
    return kinds;
}

} // namespace faults
