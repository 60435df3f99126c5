#include "tests/prove/counted_desk.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "panel/files.h"
#include "simulator/desk/places.h"
#include "simulator/desk/sandbox.h"

namespace prove {

// In the box, where the daemon finds them.
constexpr const char *shim_in_box = "/tmp/liblive_blocks.so";
constexpr const char *counts_in_box = "/tmp/live_blocks";

static live_blocks *mapped(const std::string &path) {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0 || ftruncate(file, sizeof(live_blocks)) != 0) throw desk::system_error("can't make " + path);
    void *place = mmap(nullptr, sizeof(live_blocks), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (place == MAP_FAILED) throw desk::system_error("can't map " + path);
    return static_cast<live_blocks *>(place);
}

CountedDesk::CountedDesk(desk::Options options) {
    options.environment["LD_PRELOAD"] = std::string(desk::guest_shim) + ":" + shim_in_box;
    options.environment["LIVE_BLOCKS"] = counts_in_box;
    desk_ = std::make_unique<desk::Desk>(options);
    desk_->box().write(shim_in_box, panel::load_bytes(desk::find_program("tests/prove/liblive_blocks.so")));
    desk_->box().write(counts_in_box);
    live_ = mapped(desk_->box().host_path(counts_in_box));
}

CountedDesk::~CountedDesk() { munmap(live_, sizeof(live_blocks)); }

Counted CountedDesk::counted() { return {holding_of(desk_->daemon_pid()), *live_}; }

std::string in_words(const Counted &counted) {
    return ::in_words(counted.holding) + ", " + std::to_string(counted.live.blocks) + " blocks of " +
           std::to_string(counted.live.bytes / 1024) + " kB";
}

constexpr long spare_kb = 64; // pages that the allocator takes up late

// Throws desk::Error if it holds more than before.
static void must_not_have_grown(const Counted &before, const Counted &now) {
    if (now.holding.private_kb <= before.holding.private_kb + spare_kb &&
        now.holding.descriptors <= before.holding.descriptors && now.holding.children == 0) {
        return;
    }
    throw desk::Error("it has grown: " + in_words(now) + "; before it had " + in_words(before));
}

void must_hold_the_same_blocks(const Counted &before, const Counted &now) {
    must_not_have_grown(before, now);
    if (now.live.blocks <= before.live.blocks) return;
    throw desk::Error("it has not given back " + std::to_string(now.live.blocks - before.live.blocks) + " blocks, " +
                      std::to_string(now.live.bytes - before.live.bytes) + " bytes, that it did not hold in the same " +
                      "state before");
}

} // namespace prove
