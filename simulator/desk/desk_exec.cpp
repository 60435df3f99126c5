// desk-exec: runs one program inside a fresh box, with its own standard streams and status. Component tests
// use it as their executor: /rodata, /userdata, /sys, /tmp and /usr/local/bin are real and writable there.
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/desk/box.h"
#include "simulator/desk/desk.h"
#include "simulator/desk/panel.h"
#include "simulator/desk/places.h"
#include "simulator/desk/sandbox.h"

namespace {

const char *const usage =
    "usage: desk-exec [options] [--] PROGRAM [ARGUMENTS]\n"
    "  --bare             a box without files and tools (default: a healthy one)\n"
    "  --bind HOST:GUEST  a further file or folder, writable\n"
    "  --setenv NAME=TEXT a further variable\n"
    "  --panel WxHxDEPTH  a framebuffer /dev/fb0 of this geometry\n"
    "       desk-exec --sandbox   tells which sandbox works here: bwrap or proot\n"
    "Absolute paths among the arguments can be read inside at the same place.\n";

struct Request {
    desk::Contents contents = desk::Contents::healthy;
    std::vector<desk::Bind> binds;
    desk::Guest guest;
    std::string panel;
    std::vector<std::string> command;
};

void split(const std::string &text, char separator, std::string &left, std::string &right) {
    const size_t place = text.find(separator);
    if (place == std::string::npos) throw desk::Error("\"" + text + "\" lacks a \"" + separator + "\"");
    left = text.substr(0, place);
    right = text.substr(place + 1);
}

void take_option(const std::string &option, const std::string &value, Request &request) {
    std::string left;
    std::string right;
    if (option == "--bind") {
        split(value, ':', left, right);
        request.binds.push_back({left, right, true});
    } else if (option == "--setenv") {
        split(value, '=', left, right);
        request.guest.environment[left] = right;
    } else if (option == "--panel") {
        request.panel = value;
    } else {
        throw desk::Error("unknown option " + option + "\n" + usage);
    }
}

bool is_option(const std::string &word) { return word.size() > 2 && word.compare(0, 2, "--") == 0; }

Request parse(const std::vector<std::string> &words) {
    Request request;
    size_t i = 0;
    while (i < words.size() && is_option(words[i])) {
        const std::string &option = words[i++];
        if (option == "--bare") {
            request.contents = desk::Contents::bare;
        } else {
            take_option(option, i < words.size() ? words[i++] : "", request);
        }
    }
    if (i < words.size() && words[i] == "--") i++;
    if (i >= words.size()) throw desk::Error(usage);
    request.command.assign(words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
    return request;
}

// The file and, through the shim, its geometry.
void add_panel(const desk::Box &box, Request &request) {
    desk::Geometry geometry;
    const char *text = request.panel.c_str();
    if (std::sscanf(text, "%dx%dx%d", &geometry.xres, &geometry.yres, &geometry.bits_per_pixel) != 3) {
        throw desk::Error("a panel is WIDTHxHEIGHTxDEPTH, e.g. 64x128x1");
    }
    const desk::Panel made(box.host_path("/dev/fb0"), geometry);
    const std::string shim = desk::find_program("simulator/libdesk_shim.so");
    request.guest.binds.push_back({shim, desk::guest_shim, false});
    request.guest.environment["LD_PRELOAD"] = desk::guest_shim;
    request.guest.environment["DESK_PANEL"] = request.panel;
}

pid_t child;

void forward_signal(int number) { kill(child, number); }

// The program stays in this process group, so that Ctrl-C reaches it. A request to end goes on to the
// sandbox, which takes the program along; then there is still the box to remove.
int run(const std::vector<std::string> &command) {
    std::vector<char *> arguments;
    for (const std::string &word : command) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    if (child < 0) throw desk::system_error("can't start " + command[0]);
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, forward_signal);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

int main(int argc, char **argv) try {
    if (argc == 2 && std::string(argv[1]) == "--sandbox") {
        std::puts(desk::sandbox_kind() == desk::SandboxKind::bwrap ? "bwrap" : "proot");
        return 0;
    }
    Request request = parse({argv + 1, argv + argc});
    const desk::Box box(request.contents);
    if (!request.panel.empty()) add_panel(box, request);
    request.guest.keep_environment = true;
    // Tells a test that what it writes to absolute paths stays in a box.
    request.guest.environment["DESK_BOX"] = "1";
    request.guest.environment["ASAN_OPTIONS"] = desk::sanitizer_options_of_guest();
    desk::bring_paths({request.command.begin() + 1, request.command.end()}, request.guest);
    request.command[0] = desk::bring_program(request.command[0], request.guest);
    // Asked for by name, so they lie over what came in by itself.
    for (const desk::Bind &bind : request.binds) request.guest.binds.push_back(bind);
    return run(desk::command_line(box, request.guest, request.command));
} catch (const std::exception &problem) {
    std::fprintf(stderr, "desk-exec: %s\n", problem.what());
    return 125;
}
