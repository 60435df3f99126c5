// What the daemon's process holds, as the kernel counts it.
#pragma once

#include <string>

#include <sys/types.h>

struct Holding {
    long private_kb = 0;
    int descriptors = 0;
    int children = 0; // those that nobody has waited for too
};

Holding holding_of(pid_t pid);

// "316 kB of its own, 8 descriptors, 0 children"
std::string in_words(const Holding &holding);
