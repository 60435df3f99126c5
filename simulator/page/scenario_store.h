// The scenarios that the page offers: those stored beside the program or in its sources, their pictures, and the gallery
// made of both. Nothing that a page names is opened as a path: it is looked up among what lies there.
//
// It is read anew at each question, so that what somebody edits meanwhile shows. Any thread may ask.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "panel/picture.h"
#include "simulator/scenario/scenario.h"

namespace desk {

// A scenario as it was read, from the store or from a page.
struct ReadScenario {
    std::string name; // without folder and ending
    bool stored = false;
    std::string text;
    std::vector<ScenarioLine> lines;
    std::map<std::string, panel::Picture> brought; // expected pictures that came with it, by their names in it
};

// A page's scenario is no longer than this.
constexpr size_t longest_scenario = 64 * 1024;
constexpr size_t most_scenario_lines = 2000;

// Reads what came from a page. Throws ScenarioError that tells the line.
ReadScenario read_scenario(const std::string &name, const std::string &text);

class ScenarioStore {
public:
    // The folder of the scenarios; "": those of this program, or none where there are none.
    explicit ScenarioStore(const std::string &folder = "");

    // All of them, by their names; each with its title and how much there is of it.
    nlohmann::json list() const;
    // Throws ScenarioError for a bad one, Error for one that is not there.
    ReadScenario scenario(const std::string &name) const;
    // By scenarios, those of the gallery first: each expected picture with the line that leads to it.
    nlohmann::json gallery() const;

    // The expected picture of that name, such as "modes/mode_ready-layout.pbm". Nothing when there is none; throws Error
    // for one that can't be read.
    std::optional<panel::Picture> picture(const std::string &file) const;
    // What the comment in it says.
    std::string comment(const std::string &file) const;

    // Why no picture may be written there; empty when it may: it is the source tree's own and can be written.
    std::string read_only() const;
    // Writes a picture that the stored scenario expects; its comment is kept, a new one gets `note`. Returns the path.
    // Throws Error.
    std::string save(const std::string &file, const panel::Picture &picture, const std::string &note) const;

private:
    std::vector<std::string> names() const;
    std::map<std::string, std::string> pictures() const; // paths, by their names in scenarios
    std::optional<std::string> path_of(const std::string &file) const;

    std::string folder_; // "": there is none
};

// A scenario for the page: its text, and which of its lines do something.
nlohmann::json scenario_json(const ReadScenario &scenario);

} // namespace desk
