// The way out.
#include "simulator/live/ending.h"

#include <cerrno>
#include <cstdio>

#include "simulator/desk/error.h"

namespace desk {

void print(const std::string &text) {
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) == 0) return;
    if (errno == EPIPE) throw desk::Error("nobody reads the output any more");
    throw desk::system_error("can't write the output");
}

} // namespace desk
