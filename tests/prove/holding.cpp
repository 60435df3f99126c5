#include "holding.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

Holding holding_of(pid_t pid) {
    Holding holding;
    const std::string folder = "/proc/" + std::to_string(pid);
    std::ifstream memory(folder + "/smaps_rollup");
    for (std::string line; std::getline(memory, line);) {
        if (line.rfind("Private_Dirty:", 0) == 0) holding.private_kb = std::atol(line.c_str() + 14);
    }
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder + "/fd")) {
        holding.descriptors++;
    }
    std::ifstream list(folder + "/task/" + std::to_string(pid) + "/children");
    for (std::string child; list >> child;) holding.children++;
    return holding;
}

std::string in_words(const Holding &holding) {
    return std::to_string(holding.private_kb) + " kB of its own, " + std::to_string(holding.descriptors) +
           " descriptors, " + std::to_string(holding.children) + " children";
}
