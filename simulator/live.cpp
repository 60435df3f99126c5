// The live view: drawn again only when the picture has changed.
#include "live.h"

#include <cstdio>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

#include "ending.h"

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
    return "dbus-send --bus=" + desk.bus().address() +
           " --type=signal /zor/signal zor.signal.Type.Display string:chan_bt";
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

static std::string whole_screen(desk::Desk &desk, const std::string &line, const desk::Picture &picture,
                                const winsize &size) {
    int left = size.ws_row - 2;
    std::string text;
    for (const std::string &head : {line, send_line(desk), folders_line(desk)}) {
        if (head.empty()) continue;
        text += head + "\n";
        left -= height_in(size, head);
    }
    return text + "\n" + drawn(picture, size, left);
}

void show_live(desk::Stage &stage, desk::View view, const std::string &line,
               const std::function<void()> &turn) {
    const TerminalScreen screen;
    desk::Picture shown;
    winsize shown_size = {};
    while (!end_wanted()) {
        const desk::Picture now = stage.picture(view);
        const winsize size = terminal_size();
        const bool resized = size.ws_row != shown_size.ws_row || size.ws_col != shown_size.ws_col;
        if (resized) print("\033[2J");
        if (resized || now != shown) print("\033[H" + whole_screen(stage.desk(view), line, now, size));
        shown = now;
        shown_size = size;
        turn();
    }
}

} // namespace display_sim
