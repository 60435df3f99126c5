// A daemon at the desk whose blocks are counted: what its allocator has handed out and not taken back.
#pragma once

#include <memory>
#include <string>

#include "simulator/desk/desk.h"
#include "tests/prove/holding.h"
#include "tests/prove/live_blocks.h"

namespace prove {

struct Counted {
    Holding holding;
    live_blocks live{};
};

// "312 kB of its own, 6 descriptors, 0 children, 89 blocks of 24 kB"
std::string in_words(const Counted &counted);

// A desk whose daemon's blocks are counted. Start it as any other.
class CountedDesk {
public:
    explicit CountedDesk(desk::Options options = {});
    ~CountedDesk();
    CountedDesk(const CountedDesk &) = delete;
    CountedDesk &operator=(const CountedDesk &) = delete;

    desk::Desk &desk() { return *desk_; }
    // Ask while the daemon stands still.
    Counted counted();

private:
    std::unique_ptr<desk::Desk> desk_;
    live_blocks *live_ = nullptr;
};

// Throws desk::Error if it holds more than before, or a block more. Both in the same state: after told().
void must_hold_the_same_blocks(const Counted &before, const Counted &now);

} // namespace prove
