// A pseudo terminal with display-sim in it. The test process takes over orphans of the program, so that none
// can hide.
#include "terminal.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

namespace simulator_test {

using std::chrono::steady_clock;

static steady_clock::time_point deadline() {
    const char *patience = std::getenv("DESK_PATIENCE");
    const double factor = patience != nullptr ? std::max(1.0, std::atof(patience)) : 1.0;
    return steady_clock::now() + std::chrono::milliseconds(static_cast<int>(30000 * factor));
}

// In the child between fork and exec.
[[noreturn]] static void become_display_sim(int slave, const std::string &folder,
                                            const std::vector<std::string> &words) {
    login_tty(slave);
    setenv("TMPDIR", folder.c_str(), 1);
    std::vector<char *> arguments = {const_cast<char *>(DISPLAY_SIM_BINARY)};
    for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

Terminal::Terminal(const std::vector<std::string> &words, int rows, int columns) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    winsize size = {};
    size.ws_row = static_cast<unsigned short>(rows);
    size.ws_col = static_cast<unsigned short>(columns);
    if (openpty(&master_, &slave_, nullptr, nullptr, &size) != 0) return;
    fcntl(master_, F_SETFD, FD_CLOEXEC);
    pid_ = fork();
    if (pid_ == 0) become_display_sim(slave_, folder_.path(), words);
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

bool Terminal::read_until(const std::function<bool()> &condition) {
    const auto end = deadline();
    while (!condition()) {
        pollfd readable = {master_, POLLIN, 0};
        if (steady_clock::now() >= end) return false;
        if (poll(&readable, 1, 20) <= 0) continue;
        char text[4096];
        const ssize_t count = read(master_, text, sizeof text);
        if (count > 0) written_.append(text, static_cast<size_t>(count));
    }
    return true;
}

bool Terminal::shows(const std::string &part) {
    return read_until([&] { return contains(written_, part); });
}

int Terminal::wait_for_end() {
    int end = 0;
    if (!read_until([&] { return waitpid(pid_, &end, WNOHANG) == pid_; })) return -1;
    pid_ = -1;
    return WIFEXITED(end) ? WEXITSTATUS(end) : -1;
}

termios Terminal::settings() const {
    termios now = {};
    tcgetattr(slave_, &now);
    return now;
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

} // namespace simulator_test
