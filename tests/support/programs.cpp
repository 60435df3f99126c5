#include "support/programs.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

namespace fs = std::filesystem;

// ---- Files ----

Folder::Folder() {
    std::string name = (fs::temp_directory_path() / "display-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = name;
}

Folder::~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string Folder::write(const std::string &name, const std::string &content) const {
    const std::string unfinished = file(name + ".unfinished");
    fs::create_directories(fs::path(unfinished).parent_path());
    std::ofstream(unfinished, std::ios::binary) << content;
    fs::rename(unfinished, file(name));
    return file(name);
}

std::string Folder::read(const std::string &name) const { return read_file(file(name)); }

bool Folder::has(const std::string &name) const { return fs::exists(file(name)); }

std::vector<std::string> Folder::names() const {
    std::vector<std::string> names;
    for (const auto &item : fs::recursive_directory_iterator(path_)) {
        if (item.is_regular_file()) names.push_back(fs::relative(item.path(), path_).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// ---- Waiting ----

std::chrono::steady_clock::time_point deadline() {
    const char *patience = std::getenv("DESK_PATIENCE");
    const double factor = patience != nullptr ? std::max(1.0, std::atof(patience)) : 1.0;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<int>(30000 * factor));
}

bool wait_until(const std::function<bool()> &condition) {
    const auto end = deadline();
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// ---- Programs ----

pid_t start(const Words &command, int input, int output, int errors) {
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

int wait_for_exit(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
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

} // namespace test_support
