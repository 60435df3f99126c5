#include "panel/terminal.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "panel/failure.h"

namespace panel {

// ---- What it can show ----

static std::string environment(const char *name) {
    const char *value = getenv(name);
    return value != nullptr ? value : "";
}

// By name alone: a box need not have the locale that its visitor's terminal speaks.
static bool locale_is_utf8() {
    std::string locale;
    for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (locale.empty()) locale = environment(name);
    }
    for (char &letter : locale) letter = char(tolower(static_cast<unsigned char>(letter)));
    return locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
}

Look look_for(int descriptor, std::optional<Style> asked) {
    const bool dumb = environment("TERM") == "dumb";
    const bool in_place = isatty(descriptor) != 0 && !dumb;
    const Style usual = dumb || !locale_is_utf8() ? Style::ascii : Style::fitting;
    return {asked.value_or(usual), in_place, in_place && environment("NO_COLOR").empty()};
}

Place place_of(int descriptor) {
    if (isatty(descriptor) == 0) return UNLIMITED;
    winsize size = {};
    const bool told = ioctl(descriptor, TIOCGWINSZ, &size) == 0;
    return {told && size.ws_row > 0 ? size.ws_row : 24, told && size.ws_col > 0 ? size.ws_col : 80};
}

std::string dressed(const std::string &line, const Look &look) {
    return look.colours ? "\033[97;40m" + line + "\033[0m" : line;
}

// The length of the whole UTF-8 sequence at that place; 0 when there is none.
static size_t sequence_at(const std::string &text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(at + i < text.size() ? text[at + i] : 0); };
    const size_t length = byte(0) < 0x80 ? 1 : byte(0) < 0xc2 ? 0 : byte(0) < 0xe0 ? 2 : byte(0) < 0xf0 ? 3 : 4;
    if (byte(0) > 0xf4) return 0;
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
    }
    return length;
}

std::string printable(const std::string &text, int columns) {
    const bool utf8 = locale_is_utf8();
    std::string result;
    for (size_t at = 0; at < text.size() && columns > 0; columns--) {
        const size_t length = sequence_at(text, at);
        const auto first = static_cast<unsigned char>(text[at]);
        // U+0080 to U+009F are control characters too.
        const bool control = first < ' ' || first == 0x7f ||
                             (first == 0xc2 && length == 2 && static_cast<unsigned char>(text[at + 1]) < 0xa0);
        // Letters of three bytes and more may be two columns wide.
        if (length >= 3 && --columns == 0) break;
        result += length == 0 || control || (length > 1 && !utf8) ? "?" : text.substr(at, length);
        at += length == 0 ? 1 : length;
    }
    return result;
}

// ---- Signals ----

static volatile sig_atomic_t end_asked;
static volatile sig_atomic_t stop_asked;
static volatile sig_atomic_t continued;

static void note_signal(int number) {
    if (number == SIGTSTP) {
        stop_asked = 1;
    } else if (number == SIGCONT) {
        continued = 1;
    } else if (number != SIGWINCH) { // that one only ends a wait
        end_asked = 1;
    }
}

// Either way poll() ends early.
static void note(int number, int flags) {
    struct sigaction action = {};
    action.sa_handler = note_signal;
    action.sa_flags = flags;
    sigaction(number, &action, nullptr);
}

void catch_endings() {
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) note(number, 0);
    signal(SIGPIPE, SIG_IGN);
}

bool end_wanted() { return end_asked != 0; }

// ---- Keys ----

std::string KeyFilter::keys_in(const std::string &bytes) {
    constexpr std::chrono::milliseconds longest_pause{200};
    const auto now = std::chrono::steady_clock::now();
    if (now - last_ > longest_pause) state_ = State::outside; // an ESC at the end was the key itself
    last_ = now;
    std::string keys;
    for (char byte : bytes) {
        switch (state_) {
            case State::outside:
                if (byte == '\033') {
                    state_ = State::escape;
                } else {
                    keys += byte;
                }
                break;
            case State::escape: // Alt and a key is no more than these two
                state_ = byte == '[' || byte == 'O' ? State::opened : byte == '\033' ? State::escape : State::outside;
                break;
            case State::opened: // the Linux console's F1 to F5 have a second bracket
                if (byte == '[') {
                    state_ = State::parameters;
                    break;
                }
                [[fallthrough]];
            case State::parameters: state_ = byte >= '@' ? State::outside : State::parameters; break;
        }
    }
    return keys;
}

// ---- The screen ----

