// What a terminal makes of the bytes that a program writes: the characters that stand on its screen. Knows what our
// programs write and throws at anything else, so that no test passes because of a sequence that it did not see.
#pragma once

#include <string>
#include <vector>

namespace test_support {

class EmulatedScreen {
public:
    EmulatedScreen(int rows, int columns);

    void resize(int rows, int columns);
    void take(const std::string &bytes);

    // What stands in each row, without the blanks at its end.
    std::vector<std::string> rows() const;
    // All of it, for messages and for looking for a text; a text that wraps is one.
    std::string text() const;
    bool shows(const std::string &part) const;
    // Whether these rows stand one below the other at that column.
    bool shows_rows(const std::vector<std::string> &lines) const;

    // How often a line has left the screen at the top.
    int scrolled() const { return scrolled_; }
    bool other_screen() const { return other_; }
    bool cursor_hidden() const { return hidden_; }
    // Colours that were set and not reset, or any at all.
    bool coloured() const { return coloured_; }

private:
    using Line = std::vector<std::string>; // a character each

    void take_byte(char byte);
    void control(char letter);
    void put(const std::string &character);
    void line_feed();
    void show_other(bool other);
    void erase_line(int row, int from);

    std::vector<Line> cells_;
    std::vector<bool> wrapped_; // the row goes on in the next one
    std::vector<Line> first_screen_;
    int first_row_ = 0;
    int first_column_ = 0;
    int columns_;
    int row_ = 0;
    int column_ = 0; // columns_: the next character wraps
    int scrolled_ = 0;
    bool other_ = false;
    bool hidden_ = false;
    bool coloured_ = false;
    std::string sequence_;  // an escape sequence that is not complete
    std::string character_; // a UTF-8 character that is not complete
};

} // namespace test_support
