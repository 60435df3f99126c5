// The options one by one, then whether they go together.
#include "simulator/live/display_sim_options.h"

#include <algorithm>
#include <charconv>

#include "simulator/scenario/pace.h"

namespace desk {

const char *const usage =
    "usage: display-sim [--layout] [--target native|armhf] [--speed N] [--port N] [--page | --no-page]\n"
    "                   [--blocks | --braille | --ascii]\n"
    "       display-sim --demo [--layout] [--target native|armhf] [--blocks | --braille | --ascii]\n"
    "       display-sim play FILE ...   plays a scenario; 'display-sim play --help' tells more\n"
    "       display-sim exec ...        runs your program beside the display; 'display-sim exec --help' tells more\n"
    "       display-sim gallery ...     draws the gallery; 'display-sim gallery --help' tells more\n"
    "  --layout        the whole 128 x 66 layout instead of the device's 64 x 128 panel\n"
    "  --target armhf  the 32-bit ARM daemon under an emulator\n"
    "  --speed N       the daemon's time runs N times as fast as the wall clock, 0 (stand still) to 100\n"
    "  --port N        the page in the browser at port N of 127.0.0.1 instead of 8790, 0 for a free one;\n"
    "                  without it a free one is taken when 8790 is not\n"
    "  --page          the page alone, no panel in the terminal\n"
    "  --no-page       the panel in the terminal alone, no page\n"
    "  --blocks        the panel in half blocks, one column and two rows a character\n"
    "  --braille       in Braille dots, two columns and four rows a character\n"
    "  --ascii         in letters that every terminal has; without any of these half blocks where they fit,\n"
    "                  Braille elsewhere, and ASCII when TERM is dumb or the locale is not UTF-8\n"
    "  --demo          play a short scenario and end; the default when the output is no terminal\n"
    "  -h, --help      this text\n"
    "In the live view keys send commands and drive the time; '?' lists them.\n";

// The whole text as a number in that range; false when it is none.
template <class Number>
static bool take_number(const std::string &text, Number lowest, Number highest, Number &number) {
    const char *const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end && number >= lowest && number <= highest;
}

static void take_value(const std::string &option, const std::string &text, LiveOptions &live) {
    bool good = false;
    std::string wanted;
    if (option == "--target") {
        wanted = "native or armhf";
        live.target = text == "armhf" ? desk::Target::armhf : desk::Target::native;
        good = text == "armhf" || text == "native";
    } else if (option == "--speed") {
        wanted = "a number from 0 to " + std::to_string(static_cast<int>(desk::fastest));
        good = take_number(text, 0.0, desk::fastest, live.speed);
    } else {
        wanted = "a whole number from 0 to 65535";
        int port = 0;
        good = take_number(text, 0, 65535, port);
        live.port = port;
        live.port_chosen = true;
    }
    if (!good) throw UsageError(option + " takes " + wanted + ", not '" + text + "'");
}

static bool is_one_of(const std::string &word, const std::vector<std::string> &words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

static void refuse_unknown(const std::string &word) {
    if (!word.empty() && word[0] == '-') throw UsageError("there is no option '" + word + "'");
    throw UsageError("'" + word + "' is neither an option nor 'play', 'exec' or 'gallery'");
}

// What the demo can't do is refused by name, so that nobody believes it was heeded.
static void check_together(const std::vector<std::string> &given, bool demo_asked, bool demo) {
    const bool page = is_one_of("--page", given);
    if (page && is_one_of("--no-page", given)) throw UsageError("--page and --no-page exclude each other");
    if (!demo) return;
    const std::string why = demo_asked ? " does not go with --demo"
                                       : " needs the live view, and the output is no terminal that can be "
                                         "drawn on; add --page for the page in the browser alone";
    for (const char *option : {"--page", "--speed", "--port"}) {
        if (is_one_of(option, given)) throw UsageError(option + why);
    }
}

static std::optional<panel::Style> style_among(const std::vector<std::string> &given) {
    std::optional<panel::Style> style;
    for (const auto &[option, meant] : {std::pair{"--blocks", panel::Style::half_blocks},
                                        {"--braille", panel::Style::braille},
                                        {"--ascii", panel::Style::ascii}}) {
        if (!is_one_of(option, given)) continue;
        if (style) throw UsageError("--blocks, --braille and --ascii exclude each other");
        if (is_one_of("--page", given)) throw UsageError(std::string(option) + " and --page exclude each other");
        style = meant;
    }
    return style;
}

Choice parse_options(const std::vector<std::string> &words, bool terminal) {
    Choice choice;
    std::vector<std::string> given;
    for (size_t i = 0; i < words.size(); i++) {
        const std::string &option = words[i];
        if (option == "-h" || option == "--help") {
            choice.help = true;
            return choice;
        }
        if (is_one_of(option, {"--target", "--speed", "--port"})) {
            if (i + 1 == words.size()) throw UsageError(option + " needs a value after it");
            take_value(option, words[++i], choice.live);
        } else if (!is_one_of(option,
                              {"--layout", "--demo", "--page", "--no-page", "--blocks", "--braille", "--ascii"})) {
            refuse_unknown(option);
        }
        given.push_back(option);
    }
    const auto has = [&given](const char *option) { return is_one_of(option, given); };
    if (has("--no-page") && has("--port")) throw UsageError("--port and --no-page exclude each other");
    choice.demo = has("--demo") || (!terminal && !has("--page"));
    check_together(given, has("--demo"), choice.demo);
    if (has("--layout")) choice.live.view = desk::View::layout;
    if (has("--no-page")) choice.live.port.reset();
    choice.live.terminal = !has("--page");
    choice.live.style = style_among(given);
    return choice;
}

} // namespace desk
