// The golden pictures as files: no picture may lie there that no test draws, and both panels have the same
// ones.
#include <filesystem>
#include <set>
#include <string>

#include "golden.h"

namespace end_to_end {

namespace fs = std::filesystem;

static std::set<std::string> files_in(const char *folder) {
    std::set<std::string> files;
    for (const auto &item : fs::directory_iterator(fs::path(GOLDEN_DIR) / folder)) {
        files.insert(item.path().filename().string());
    }
    return files;
}

TEST(GoldenFiles, EachIsDrawnByATest) {
    const std::set<std::string> &drawn = golden_names();
    EXPECT_FALSE(drawn.empty());
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
