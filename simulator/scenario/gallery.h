// The gallery: a page of pictures of all that the panel can show, made from the golden panels that the tests
// compare with. `display-sim gallery`.
#pragma once

#include <string>
#include <vector>

namespace desk {

// Writes the page and its pictures to `out`, made from the folders device and layout in `goldens`. Files of
// `out` that no longer belong there are removed. Throws Error.
void make_gallery(const std::string &goldens, const std::string &out);

// `arguments` are the words after "gallery".
int gallery_command(const std::vector<std::string> &arguments);

} // namespace desk
