// Folders and processes for the simulator's tests.
#include "support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/wait.h>

namespace simulator_test {

Outcome display_sim(const std::vector<std::string> &words, const std::string &before, const std::string &input) {
    const Folder streams;
    // In the folder of the streams, so that what lands in the current folder does not land among the sources.
    std::string command =
        "cd '" + streams.path() + "' && export LC_ALL=C.UTF-8 && " + before + " '" DISPLAY_SIM_BINARY "'";
    for (const std::string &word : words) command += " '" + word + "'";
    command += " >'" + streams.path() + "/output' 2>'" + streams.path() + "/errors' <'" + input + "'";
    const int end = std::system(command.c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(end) ? WEXITSTATUS(end) : -1;
    outcome.output = streams.read("output");
    outcome.errors = streams.read("errors");
    return outcome;
}

} // namespace simulator_test
