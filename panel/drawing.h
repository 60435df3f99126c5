// A picture as lines of text: half blocks, Braille dots or plain ASCII, whole or fitted into a terminal. The one
// place that turns pixels into characters; terminal.h tells what a terminal can show and how large it is.
#pragma once

#include <string>
#include <vector>

#include "panel/picture.h"

namespace panel {

/// How pixels become characters.
enum class Marks {
    half_blocks,  ///< one column and two rows a character
    braille,      ///< two columns and four rows
    ascii,        ///< one column and two rows: ' for the upper, . for the lower, : for both
    coarse_ascii, ///< two columns and four rows, as the letter that looks most like them
};

/// All of the picture, each line ended by a newline.
std::string drawn(const Picture &picture, Marks marks);

/// What somebody wants to see it in. All but `fitting` name their marks; `ascii` is the coarse one where the
/// other does not fit.
enum class Style {
    fitting, ///< half blocks where they fit, Braille elsewhere
    half_blocks,
    braille,
    ascii,
};

/// Lines and columns of a terminal.
struct Place {
    int lines;
    int columns;
    bool operator==(const Place &other) const { return lines == other.lines && columns == other.columns; }
    bool operator!=(const Place &other) const { return !(*this == other); }
};

/// Where there is no terminal: everything fits.
constexpr Place UNLIMITED{1 << 20, 1 << 20};

/// The rows from the top that must be seen: those of the layout, and what is lit below them.
int rows_that_matter(const Picture &picture);

/// A picture in its place.
struct Drawing {
    std::vector<std::string> lines;
    Size seen;  ///< how much of the picture, from its upper left corner
    bool whole; ///< everything that matters is seen
};

/// The picture in that place, never larger than it. Rows that do not matter may go so that the marks stay large;
/// what does not fit even then is cut off on the right and below, for the rows at the top matter most.
Drawing fitted(const Picture &picture, Style style, Place place);

/// How many lines the picture takes at its smallest in that style.
int fewest_lines(const Picture &picture, Style style);

} // namespace panel
