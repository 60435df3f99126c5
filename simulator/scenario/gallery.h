// The gallery: a page of pictures of all that the panel can show, made from scenarios and the pictures that they
// expect. `display-sim gallery`.
#pragma once

#include <string>
#include <vector>

namespace desk {

// The scenarios that make the gallery, without folder and ending: each is a section, in this order. Its first line is
// "# TITLE: INTRODUCTION", and each note with the "expect NAME" that follows it is a row: the note says how it comes
// about, the comment in the layout's picture what is to be seen. Both may hold Markdown's back-ticks. What is expected
// without a note of its own makes no row.
const std::vector<std::string> &gallery_sections();

// Writes the page and its pictures to `out`, made from the scenarios of the folder `scenarios`. Files of `out` that no
// longer belong there are removed. Throws Error.
void make_gallery(const std::string &scenarios, const std::string &out);

// `arguments` are the words after "gallery".
int gallery_command(const std::vector<std::string> &arguments);

} // namespace desk
