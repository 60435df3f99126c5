// Text as the panel draws it: with the display's own 16-pixel font, through LVGL's own glyph functions. For
// finding words in a picture of the panel and for captions.
#pragma once

#include <string>

#include "panel/picture.h"

namespace desk {

constexpr int text_height = 16;

// One line, as wide as it is; characters without a glyph are left out.
panel::Picture text_picture(const std::string &text);

// True when all that is lit in `picture` is exactly that text, wherever it stands.
bool shows_exactly(const panel::Picture &picture, const std::string &text);

// Copies what is lit in `from` to `to`, with the upper left corner at (x, y).
void copy_lit(const panel::Picture &from, panel::Picture &to, int x, int y);

} // namespace desk
