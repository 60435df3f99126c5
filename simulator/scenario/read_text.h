// Texts read back from a picture of the panel, letter by letter, in the display's own fonts. For those who can't look
// at it, and for tests that ask for words instead of pixels.
#pragma once

#include <string>
#include <vector>

#include "panel/picture.h"

namespace desk {

struct TextOnPanel {
    int x, y;   // upper left corner of its line
    int height; // of its line: 8, 16 or 32
    std::string text;
};

// All that can be read, from the top to the bottom and from the left to the right. A letter that is cut by an edge or
// covered is not read, and what is between two pieces of a text that can be read parts them.
std::vector<TextOnPanel> texts_in(const panel::Picture &picture);

} // namespace desk
