// Reading the scenarios, drawing their pictures enlarged and writing the page.
#include "simulator/scenario/gallery.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "panel/files.h"
#include "simulator/desk/error.h"
#include "simulator/desk/places.h"
#include "simulator/scenario/apng.h"
#include "simulator/scenario/expected_picture.h"

namespace desk {

namespace fs = std::filesystem;

static constexpr int gallery_scale = 4;

static const char *const usage =
    "usage: display-sim gallery [--out DIR] [--scenarios DIR]\n"
    "  --out DIR        where the page goes; docs/gallery of the project otherwise\n"
    "  --scenarios DIR  the scenarios and their pictures; simulator/scenarios of the project otherwise\n";

static const char *const heading =
    "# Gallery\n"
    "\n"
    "All that the panel shows, in the layout's 128 x 66 pixels and on the device's 64 x 128. Made by\n"
    "`display-sim gallery` from the golden panels of the tests, so it is what the daemon draws.\n";

const std::vector<std::string> &gallery_sections() {
    static const std::vector<std::string> sections = {"start",    "views",   "modes", "messages",
                                                      "firmware", "voltage", "edges"};
    return sections;
}

/* ---- the scenarios ---- */

struct Row {
    std::string how;
    std::string name; // of the picture, without folder and ending
    std::string eye;
    panel::Picture device;
    panel::Picture layout;
};

struct Section {
    std::string title;
    std::string introduction;
    std::vector<Row> rows;
};

static Section headed_section(const fs::path &file) {
    std::ifstream text(file);
    std::string line;
    std::getline(text, line);
    const size_t colon = line.find(": ");
    if (line.rfind("# ", 0) != 0 || colon == std::string::npos) {
        throw Error(file.string() + ":1: a section of the gallery begins with '# TITLE: INTRODUCTION'");
    }
    return {line.substr(2, colon - 2), line.substr(colon + 2), {}};
}

static Section load_section(const fs::path &folder, const std::string &scenario) {
    const fs::path file = folder / (scenario + ".scenario");
    const std::vector<ScenarioLine> lines = load_scenario(file.string());
    Section section = headed_section(file);
    std::string note;
    for (const ScenarioLine &line : lines) {
        if (is(line.action, "note")) note = line.action.text;
        const std::vector<ExpectedFile> files = expected_files(line.action);
        if (files.size() != both_views.size() || note.empty()) continue;
        const std::string device = (folder / files[0].name).string();
        const std::string layout = (folder / files[1].name).string();
        section.rows.push_back({note, fs::path(line.action.text).filename().string(), picture_comment(layout),
                                panel::Picture::load_pbm(device), panel::Picture::load_pbm(layout)});
        note.clear();
    }
    return section;
}

/* ---- the page ---- */

// Characters that would end a table's cell or begin a tag.
static std::string as_cell(const std::string &text) {
    std::string cell;
    for (char letter : text) {
        if (letter == '|') cell += '\\';
        cell += letter == '<' ? std::string("&lt;") : std::string(1, letter);
    }
    return cell;
}

static std::string image(View view, const std::string &name, const panel::Picture &picture) {
    return std::string("<img src=\"") + name_of(view) + "/" + name + ".png\" width=\"" +
           std::to_string(picture.width() * 2) + "\" alt=\"" + name + "\">";
}

static std::string section_text(const Section &section) {
    std::string text = "\n## " + section.title + "\n\n" + section.introduction +
                       "\n\n| how | layout | device | to be seen |\n|---|---|---|---|\n";
    for (const Row &row : section.rows) {
        text += "| " + row.how + " | " + image(View::layout, row.name, row.layout) + " | " +
                image(View::device, row.name, row.device) + " | " + as_cell(row.eye) + " |\n";
    }
    return text;
}

/* ---- files ---- */

// By their names. Several rows may show the same picture, but no two pictures can have one file.
static std::map<std::string, const Row *> all_pictures(const std::vector<Section> &sections) {
    std::map<std::string, const Row *> pictures;
    for (const Section &section : sections) {
        for (const Row &row : section.rows) {
            const Row &first = *pictures.emplace(row.name, &row).first->second;
            if (first.device == row.device && first.layout == row.layout) continue;
            throw Error("the gallery shows two pictures of the name " + row.name);
        }
    }
    return pictures;
}

static void remove_others(const fs::path &folder, const std::map<std::string, const Row *> &pictures) {
    for (const auto &item : fs::directory_iterator(folder)) {
        if (item.path().extension() == ".png" && pictures.count(item.path().stem().string()) == 0) {
            fs::remove(item.path());
        }
    }
}

void make_gallery(const std::string &scenarios, const std::string &out) {
    std::vector<Section> sections;
    std::string page = heading;
    for (const std::string &scenario : gallery_sections()) {
        sections.push_back(load_section(scenarios, scenario));
        page += section_text(sections.back());
    }
    const std::map<std::string, const Row *> pictures = all_pictures(sections);
    for (View view : both_views) {
        const fs::path folder = fs::path(out) / name_of(view);
        fs::create_directories(folder);
        remove_others(folder, pictures);
        for (const auto &[name, row] : pictures) {
            const panel::Picture &picture = view == View::device ? row->device : row->layout;
            panel::save_bytes((folder / (name + ".png")).string(), to_png(picture, gallery_scale));
        }
    }
    panel::save_bytes(out + "/README.md", page);
    std::printf("%s: %zu pictures of both panels and README.md\n", out.c_str(), pictures.size());
}

int gallery_command(const std::vector<std::string> &arguments) {
    std::string scenarios;
    std::string out;
    for (size_t i = 0; i < arguments.size(); i += 2) {
        const bool known = arguments[i] == "--out" || arguments[i] == "--scenarios";
        if (!known || i + 1 == arguments.size()) {
            const bool asked = arguments[i] == "--help";
            std::fputs(usage, asked ? stdout : stderr);
            return asked ? 0 : 2;
        }
        (arguments[i] == "--out" ? out : scenarios) = arguments[i + 1];
    }
    make_gallery(scenarios.empty() ? find_folder("simulator/scenarios") : scenarios,
                 out.empty() ? find_folder("docs/gallery") : out);
    return 0;
}

} // namespace desk
