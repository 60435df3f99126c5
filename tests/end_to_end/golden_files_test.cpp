// The golden pictures as files: no picture may lie there that no test draws, and both panels have the same
// ones. Every test is a process of its own, so what is drawn is read from the sources of the picture tests:
// they name each picture in full, as expect("NAME", ...) or first in a table's row, {"NAME", ...}.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace end_to_end {

namespace fs = std::filesystem;

static void add_drawn(const fs::path &source, std::set<std::string> &names) {
    std::ifstream file(source, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    static const std::regex place("(?:expect\\(|\\{)\\s*\"([A-Za-z0-9_]+)\",");
    for (std::sregex_iterator found(text.begin(), text.end(), place), end; found != end; ++found) {
        names.insert((*found)[1]);
    }
}

static std::set<std::string> drawn_names() {
    std::set<std::string> names;
    const std::string ending = "_pictures_test.cpp";
    for (const auto &item : fs::directory_iterator(fs::path(TEST_SOURCE_DIR) / "tests" / "end_to_end")) {
        const std::string file = item.path().filename().string();
        const size_t place = file.rfind(ending);
        if (place != std::string::npos && place + ending.size() == file.size()) add_drawn(item.path(), names);
    }
    return names;
}

static std::set<std::string> files_in(const char *folder) {
    std::set<std::string> files;
    for (const auto &item : fs::directory_iterator(fs::path(GOLDEN_DIR) / folder)) {
        files.insert(item.path().filename().string());
    }
    return files;
}

TEST(GoldenFiles, EachIsDrawnByATest) {
    const std::set<std::string> drawn = drawn_names();
    for (const char *folder : {"device", "layout"}) {
        for (const std::string &file : files_in(folder)) {
            const fs::path name = file;
            EXPECT_TRUE(name.extension() == ".pbm" && drawn.count(name.stem().string()) == 1)
                << "no test draws " << folder << "/" << file << ": remove it";
        }
    }
}

TEST(GoldenFiles, BothPanelsHaveTheSame) {
    EXPECT_FALSE(files_in("device").empty());
    EXPECT_EQ(files_in("device"), files_in("layout"));
}

} // namespace end_to_end
