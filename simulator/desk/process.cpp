// Starting, watching and ending children.
#include "simulator/desk/process.h"

#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace desk {

// Between fork and exec only async-signal-safe calls: the desk has threads.
[[noreturn]] static void execute(char *const *arguments, const Streams &streams, pid_t desk_pid) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != desk_pid) _exit(127);
    const int null_device = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(streams.input >= 0 ? streams.input : null_device, STDIN_FILENO);
    dup2(streams.output >= 0 ? streams.output : null_device, STDOUT_FILENO);
    dup2(streams.errors >= 0 ? streams.errors : null_device, STDERR_FILENO);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // What is ignored here would be ignored there: a shell's job in the background ignores Ctrl-C, nohup a hang-up.
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE}) signal(number, SIG_DFL);
    execvp(arguments[0], arguments);
    _exit(127);
}

void Process::start(const std::vector<std::string> &command, const Streams &streams) {
    if (alive()) throw Error("it runs already: " + command.at(0));
    std::vector<char *> arguments;
    for (const std::string &word : command) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    status_.reset();
    const pid_t desk_pid = getpid();
    pid_ = fork();
    if (pid_ < 0) throw system_error("can't start " + command.at(0));
    if (pid_ == 0) execute(arguments.data(), streams, desk_pid);
    setpgid(pid_, pid_);
}

std::optional<int> Process::status() {
    if (pid_ > 0 && !status_) {
        int end = 0;
        if (waitpid(pid_, &end, WNOHANG) == pid_) {
            status_ = WIFSIGNALED(end) ? 128 + WTERMSIG(end) : WEXITSTATUS(end);
        }
    }
    return status_;
}

bool Process::alive() { return pid_ > 0 && !status(); }

int Process::wait(std::chrono::milliseconds deadline) {
    if (pid_ <= 0) throw Error("nothing was started that could end");
    if (!wait_until([this] { return !alive(); }, deadline)) {
        throw Error("process " + std::to_string(pid_) + " still runs at the deadline");
    }
    return *status_;
}

// The sandbox's own process is the group's leader. When the others are gone it reaps them and leaves by
// itself, so that nothing of them is left over; only then is it ended too.
void Process::kill() {
    if (!alive()) return;
    bool others = false;
    for (const ProcessEntry &entry : process_table()) {
        if (entry.group != pid_ || entry.pid == pid_) continue;
        others = true;
        ::kill(entry.pid, SIGKILL);
    }
    if (others && wait_until([this] { return !alive(); }, std::chrono::milliseconds(500))) return;
    ::kill(-pid_, SIGKILL);
    wait_until([this] { return !alive(); });
}

std::string how_it_ended(int status) {
    const char *const name = status > 128 ? sigabbrev_np(status - 128) : nullptr;
    if (name != nullptr) return std::string("was killed by SIG") + name;
    return "ended with status " + std::to_string(status);
}

// "123 (name with blanks) S 1 120 ..." : pid, name, state, parent, group; four sums of ticks from the tenth further on.
static bool read_entry(const std::filesystem::path &folder, ProcessEntry &entry) {
    std::ifstream file(folder / "stat");
    std::string line;
    if (!std::getline(file, line)) return false;
    const size_t name_end = line.rfind(')');
    if (name_end == std::string::npos) return false;
    entry.pid = std::atoi(line.c_str());
    char state = 0;
    long ticks[4] = {};
    const int found =
        std::sscanf(line.c_str() + name_end + 1, " %c %d %d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld %ld %ld", &state,
                    &entry.parent, &entry.group, &ticks[0], &ticks[1], &ticks[2], &ticks[3]);
    entry.ticks = ticks[0] + ticks[1] + ticks[2] + ticks[3];
    return found == 7;
}

std::vector<ProcessEntry> process_table() {
    std::vector<ProcessEntry> table;
    std::error_code ignored;
    for (const auto &item : std::filesystem::directory_iterator("/proc", ignored)) {
        ProcessEntry entry;
        if (!std::isdigit(static_cast<unsigned char>(item.path().filename().string()[0]))) continue;
        if (read_entry(item.path(), entry)) table.push_back(entry);
    }
    return table;
}

} // namespace desk
