// The look-up of a process by its name while processes end under it:
//
//   scan_processes COUNT WANTED VICTIM... listed|opened
//
// starts COUNT children and looks for the one of number WANTED. Each VICTIM ends, and is waited for, when the scan has
// come to it: before its file is opened, or when it is open and nothing has been read. Prints which child was found, or
// "none", and how many descriptors the scan has left open.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "probes/process_scan.h"

namespace {

std::vector<pid_t> children;
std::vector<pid_t> victims;
bool when_opened;

void end_victim_of(const char *path) {
    for (const pid_t pid : victims) {
        if (path != "/proc/" + std::to_string(pid) + "/stat") continue;
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

long open_descriptors() {
    const std::filesystem::directory_iterator list("/proc/self/fd");
    return std::distance(begin(list), end(list));
}

pid_t start_child(const std::string &name) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) abort();
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, name.c_str());
        close(ready[0]);
        close(ready[1]);
        for (;;) pause();
    }
    close(ready[1]);
    char byte;
    const bool ended_early = pid < 0 || read(ready[0], &byte, 1) != 0; // its end of the pipe is closed when it is named
    close(ready[0]);
    if (ended_early) abort();
    return pid;
}

std::string name_of(size_t number) { return "child-" + std::to_string(number); }

} // namespace

// What the scan's fopen() becomes, by the linker's --wrap.
extern "C" FILE *__real_fopen64(const char *path, const char *mode);
extern "C" FILE *__wrap_fopen64(const char *path, const char *mode);
extern "C" FILE *__wrap_fopen64(const char *path, const char *mode) {
    if (!when_opened) end_victim_of(path);
    FILE *file = __real_fopen64(path, mode);
    if (when_opened) end_victim_of(path);
    return file;
}

int main(int argc, char **argv) {
    if (argc < 4) return 2;
    const size_t count = std::strtoul(argv[1], nullptr, 10);
    const size_t wanted = std::strtoul(argv[2], nullptr, 10);
    when_opened = std::strcmp(argv[argc - 1], "opened") == 0;
    for (size_t i = 0; i < count; i++) children.push_back(start_child(name_of(i)));
    for (int i = 3; i < argc - 1; i++) victims.push_back(children.at(std::strtoul(argv[i], nullptr, 10)));
    const long before = open_descriptors();
    const long found = find_process_by_name(name_of(wanted).c_str());
    const auto child = std::find(children.begin(), children.end(), found);
    std::printf("%s\n",
                child == children.end() ? "none" : name_of(static_cast<size_t>(child - children.begin())).c_str());
    std::printf("%ld descriptors left open\n", open_descriptors() - before);
    std::fflush(stdout);
    for (const pid_t pid : children) kill(pid, SIGKILL);
    return found == -1 || child != children.end() ? 0 : 1;
}
