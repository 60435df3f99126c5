// Deadlines and the one way to wait.
#include "simulator/desk/error.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace desk {

static double deadline_factor() {
    const char *text = std::getenv("DESK_PATIENCE");
    if (text == nullptr) return 1.0;
    const double factor = std::strtod(text, nullptr);
    return factor > 0.0 ? factor : 1.0;
}

std::chrono::milliseconds stretched(std::chrono::milliseconds deadline) {
    const double stretched = static_cast<double>(deadline.count()) * deadline_factor();
    return std::chrono::milliseconds(static_cast<int64_t>(stretched));
}

bool wait_until(const std::function<bool()> &condition, std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + stretched(deadline);
    auto pause = std::chrono::microseconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(pause);
        // Short waits are answered at once, long ones don't load the machine.
        pause = std::min(pause + pause / 4, std::chrono::microseconds(2000));
    }
    return true;
}

Error system_error(const std::string &doing) { return Error(doing + ": " + std::strerror(errno)); }

} // namespace desk
