// What the gallery shows in which order: each golden panel with the words or files that lead to it.
#pragma once

#include <vector>

namespace desk {

struct GalleryEntry {
    const char *golden; // name of the picture, without folder and ending
    const char *how;    // for people; display commands and files in backquotes
};

struct GallerySection {
    const char *title;
    const char *introduction;
    std::vector<GalleryEntry> entries;
};

// Goldens that no section names come last, under a heading of their own.
const std::vector<GallerySection> &gallery_sections();

} // namespace desk
