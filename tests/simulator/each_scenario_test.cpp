// The scenarios of simulator/scenarios, played by the real program: each ends as expected and leaves its film.
#include <algorithm>
#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include "simulator/scenario/expected_picture.h"

#include "png_reader.h"
#include "support.h"

using namespace simulator_test;
namespace fs = std::filesystem;

static const std::string scenarios = TEST_SOURCE_DIR "/simulator/scenarios";

static std::vector<std::string> scenario_names() {
    std::vector<std::string> names;
    for (const auto &item : fs::directory_iterator(scenarios)) {
        if (item.path().extension() == ".scenario") names.push_back(item.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class EachScenario : public testing::TestWithParam<std::string> {};

TEST_P(EachScenario, PlaysAsExpected) {
    // In the build folder, so that what a failure leaves behind can be looked at.
    const std::string out = TEST_BINARY_DIR "/scenarios/" + GetParam();
    fs::remove_all(out);
    const Outcome outcome = display_sim({"play", scenarios + "/" + GetParam() + ".scenario", "--out", out});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const Png film = read_png(read_file(out + "/" + GetParam() + "-film.png"));
    EXPECT_EQ(film.problem, "");
    EXPECT_GT(film.frames.size(), 5u);
}

static std::set<std::string> expected_by(const std::string &scenario) {
    std::set<std::string> files;
    for (const desk::ScenarioLine &line : desk::load_scenario(scenarios + "/" + scenario + ".scenario")) {
        for (const desk::ExpectedFile &file : desk::expected_files(line.action)) files.insert(file.name);
    }
    return files;
}

TEST_P(EachScenario, HasAllItsPictures) {
    const std::set<std::string> wanted = expected_by(GetParam());
    EXPECT_GE(wanted.size(), 5u);
    for (const std::string &file : wanted) EXPECT_TRUE(fs::exists(scenarios + "/" + file)) << file;
}

INSTANTIATE_TEST_SUITE_P(Of, EachScenario, testing::ValuesIn(scenario_names()),
                         [](const auto &information) { return information.param; });

// A picture that no line looks at any more would pass for ever.
TEST(AllScenarios, UseAllPictures) {
    std::set<std::string> wanted;
    for (const std::string &scenario : scenario_names()) wanted.merge(expected_by(scenario));
    std::set<std::string> there;
    for (const auto &item : fs::recursive_directory_iterator(scenarios)) {
        if (item.is_directory() || item.path().extension() == ".scenario") continue;
        there.insert(fs::relative(item.path(), scenarios).string());
    }
    EXPECT_EQ(there, wanted);
}

TEST(AllScenarios, AreAtLeastTen) { EXPECT_GE(scenario_names().size(), 10u); }
