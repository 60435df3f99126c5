// The component tests' shell, system log and child processes.
// The __wrap_ functions stand in for the C library's through the linker's --wrap, see tests/CMakeLists.txt.
#include "support.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <set>

// ---- Shell

std::vector<std::string> shell_commands;
int open_pipes;
int null_pcloses;
static ShellAnswer shell_answer;
static std::set<FILE *> answered;

void answer_commands(ShellAnswer answer) { shell_answer = std::move(answer); }

static FILE *stream_with(const std::string &text) {
    const int fd = memfd_create("answer", MFD_CLOEXEC);
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) abort();
    lseek(fd, 0, SEEK_SET);
    return fdopen(fd, "r");
}

extern "C" FILE *__real_popen(const char *command, const char *mode);
extern "C" int __real_pclose(FILE *stream);

extern "C" FILE *__wrap_popen(const char *command, const char *mode);
extern "C" FILE *__wrap_popen(const char *command, const char *mode) {
    shell_commands.push_back(command);
    EXPECT_EQ(mode[0], 'r') << command;
    FILE *stream = nullptr;
    if (shell_answer) {
        const std::optional<std::string> text = shell_answer(command);
        if (text) stream = stream_with(*text);
        if (text) answered.insert(stream);
    } else {
        stream = __real_popen(command, mode);
    }
    open_pipes += stream != nullptr;
    return stream;
}

extern "C" int __wrap_pclose(FILE *stream);
extern "C" int __wrap_pclose(FILE *stream) {
    null_pcloses += stream == nullptr;
    if (stream == nullptr) return -1;
    --open_pipes;
    if (answered.erase(stream) != 0) return fclose(stream);
    return __real_pclose(stream);
}

std::string last_piece(const std::string &output, size_t limit, const std::string &before) {
    std::string piece = before;
    for (size_t at = 0; at < output.size(); at += piece.size()) {
        const size_t newline = std::min(output.find('\n', at), output.size() - 1);
        piece = output.substr(at, std::min(newline - at + 1, limit - 1));
    }
    return piece.substr(0, piece.find('\0'));
}

// ---- System log

std::vector<LogLine> log_lines;

extern "C" void __wrap_syslog(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));
extern "C" void __wrap_syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char *text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) abort();
    va_end(arguments);
    log_lines.push_back({priority, text});
    if (LOG_PRI(priority) <= LOG_CRIT) fprintf(stderr, "%s", text);
    free(text);
}

// ---- Processes

static std::string drain(int fd) {
    std::string text;
    char piece[4096];
    for (ssize_t got; (got = read(fd, piece, sizeof(piece))) > 0;) text.append(piece, static_cast<size_t>(got));
    close(fd);
    return text;
}

#ifdef STATUS_DISPLAY_COVERAGE
extern "C" void __gcov_dump(void);
#endif

[[noreturn]] static void run_as_child(const std::function<std::string()> &body, int out, int err, int report) {
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    const std::string text = body();
    const bool written = write(report, text.data(), text.size()) == static_cast<ssize_t>(text.size());
#ifdef STATUS_DISPLAY_COVERAGE
    __gcov_dump(); // _exit writes no counts
#endif
    _exit(written ? 0 : 1);
}

ChildOutcome in_child(const std::function<std::string()> &body, bool joined) {
    fflush(nullptr);
    int out[2], err[2], report[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0 || pipe2(report, O_CLOEXEC) != 0) abort();
    const pid_t child = fork();
    if (child == 0) run_as_child(body, out[1], joined ? out[1] : err[1], report[1]);
    for (int fd : {out[1], err[1], report[1]}) close(fd);
    ChildOutcome outcome;
    outcome.out = drain(out[0]);
    outcome.err = drain(err[0]);
    outcome.report = drain(report[0]);
    int status = 0;
    waitpid(child, &status, 0);
    outcome.survived = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return outcome;
}

void forget_shell_and_log() {
    shell_answer = nullptr;
    shell_commands.clear();
    open_pipes = 0;
    null_pcloses = 0;
    log_lines.clear();
}