// The terminal once more, for writing without being held by it: the flag that does it belongs to whoever has opened a
// file, and standard output was opened by others. Standard output itself where that is forbidden.
static int open_terminal() {
    char name[64];
    if (ttyname_r(STDOUT_FILENO, name, sizeof name) != 0) return STDOUT_FILENO;
    const int opened = open(name, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    return opened >= 0 ? opened : STDOUT_FILENO;
}

// A terminal that takes nothing is waited for until the end is wanted, and then not much longer.
void Screen::write_out(const std::string &text) const {
    constexpr int step_ms = 100;
    int patience_ms = 500;
    for (size_t done = 0; done < text.size();) {
        const ssize_t count = write(output_, text.data() + done, text.size() - done);
        if (count > 0) {
            done += size_t(count);
            continue;
        }
        if (errno != EAGAIN && errno != EINTR) {
            throw Failure(std::string("can't write to the terminal: ") + strerror(errno));
        }
        if (end_wanted() && (patience_ms -= step_ms) < 0) return;
        pollfd writable{output_, POLLOUT, 0};
        poll(&writable, 1, step_ms);
    }
}

Screen::Screen() : output_(open_terminal()) {
    fflush(stdout);
    keyboard_ = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &before_) == 0;
    for (int number : {SIGTSTP, SIGCONT, SIGWINCH}) note(number, SA_RESTART);
    enter();
}

Screen::~Screen() {
    try {
        leave();
    } catch (const Failure &) { // the terminal has gone
    }
    for (int number : {SIGTSTP, SIGCONT, SIGWINCH}) signal(number, SIG_DFL);
    if (output_ != STDOUT_FILENO) close(output_);
}

// The settings first: in the background that stops the process, before anything is written.
void Screen::enter() {
    if (keyboard_) {
        termios raw = before_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | IEXTEN);
        raw.c_iflag &= ~static_cast<tcflag_t>(IXON);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    shown_.clear();
    shown_in_ = {0, 0};
    write_out("\033[?1049h\033[?25l");
}

// What was typed and not read is no line for the shell. Flushed apart from the settings, which would otherwise wait for
// a terminal that takes nothing.
void Screen::leave() {
    if (keyboard_) {
        tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        tcflush(STDIN_FILENO, TCIFLUSH);
    }
    write_out("\033[0m\033[?25h\033[?1049l");
}

Place Screen::place() const { return place_of(STDOUT_FILENO); }

void Screen::show(const std::vector<Row> &rows) {
    const Place now = place();
    std::string text;
    if (now != shown_in_) {
        text = "\033[0m\033[2J";
        shown_.clear();
    }
    std::vector<Row> shown;
    int line = 1;
    bool same_place = true; // all before it takes as many rows as it did
    for (size_t i = 0; i < rows.size() && line + rows[i].rows - 1 <= now.lines; i++) {
        const bool known = i < shown_.size();
        if (!same_place || !known || !(rows[i] == shown_[i])) {
            for (int row = rows[i].rows - 1; row >= 0; row--) {
                text += "\033[" + std::to_string(line + row) + ";1H\033[2K";
            }
            text += rows[i].text;
        }
        same_place = same_place && known && rows[i].rows == shown_[i].rows;
        line += rows[i].rows;
        shown.push_back(rows[i]);
    }
    int before = 1;
    for (const Row &row : shown_) before += row.rows;
    if (line < before) text += "\033[" + std::to_string(line) + ";1H\033[J";
    write_out(text);
    shown_in_ = now;
    shown_ = shown;
}

// ---- Waiting ----

bool Screen::stop_if_wanted() {
    if (stop_asked != 0) {
        stop_asked = 0;
        leave();
        signal(SIGTSTP, SIG_DFL);
        raise(SIGTSTP); // returns when the process goes on
        note(SIGTSTP, SA_RESTART);
        continued = 1;
    }
    // After a stop that could not be caught too: whoever had the terminal meanwhile has left it otherwise.
    if (continued == 0) return false;
    continued = 0;
    enter();
    return true;
}

std::string Screen::read_keys() {
    char bytes[64];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    // The terminal has gone, and the signal that tells so may have been lost on the way.
    if (count == 0 || (count < 0 && errno == EIO)) end_asked = 1;
    return filter_.keys_in(std::string(bytes, count > 0 ? size_t(count) : 0));
}

std::string Screen::wait(int milliseconds, int descriptor) {
    pollfd inputs[] = {{keyboard_ ? STDIN_FILENO : -1, POLLIN, 0}, {descriptor, POLLIN, 0}};
    const int ready = poll(inputs, 2, milliseconds);
    // Keys from before a stop are gone; to read them would be to wait for the next ones.
    const bool stopped = stop_if_wanted();
    if (!stopped && ready > 0 && inputs[0].revents != 0) return read_keys();
    return "";
}

} // namespace panel
