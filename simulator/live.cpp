// The live view: drawn again only when the picture, the terminal's size or what a key has led to has changed.
#include "live.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

#include "app/signal_names.h"
#include "ending.h"
#include "live_keys.h"

namespace display_sim {

// The other screen of the terminal, without a cursor; what stood there before comes back at the end.
class TerminalScreen {
public:
    TerminalScreen() { print("\033[?1049h\033[?25l"); }
    ~TerminalScreen() {
        std::fputs("\033[?25h\033[?1049l", stdout);
        std::fflush(stdout);
    }
    TerminalScreen(const TerminalScreen &) = delete;
    TerminalScreen &operator=(const TerminalScreen &) = delete;
};

// Lines and columns; a usual size when the terminal doesn't tell.
static winsize terminal_size() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) {
        size.ws_row = 24;
        size.ws_col = 80;
    }
    return size;
}

static std::string send_line(desk::Desk &desk) {
    return "dbus-send --bus=" + desk.bus().address() + " --type=signal " + SIGNAL_PATH + " " + SIGNAL_INTERFACE + "." +
           SIGNAL_MEMBER + " string:chan_bt";
}

static std::string folders_line(desk::Desk &desk) {
    return "The box's folders: " + desk.box().folder() + "   Ctrl-C ends.";
}

static int height_in(const winsize &size, const std::string &line) {
    const int columns = size.ws_col > 0 ? size.ws_col : 80;
    return (static_cast<int>(line.size()) + columns - 1) / columns;
}

// The first `count` lines: a terminal that is too low must not scroll.
static std::string first_lines(const std::string &text, int count) {
    size_t end = 0;
    for (; count > 0 && end < text.size(); count--) end = text.find('\n', end) + 1;
    return text.substr(0, end);
}

// Half blocks where they fit, the finer Braille dots elsewhere.
static std::string drawn(const desk::Picture &picture, const winsize &size, int lines) {
    const bool fits = picture.height() / 2 <= lines && picture.width() <= size.ws_col;
    return first_lines(fits ? picture.to_half_blocks() : picture.to_braille(), lines);
}

// What is on the screen; drawn anew when any of it differs.
struct Shown {
    desk::Picture picture;
    int rows = 0;
    int columns = 0;
    bool all_keys = false;
    std::string note; // what the last key did
};

static bool same_places(const Shown &one, const Shown &other) {
    return one.rows == other.rows && one.columns == other.columns && one.all_keys == other.all_keys;
}

static std::string whole_screen(desk::Desk &desk, const std::string &line, const Shown &shown,
                                const winsize &size, bool with_keys) {
    std::string legend;
    if (with_keys) legend = shown.all_keys ? full_legend(shown.columns) : compact_legend(shown.columns);
    const auto legend_rows = 1 + std::count(legend.begin(), legend.end(), '\n');
    int left = size.ws_row - 1 - static_cast<int>(legend_rows);
    std::string text;
    for (const std::string &head : {line, send_line(desk), folders_line(desk)}) {
        if (head.empty()) continue;
        text += head + "\n";
        left -= height_in(size, head);
    }
    const std::string note = shown.note.substr(0, static_cast<size_t>(shown.columns));
    return text + note + "\033[K\n" + drawn(shown.picture, size, left) + legend;
}

// False: the end is wanted.
static bool obey(char pressed, Shown &shown, const LiveWork &work) {
    if (pressed == key_quits) return false;
    if (pressed == key_lists) shown.all_keys = !shown.all_keys;
    const Key *key = key_of(pressed);
    if (key != nullptr) shown.note = work.send(key->send);
    return true;
}

void show_live(desk::Stage &stage, desk::View view, const std::string &line, const LiveWork &work) {
    keys(); // a bad table is told before the screen changes
    const Keyboard keyboard;
    const TerminalScreen screen;
    Shown before;
    Shown now;
    while (!end_wanted()) {
        for (char pressed : keyboard.pressed()) {
            if (!obey(pressed, now, work)) return;
        }
        const winsize size = terminal_size();
        now.picture = stage.picture(view);
        now.rows = size.ws_row;
        now.columns = size.ws_col > 0 ? size.ws_col : 80;
        const bool moved = !same_places(now, before);
        if (moved) print("\033[2J");
        if (moved || now.picture != before.picture || now.note != before.note) {
            print("\033[H" + whole_screen(stage.desk(view), line, now, size, keyboard.present()));
        }
        before = now;
        work.turn();
    }
}

} // namespace display_sim
