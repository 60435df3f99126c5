// The files of web/, built into the program: the page needs nothing beside it and nothing else can be asked
// for.
#pragma once

#include <cstddef>
#include <vector>

namespace desk {

struct PageFile {
    const char *path; // as asked for, a regular expression of the server's
    const char *type;
    const char *content;
    size_t length;
};

// Made by web/embed.cmake.
const std::vector<PageFile> &page_files();

} // namespace desk
