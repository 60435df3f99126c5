// Looking up and reading what lies in the scenarios' folder.
#include "simulator/page/scenario_store.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include <unistd.h>

#include "panel/files.h"
#include "simulator/desk/places.h"
#include "simulator/scenario/expected_picture.h"
#include "simulator/scenario/gallery.h"

namespace desk {

namespace fs = std::filesystem;
using nlohmann::json;

static constexpr const char *folder_in_project = "simulator/scenarios";
static constexpr const char *ending = ".scenario";

static std::string own_scenarios() {
    try {
        return find_folder(folder_in_project);
    } catch (const Error &) {
        return "";
    }
}

ScenarioStore::ScenarioStore(const std::string &folder) : folder_(folder.empty() ? own_scenarios() : folder) {}

/* ---- scenarios ---- */

ReadScenario read_scenario(const std::string &name, const std::string &text) {
    ReadScenario scenario;
    scenario.name = name;
    scenario.text = text;
    if (text.size() > longest_scenario) throw ScenarioError(name + ": it is longer than 64 KiB");
    if (text.find('\0') != std::string::npos) throw ScenarioError(name + ": it is no text");
    scenario.lines = parse_scenario(text, name);
    if (scenario.lines.empty()) throw ScenarioError(name + ": no line of it does anything");
    if (scenario.lines.size() > most_scenario_lines) {
        throw ScenarioError(name + ": it has more than " + std::to_string(most_scenario_lines) + " lines");
    }
    return scenario;
}

std::vector<std::string> ScenarioStore::names() const {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto &item : fs::directory_iterator(folder_, missing)) {
        if (item.path().extension() == ending) names.push_back(item.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

ReadScenario ScenarioStore::scenario(const std::string &name) const {
    const std::vector<std::string> all = names();
    if (std::find(all.begin(), all.end(), name) == all.end()) throw Error("there is no scenario '" + name + "'");
    ReadScenario scenario = read_scenario(name, panel::load_bytes(folder_ + "/" + name + ending));
    scenario.stored = true;
    return scenario;
}

static std::string with_blanks(std::string name) {
    std::replace(name.begin(), name.end(), '_', ' ');
    if (!name.empty()) name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    return name;
}

static bool is_section(const std::string &name) {
    const std::vector<std::string> &sections = gallery_sections();
    return std::find(sections.begin(), sections.end(), name) != sections.end();
}

struct Heading {
    std::string title;
    std::string introduction;
};

// A section of the gallery begins with "# TITLE: INTRODUCTION", other scenarios with a sentence.
static Heading heading_of(const ReadScenario &scenario) {
    const std::string first = scenario.text.substr(0, scenario.text.find_first_of("\r\n"));
    if (first.rfind("# ", 0) != 0) return {with_blanks(scenario.name), ""};
    const size_t colon = first.find(": ");
    if (is_section(scenario.name) && colon != std::string::npos)
        return {first.substr(2, colon - 2), first.substr(colon + 2)};
    return {with_blanks(scenario.name), first.substr(2)};
}

json ScenarioStore::list() const {
    json all = json::array();
    for (const std::string &name : names()) {
        try {
            const ReadScenario read = scenario(name);
            const Heading heading = heading_of(read);
            all.push_back({{"name", name},
                           {"title", heading.title},
                           {"introduction", heading.introduction},
                           {"gallery", is_section(name)},
                           {"lines", read.lines.size()}});
        } catch (const Error &problem) { // somebody is writing it
            all.push_back({{"name", name}, {"title", with_blanks(name)}, {"error", problem.what()}});
        }
    }
    return all;
}

json scenario_json(const ReadScenario &scenario) {
    json lines = json::array();
    for (const ScenarioLine &line : scenario.lines) {
        json files = json::array();
        for (const ExpectedFile &file : expected_files(line.action)) {
            files.push_back({{"view", name_of(file.view)}, {"file", file.name}});
        }
        lines.push_back({{"number", line.number}, {"command", line.action.command->name}, {"files", files}});
    }
    const Heading heading = heading_of(scenario);
    return {{"name", scenario.name},     {"title", heading.title}, {"introduction", heading.introduction},
            {"stored", scenario.stored}, {"text", scenario.text},  {"lines", lines}};
}

/* ---- pictures ---- */

std::map<std::string, std::string> ScenarioStore::pictures() const {
    std::map<std::string, std::string> paths;
    std::error_code missing;
    for (const auto &item : fs::recursive_directory_iterator(folder_, missing)) {
        const std::string path = item.path().string();
        if (item.path().extension() == ".pbm") paths[path.substr(folder_.size() + 1)] = path;
    }
    return paths;
}

std::optional<std::string> ScenarioStore::path_of(const std::string &file) const {
    const std::map<std::string, std::string> all = pictures();
    const auto found = all.find(file);
    return found != all.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<panel::Picture> ScenarioStore::picture(const std::string &file) const {
    const std::optional<std::string> path = path_of(file);
    if (!path) return std::nullopt;
    return panel::Picture::load_pbm(*path);
}

std::string ScenarioStore::comment(const std::string &file) const {
    const std::optional<std::string> path = path_of(file);
    return path ? picture_comment(*path) : "";
}

static std::string without_back_ticks(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '`'), text.end());
    return text;
}

// "modes/mode_ready" of "modes/mode_ready-layout.pbm".
static std::string without_view(const std::string &text) {
    for (View view : both_views) {
        const std::string view_ending = std::string("-") + name_of(view) + ".pbm";
        const size_t at = text.size() - std::min(text.size(), view_ending.size());
        if (text.compare(at, std::string::npos, view_ending) == 0) return text.substr(0, at);
    }
    return text;
}

// The first line that expects a picture shows how it comes about.
static json rows_of(const ReadScenario &scenario, const std::map<std::string, std::string> &pictures) {
    json rows = json::array();
    std::set<std::string> seen;
    std::string note;
    for (const ScenarioLine &line : scenario.lines) {
        if (is(line.action, "note")) note = line.action.text;
        if (!is(line.action, "expect")) continue;
        const std::string base = without_view(line.action.text);
        if (!seen.insert(base).second) continue;
        json views = json::array();
        std::string eye;
        for (const ExpectedFile &file : expected_files(line.action)) {
            const auto picture = pictures.find(file.name);
            if (picture == pictures.end()) continue;
            views.push_back(name_of(file.view));
            const std::string comment = picture_comment(picture->second);
            if (!comment.empty()) eye = comment;
        }
        if (views.empty()) continue;
        const std::string name = with_blanks(fs::path(base).filename().string());
        rows.push_back({{"line", line.number},
                        {"name", name},
                        {"file", base},
                        {"how", without_back_ticks(note)},
                        {"eye", without_back_ticks(eye)},
                        {"views", views}});
    }
    return rows;
}

json ScenarioStore::gallery() const {
    std::vector<std::string> order = gallery_sections();
    const std::vector<std::string> all = names();
    for (const std::string &name : all) {
        if (!is_section(name)) order.push_back(name);
    }
    const std::map<std::string, std::string> paths = pictures();
    json sections = json::array();
    for (const std::string &name : order) {
        if (std::find(all.begin(), all.end(), name) == all.end()) continue;
        try {
            const ReadScenario read = scenario(name);
            const Heading heading = heading_of(read);
            const json rows = rows_of(read, paths);
            if (rows.empty()) continue;
            sections.push_back({{"name", name},
                                {"title", heading.title},
                                {"introduction", without_back_ticks(heading.introduction)},
                                {"rows", rows}});
        } catch (const Error &) { // the list tells what is wrong with it
        }
    }
    return sections;
}

/* ---- writing ---- */

std::string ScenarioStore::read_only() const {
    if (folder_.empty()) return "there are no stored scenarios";
    const bool of_sources = fs::path(folder_).parent_path().filename() == "simulator" &&
                            fs::exists(fs::path(folder_).parent_path().parent_path() / "CMakeLists.txt");
    if (!of_sources) return "the stored scenarios are installed ones; those of a source tree would be written";
    if (access(folder_.c_str(), W_OK) != 0) return "the source tree can't be written";
    return "";
}

std::string ScenarioStore::save(const std::string &file, const panel::Picture &picture, const std::string &note) const {
    const std::string reason = read_only();
    if (!reason.empty()) throw Error(reason);
    const std::optional<std::string> known = path_of(file);
    const fs::path path = fs::weakly_canonical(known ? *known : folder_ + "/" + file);
    const fs::path inside = path.lexically_relative(fs::canonical(folder_));
    if (inside.empty() || *inside.begin() == "..") throw Error(file + " does not lie among the scenarios");
    fs::create_directories(path.parent_path());
    save_expected(path.string(), picture, known ? picture_comment(path.string()) : note);
    return path.string();
}

} // namespace desk
