// The terminal that shows a panel: what it can show, drawing in place on its other screen, keys without Enter, and
// leaving it as it was on every way out, a stop by Ctrl-Z included.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <termios.h>

#include "panel/drawing.h"

namespace panel {

// ---- What it can show ----

/// How a picture is to be shown on one output.
struct Look {
    Style style;
    bool in_place; ///< it is a terminal that can be drawn on anywhere
    bool colours;  ///< lit pixels bright on black as on the panel, whatever the terminal's own colours are
};

/// The look for that descriptor: `asked`, or what the environment says. ASCII is for TERM=dumb and for a locale whose
/// text is no UTF-8; a dumb terminal gets no escape sequence, and NO_COLOR leaves the colours out.
Look look_for(int descriptor, std::optional<Style> asked);

/// The size of the terminal at that descriptor, a usual one when it does not tell; UNLIMITED when it is none.
Place place_of(int descriptor);

/// A picture's line with the colours of that look.
std::string dressed(const std::string &line, const Look &look);

/// A foreign text as it may stand on a terminal: control characters and what the terminal has no letter for become
/// "?", and no more than fits into `columns` stays.
std::string printable(const std::string &text, int columns);

// ---- The end ----

/// From now on Ctrl-C, Ctrl-\, SIGTERM and SIGHUP only set a flag, and a reader of the output that has gone is an
/// error of writing: the terminal must be put back first.
void catch_endings();
bool end_wanted();

// ---- Keys ----

/// Takes the keys out of what a terminal sends: an arrow or function key is ESC and more letters, which would
/// otherwise be taken for keys of their own. A sequence may come in pieces, but not in slow ones.
class KeyFilter {
public:
    std::string keys_in(const std::string &bytes);

private:
    enum class State { outside, escape, opened, parameters };
    State state_ = State::outside;
    std::chrono::steady_clock::time_point last_{};
};

// ---- The screen ----

/// Something to show below what stands before it. `rows` are the terminal's, more than one where the text wraps.
struct Row {
    std::string text;
    int rows = 1;
    bool operator==(const Row &other) const { return text == other.text && rows == other.rows; }
};

/// The terminal at standard output while this object lives: its other screen without a cursor, and, when standard
/// input is a terminal too, keys without Enter and without an echo. One at a time.
class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    /// Whether there can be keys at all.
    bool has_keys() const { return keyboard_; }
    Place place() const;
    /// Shows these and nothing else, and writes only what is not shown already. What is too much for the terminal is
    /// left out, so that it never scrolls. Throws Failure when the terminal has gone.
    void show(const std::vector<Row> &rows);
    /// Waits for keys, a resize or `descriptor` (-1: none), and for `milliseconds` at most. The keys that were
    /// pressed. Stops the process when Ctrl-Z was.
    std::string wait(int milliseconds, int descriptor = -1);

private:
    void write_out(const std::string &text) const;
    void enter();
    void leave();
    bool stop_if_wanted();
    std::string read_keys();

    int output_;
    bool keyboard_ = false;
    termios before_ = {};
    KeyFilter filter_;
    Place shown_in_{0, 0};
    std::vector<Row> shown_;
};

} // namespace panel
