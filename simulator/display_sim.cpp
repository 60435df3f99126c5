// display-sim: the daemon on a desk, its panel in the terminal and on a page in the browser. Commands come from
// the page, or from any program that can send a D-Bus signal; the line that does it stands above the panel.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "simulator/desk.h"

#include "demo.h"
#include "ending.h"
#include "gallery.h"
#include "live_stage.h"
#include "pace.h"
#include "play.h"

namespace {

const char *const usage =
    "usage: display-sim [--layout] [--port N] [--page | --no-page] [--speed N] [--target native|armhf]\n"
    "       display-sim --demo [--layout]\n"
    "       display-sim play FILE ...   plays a scenario; 'display-sim play --help' tells more\n"
    "       display-sim gallery ...     draws the gallery; 'display-sim gallery --help' tells more\n"
    "  --layout  the whole 128 x 66 layout instead of the device's 64 x 128 panel\n"
    "  --port N  the page in the browser at port N of 127.0.0.1 instead of a free one\n"
    "  --page    the page alone, no panel in the terminal\n"
    "  --no-page the panel in the terminal alone, no page\n"
    "  --speed N the daemon's time runs N times as fast as the clock on the wall, 0 to 100\n"
    "  --target armhf  the 32-bit ARM daemon under an emulator\n"
    "  --demo    play a short scenario and end; the default when the output is no terminal\n";

struct Choice {
    bool demo = false;
    display_sim::LiveOptions live;
};

// What follows an option as its value; false when there is none or a wrong one.
bool take_value(const std::string &option, const char *value, display_sim::LiveOptions &live) {
    if (value == nullptr) return false;
    const std::string text = value;
    char *end = nullptr;
    const double number = std::strtod(value, &end);
    const bool is_number = !text.empty() && *end == '\0';
    if (option == "--target") {
        live.target = text == "armhf" ? desk::Target::armhf : desk::Target::native;
        return text == "armhf" || text == "native";
    }
    if (option == "--speed") {
        live.speed = number;
        return is_number && number >= 0.0 && number <= desk::fastest;
    }
    live.port = static_cast<int>(number);
    return option == "--port" && is_number && number >= 0.0 && number <= 65535.0;
}

bool parse(int argc, char **argv, Choice &choice) {
    bool page_alone = false;
    for (int i = 1; i < argc; i++) {
        const std::string option = argv[i];
        if (option == "--layout") {
            choice.live.view = desk::View::layout;
        } else if (option == "--demo") {
            choice.demo = true;
        } else if (option == "--page") {
            page_alone = true;
        } else if (option == "--no-page") {
            choice.live.port.reset();
        } else if (!take_value(option, argv[++i], choice.live)) {
            return false;
        }
    }
    choice.live.terminal = !page_alone;
    if (!page_alone && !isatty(STDOUT_FILENO)) choice.demo = true;
    return !page_alone || (choice.live.port && !choice.demo);
}

} // namespace

int main(int argc, char **argv) try {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (!words.empty() && words[0] == "play") return desk::play_command({words.begin() + 1, words.end()});
    if (!words.empty() && words[0] == "gallery") return desk::gallery_command({words.begin() + 1, words.end()});
    Choice choice;
    if (!parse(argc, argv, choice)) {
        std::fputs(usage, stderr);
        return 2;
    }
    display_sim::catch_endings();
    if (!choice.demo) {
        display_sim::run_live(choice.live);
        return 0;
    }
    desk::Options options;
    options.layout = choice.live.view == desk::View::layout;
    desk::Desk desk(options);
    desk.start();
    display_sim::play_demo(desk);
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "display-sim: %s\n", problem.what());
    return 1;
}
