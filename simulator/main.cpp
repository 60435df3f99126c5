// display-sim: the daemon on a desk, its panel in the terminal and on a page in the browser. Commands come
// from the keyboard, from the page, or from any program that can send a D-Bus signal; a line that makes another
// terminal send here stands above the panel.
#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include "simulator/live/demo.h"
#include "simulator/live/display_sim_options.h"
#include "simulator/live/ending.h"
#include "simulator/live/live_stage.h"
#include "simulator/scenario/gallery.h"
#include "simulator/scenario/play.h"

static int show(const std::vector<std::string> &words) {
    const bool terminal = panel::look_for(STDOUT_FILENO, std::nullopt).in_place;
    const desk::Choice choice = desk::parse_options(words, terminal);
    desk::catch_endings();
    if (choice.help) {
        desk::print(desk::usage);
        return 0;
    }
    choice.demo ? desk::play_demo(choice.live) : desk::run_live(choice.live);
    return 0;
}

int main(int argc, char **argv) try {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty()) return show(words);
    const std::vector<std::string> further(words.begin() + 1, words.end());
    if (words[0] == "play") return desk::play_command(further);
    if (words[0] == "exec") return desk::exec_command(further);
    if (words[0] == "gallery") return desk::gallery_command(further);
    return show(words);
} catch (const desk::UsageError &problem) {
    std::fprintf(stderr, "display-sim: %s\n'display-sim --help' tells more.\n", problem.what());
    return 2;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "display-sim: %s\n", problem.what());
    return 1;
}
