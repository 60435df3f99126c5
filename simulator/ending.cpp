// The flag and the way out.
#include "ending.h"

#include <csignal>
#include <cstdio>

#include "simulator/error.h"

namespace display_sim {

static volatile std::sig_atomic_t wanted;

static void want_end(int) { wanted = 1; }

void catch_endings() {
    struct sigaction action = {};
    action.sa_handler = want_end;
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(number, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool end_wanted() { return wanted != 0; }

void print(const std::string &text) {
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) != 0) throw desk::Error("nobody reads the output any more");
}

} // namespace display_sim
