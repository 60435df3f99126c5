#include "support/screen.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace test_support {

EmulatedScreen::EmulatedScreen(int rows, int columns) : columns_(columns) { resize(rows, columns); }

void EmulatedScreen::resize(int rows, int columns) {
    cells_.resize(static_cast<size_t>(rows));
    wrapped_.assign(static_cast<size_t>(rows), false);
    for (Line &line : cells_) line.resize(static_cast<size_t>(columns), " ");
    columns_ = columns;
    row_ = std::min(row_, rows - 1);
    column_ = std::min(column_, columns - 1);
}

void EmulatedScreen::take(const std::string &bytes) {
    for (char byte : bytes) take_byte(byte);
}

static size_t length_of_character(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

void EmulatedScreen::take_byte(char byte) {
    if (!sequence_.empty()) {
        sequence_ += byte;
        if (sequence_.size() == 2) {
            if (byte != '[') throw std::runtime_error("an unknown escape sequence: ESC " + std::string(1, byte));
        } else if (byte >= '@') {
            control(byte);
            sequence_.clear();
        }
    } else if (byte == '\033') {
        sequence_ = byte;
    } else if (byte == '\n') {
        wrapped_[static_cast<size_t>(row_)] = false;
        line_feed();
    } else if (byte == '\r') {
        column_ = 0;
    } else if (static_cast<unsigned char>(byte) < ' ') {
        throw std::runtime_error("an unknown control character: " + std::to_string(byte));
    } else {
        character_ += byte;
        if (character_.size() < length_of_character(character_[0])) return;
        put(character_);
        character_.clear();
    }
}

void EmulatedScreen::line_feed() {
    if (row_ + 1 < static_cast<int>(cells_.size())) {
        row_++;
        return;
    }
    scrolled_++;
    cells_.erase(cells_.begin());
    cells_.emplace_back(static_cast<size_t>(columns_), " ");
    wrapped_.erase(wrapped_.begin());
    wrapped_.push_back(false);
}

void EmulatedScreen::put(const std::string &character) {
    if (column_ == columns_) {
        wrapped_[static_cast<size_t>(row_)] = true;
        line_feed();
        column_ = 0;
    }
    cells_[static_cast<size_t>(row_)][static_cast<size_t>(column_++)] = character;
}

void EmulatedScreen::erase_line(int row, int from) {
    Line &line = cells_[static_cast<size_t>(row)];
    std::fill(line.begin() + std::min(from, columns_), line.end(), " ");
    wrapped_[static_cast<size_t>(row)] = false;
}

// The first one keeps its cursor meanwhile.
void EmulatedScreen::show_other(bool other) {
    if (other && !other_) {
        first_screen_ = cells_;
        first_row_ = row_;
        first_column_ = column_;
        for (int row = 0; row < static_cast<int>(cells_.size()); row++) erase_line(row, 0);
    } else if (!other && other_) {
        cells_ = first_screen_;
        row_ = first_row_;
        column_ = first_column_;
        resize(static_cast<int>(wrapped_.size()), columns_);
    }
    other_ = other;
}

void EmulatedScreen::control(char letter) {
    const std::string given = sequence_.substr(2, sequence_.size() - 3);
    const int number = std::atoi(given.c_str());
    // As on a real one, erasing at the end of a full line takes its last character.
    const int here = std::min(column_, columns_ - 1);
    if (letter == 'H') {
        const size_t split = given.find(';');
        const int column = split == std::string::npos ? 1 : std::atoi(given.c_str() + split + 1);
        row_ = std::clamp(number, 1, static_cast<int>(cells_.size())) - 1;
        column_ = std::clamp(column, 1, columns_) - 1;
    } else if (letter == 'K' && (given.empty() || given == "2")) {
        erase_line(row_, given.empty() ? here : 0);
    } else if (letter == 'J' && (given.empty() || given == "2")) {
        erase_line(row_, given.empty() ? here : 0);
        for (int row = given.empty() ? row_ + 1 : 0; row < static_cast<int>(cells_.size()); row++) erase_line(row, 0);
    } else if (letter == 'm') {
        coloured_ = coloured_ || (!given.empty() && given != "0");
    } else if (given == "?1049" && (letter == 'h' || letter == 'l')) {
        show_other(letter == 'h');
    } else if (given == "?25" && (letter == 'h' || letter == 'l')) {
        hidden_ = letter == 'l';
    } else {
        throw std::runtime_error("an unknown control sequence: ESC " + sequence_.substr(1));
    }
}

static std::string without_blanks_behind(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

static std::string joined(const std::vector<std::string> &characters) {
    std::string text;
    for (const std::string &character : characters) text += character;
    return text;
}

std::vector<std::string> EmulatedScreen::rows() const {
    std::vector<std::string> rows;
    for (const Line &line : cells_) rows.push_back(without_blanks_behind(joined(line)));
    return rows;
}

std::string EmulatedScreen::text() const {
    std::string text;
    for (size_t row = 0; row < cells_.size(); row++) {
        text += wrapped_[row] ? joined(cells_[row]) : without_blanks_behind(joined(cells_[row])) + "\n";
    }
    return text;
}

bool EmulatedScreen::shows(const std::string &part) const { return text().find(part) != std::string::npos; }

bool EmulatedScreen::shows_rows(const std::vector<std::string> &lines) const {
    std::vector<std::string> wanted;
    for (const std::string &line : lines) wanted.push_back(without_blanks_behind(line));
    const std::vector<std::string> all = rows();
    return std::search(all.begin(), all.end(), wanted.begin(), wanted.end()) != all.end();
}

} // namespace test_support
