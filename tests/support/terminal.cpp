// A pseudo terminal with a program in it. The test process takes over orphans of the program, so that none can hide.
#include "support/terminal.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

namespace test_support {

using std::chrono::steady_clock;

static winsize size_of(int rows, int columns) {
    winsize size = {};
    size.ws_row = static_cast<unsigned short>(rows);
    size.ws_col = static_cast<unsigned short>(columns);
    return size;
}

// A shell with jobs tells when one has stopped, waits for a line and has it go on.
static const char *const job_shell =
    "set -m; \"$@\"; status=$?; "
    "while [ $status -gt 128 ]; do echo STOPPED; read line; fg >/dev/null; status=$?; "
    "done; exit $status";

// In the child between fork and exec.
[[noreturn]] static void start_in_terminal(int slave, const std::string &folder,
                                           const std::vector<std::string> &command, const Setting &setting) {
    login_tty(slave);
    setenv("TMPDIR", folder.c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    for (const auto &[name, value] : setting.environment) setenv(name.c_str(), value.c_str(), 1);
    std::vector<std::string> words;
    if (setting.job_control) words = {"/bin/sh", "-c", job_shell, "sh"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

Terminal::Terminal(const std::vector<std::string> &command, const Setting &setting)
    : screen_(setting.rows, setting.columns) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const winsize size = size_of(setting.rows, setting.columns);
    if (openpty(&master_, &slave_, nullptr, nullptr, &size) != 0) return;
    fcntl(master_, F_SETFD, FD_CLOEXEC);
    fcntl(slave_, F_SETFD, FD_CLOEXEC);
    settings_before_ = settings();
    pid_ = fork();
    if (pid_ == 0) start_in_terminal(slave_, folder_.path(), command, setting);
}

Terminal::~Terminal() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(master_);
    close(slave_);
}

void Terminal::type(const std::string &keys) const {
    if (write(master_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) std::perror("typing");
}

void Terminal::signal(int number) const { kill(pid_, number); }

void Terminal::resize(int rows, int columns) {
    catch_up();
    const winsize size = size_of(rows, columns);
    screen_.resize(rows, columns);
    ioctl(master_, TIOCSWINSZ, &size);
}

bool Terminal::read_some(int milliseconds) {
    pollfd readable = {master_, POLLIN, 0};
    if (poll(&readable, 1, milliseconds) <= 0) return false;
    char text[4096];
    const ssize_t count = read(master_, text, sizeof text);
    if (count <= 0) return false;
    const std::string bytes(text, static_cast<size_t>(count));
    written_ += bytes;
    screen_.take(bytes);
    return true;
}

void Terminal::catch_up() {
    while (read_some(0)) {
    }
}

// It has, and its status is still to be asked for.
bool Terminal::has_ended() const {
    siginfo_t about = {};
    return pid_ > 0 && waitid(P_PID, static_cast<id_t>(pid_), &about, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           about.si_pid == pid_;
}

bool Terminal::read_until(const std::function<bool()> &condition) {
    const auto end = deadline();
    while (!condition()) {
        if (steady_clock::now() >= end) return false;
        const bool over = has_ended();
        if (!read_some(20) && over) return condition();
    }
    return true;
}

bool Terminal::shows(const std::string &part) {
    return read_until([&] { return screen_.shows(part); });
}

bool Terminal::shows_rows(const std::vector<std::string> &lines) {
    return read_until([&] { return screen_.shows_rows(lines); });
}

int Terminal::wait_for_end() {
    int end = 0;
    if (!read_until([&] { return waitpid(pid_, &end, WNOHANG) == pid_; })) return -1;
    pid_ = -1;
    catch_up();
    return WIFEXITED(end) ? WEXITSTATUS(end) : -1;
}

int Terminal::wait_for_end_unread() {
    const auto last_moment = deadline();
    int end = 0;
    while (waitpid(pid_, &end, WNOHANG) != pid_) {
        if (steady_clock::now() >= last_moment) return -1;
        poll(nullptr, 0, 5);
    }
    pid_ = -1;
    return WIFEXITED(end) ? WEXITSTATUS(end) : -1;
}

std::string Terminal::stop_and_go_on() {
    if (same_settings(settings(), settings_before_)) return "the program had not taken the terminal";
    type("\032");
    if (!shows("STOPPED")) return "it did not stop:\n" + screen_.text();
    std::string wrong;
    if (screen_.other_screen()) wrong += "the other screen; ";
    if (screen_.cursor_hidden()) wrong += "a hidden cursor; ";
    if (!same_settings(settings(), settings_before_)) wrong += "other settings; ";
    type("\n");
    if (!read_until([this] { return screen_.other_screen(); })) wrong += "it did not go on";
    return wrong;
}

termios Terminal::settings() const {
    termios now = {};
    tcgetattr(slave_, &now);
    return now;
}

int Terminal::bytes_left_to_read() const {
    termios raw = settings();
    if ((raw.c_lflag & static_cast<tcflag_t>(ICANON)) != 0) { // a line that is not complete would not count
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON);
        tcsetattr(slave_, TCSANOW, &raw);
    }
    int count = -1;
    ioctl(slave_, FIONREAD, &count);
    return count;
}

bool Terminal::left_no_process() {
    return read_until([] { return waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; });
}

bool same_settings(const termios &one, const termios &other) {
    return one.c_iflag == other.c_iflag && one.c_oflag == other.c_oflag && one.c_cflag == other.c_cflag &&
           one.c_lflag == other.c_lflag && std::memcmp(one.c_cc, other.c_cc, sizeof one.c_cc) == 0;
}

std::vector<std::string> Terminal::left_files() const {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder_.path())) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

} // namespace test_support
