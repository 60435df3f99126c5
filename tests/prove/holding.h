// What the daemon at the desk holds: memory, descriptors, children, and to the block what its allocator handed out.
#pragma once

#include <string>

#include "simulator/desk/desk.h"
#include "tests/prove/live_blocks.h"

namespace prove {

struct Holding {
    long private_kb = 0;
    int descriptors = 0;
    int children = 0;
    live_blocks live{};
};

// "312 kB of its own, 89 blocks of 24 kB, 6 descriptors, 0 children"
std::string in_words(const Holding &holding);

// A desk whose daemon's blocks are counted. Start it as any other.
class CountedDesk {
public:
    explicit CountedDesk(desk::Options options = {});
    ~CountedDesk();
    CountedDesk(const CountedDesk &) = delete;
    CountedDesk &operator=(const CountedDesk &) = delete;

    desk::Desk &desk() { return *desk_; }
    // Ask while the daemon stands still.
    Holding holding();

private:
    std::unique_ptr<desk::Desk> desk_;
    live_blocks *live_ = nullptr;
};

// Throws desk::Error if it holds more than before: pages that the allocator takes up late are allowed.
void must_not_have_grown(const Holding &before, const Holding &now);
// And not a block more. Both in the same state: after told().
void must_hold_the_same_blocks(const Holding &before, const Holding &now);

} // namespace prove
