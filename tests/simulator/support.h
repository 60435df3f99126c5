// What the simulator's tests share: a folder that goes with the test, and the real display-sim run to its
// end.
#pragma once

#include <string>
#include <vector>

#include "support/programs.h"

namespace simulator_test {

using test_support::contains;
using test_support::Folder;
using test_support::read_file;
using Outcome = test_support::Result;

// Runs display-sim with these words. What the shell does before goes to `before`: "DESK_ARMHF=/nowhere", or
// "cd '/tmp/scenarios' &&". The standard input is the file `input`.
Outcome display_sim(const std::vector<std::string> &words, const std::string &before = "",
                    const std::string &input = "/dev/null");

} // namespace simulator_test
