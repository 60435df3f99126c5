// Folders and processes for the simulator's tests.
#include "support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/wait.h>

namespace simulator_test {

namespace fs = std::filesystem;

Folder::Folder() {
    std::string name = (fs::temp_directory_path() / "simulator-test-XXXXXX").string();
    path_ = mkdtemp(name.data()) != nullptr ? name : "";
}

Folder::~Folder() { fs::remove_all(path_); }

std::string Folder::write(const std::string &name, const std::string &content) const {
    const std::string path = path_ + "/" + name;
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string Folder::read(const std::string &name) const { return read_file(path_ + "/" + name); }

bool Folder::has(const std::string &name) const { return fs::exists(path_ + "/" + name); }

std::vector<std::string> Folder::names() const {
    std::vector<std::string> names;
    for (const auto &item : fs::recursive_directory_iterator(path_)) {
        if (item.is_regular_file()) names.push_back(fs::relative(item.path(), path_).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Outcome display_sim(const std::vector<std::string> &words, const std::string &before, const std::string &input) {
    const Folder streams;
    // In the folder of the streams, so that what lands in the current folder does not land among the sources.
    std::string command = "cd '" + streams.path() + "' && export LC_ALL=C.UTF-8 && " + before + " '" DISPLAY_SIM_BINARY "'";
    for (const std::string &word : words) command += " '" + word + "'";
    command += " >'" + streams.path() + "/output' 2>'" + streams.path() + "/errors' <'" + input + "'";
    const int end = std::system(command.c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(end) ? WEXITSTATUS(end) : -1;
    outcome.output = streams.read("output");
    outcome.errors = streams.read("errors");
    return outcome;
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace simulator_test
