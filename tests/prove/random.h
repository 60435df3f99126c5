// Picking at random, with a seed that makes a run the same again.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

using Random = std::mt19937;

inline int pick(Random &random, int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); }

template <typename T>
const T &one_of(Random &random, const std::vector<T> &all) {
    return all[static_cast<size_t>(pick(random, 0, static_cast<int>(all.size()) - 1))];
}
