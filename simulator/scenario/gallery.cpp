// Reading the goldens, drawing them enlarged and writing the page.
#include "simulator/scenario/gallery.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "simulator/desk/error.h"
#include "simulator/scenario/apng.h"
#include "simulator/scenario/gallery_table.h"

namespace desk {

namespace fs = std::filesystem;

static constexpr int gallery_scale = 4;

static const char *const usage =
    "usage: display-sim gallery [--out DIR] [--goldens DIR]\n"
    "  --out DIR      where the page goes; docs/gallery of the project otherwise\n"
    "  --goldens DIR  the golden panels; tests/goldens of the project otherwise\n";

static const char *const heading =
    "# Gallery\n"
    "\n"
    "All that the panel shows, in the layout's 128 x 66 pixels and on the device's 64 x 128. Made by\n"
    "`display-sim gallery` from the golden panels of the tests, so it is what the daemon draws.\n";

// A golden panel: the same picture in both registrations, and what the eye should see.
struct Golden {
    Picture device;
    Picture layout;
    std::string eye;
};
using Goldens = std::map<std::string, Golden>;

// The first comment line is the golden's own; the one of every picture follows it.
static std::string sentence_for_the_eye(const fs::path &file) {
    std::ifstream text(file);
    std::string line;
    std::getline(text, line);
    std::getline(text, line);
    return line.rfind("# ", 0) == 0 ? line.substr(2) : "";
}

static Goldens load_goldens(const fs::path &folder) {
    Goldens goldens;
    for (const auto &item : fs::directory_iterator(folder / "layout")) {
        if (item.path().extension() != ".pbm") continue;
        const fs::path device = folder / "device" / item.path().filename();
        goldens[item.path().stem().string()] = {Picture::load_pbm(device.string()),
                                                Picture::load_pbm(item.path().string()),
                                                sentence_for_the_eye(item.path())};
    }
    if (goldens.empty()) throw Error("no golden panels in " + folder.string());
    return goldens;
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

static std::string image(const char *view, const std::string &name, int width) {
    return "<img src=\"" + std::string(view) + "/" + name + ".png\" width=\"" + std::to_string(width) +
           "\" alt=\"" + name + "\">";
}

static std::string row(const std::string &name, const std::string &how, const Golden &golden) {
    return "| " + how + " | " + image("layout", name, golden.layout.width() * 2) + " | " +
           image("device", name, golden.device.width() * 2) + " | " + as_cell(golden.eye) + " |\n";
}

static const char *const table_head = "\n| how | layout | device | to be seen |\n|---|---|---|---|\n";

static std::string section_text(const GallerySection &section, const Goldens &goldens,
                                std::set<std::string> &shown) {
    std::string text = "\n## " + std::string(section.title) + "\n\n" + section.introduction + "\n" +
                       table_head;
    for (const GalleryEntry &entry : section.entries) {
        const auto golden = goldens.find(entry.golden);
        if (golden == goldens.end()) {
            throw Error("the gallery shows a golden panel that there is not: " + std::string(entry.golden));
        }
        text += row(entry.golden, entry.how, golden->second);
        shown.insert(entry.golden);
    }
    return text;
}

// The others by name alone: what could go wrong at the edges.
static std::string rest_text(const Goldens &goldens, const std::set<std::string> &shown) {
    std::string text;
    for (const auto &[name, golden] : goldens) {
        std::string words = name;
        for (char &letter : words) letter = letter == '_' ? ' ' : letter;
        if (shown.count(name) == 0) text += row(name, words, golden);
    }
    return text.empty()
               ? ""
               : "\n## At the edges\n\nRare combinations that the tests watch.\n" + (table_head + text);
}

static std::string page(const Goldens &goldens) {
    std::string text = heading;
    std::set<std::string> shown;
    for (const GallerySection &section : gallery_sections()) text += section_text(section, goldens, shown);
    return text + rest_text(goldens, shown);
}

/* ---- files ---- */

static void remove_others(const fs::path &folder, const Goldens &goldens) {
    for (const auto &item : fs::directory_iterator(folder)) {
        if (item.path().extension() == ".png" && goldens.count(item.path().stem().string()) == 0) {
            fs::remove(item.path());
        }
    }
}

void make_gallery(const std::string &goldens_folder, const std::string &out) {
    const Goldens goldens = load_goldens(goldens_folder);
    const std::string text = page(goldens);
    for (const char *view : {"device", "layout"}) {
        fs::create_directories(fs::path(out) / view);
        remove_others(fs::path(out) / view, goldens);
    }
    for (const auto &[name, golden] : goldens) {
        save_bytes(out + "/device/" + name + ".png", to_png(golden.device, gallery_scale));
        save_bytes(out + "/layout/" + name + ".png", to_png(golden.layout, gallery_scale));
    }
    save_bytes(out + "/README.md", text);
    std::printf("%s: %zu pictures in two registrations and README.md\n", out.c_str(), goldens.size());
}

int gallery_command(const std::vector<std::string> &arguments) {
    std::string goldens = PROJECT_FOLDER "/tests/goldens";
    std::string out = PROJECT_FOLDER "/docs/gallery";
    for (size_t i = 0; i < arguments.size(); i += 2) {
        const bool known = arguments[i] == "--out" || arguments[i] == "--goldens";
        if (!known || i + 1 == arguments.size()) {
            const bool asked = arguments[i] == "--help";
            std::fputs(usage, asked ? stdout : stderr);
            return asked ? 0 : 2;
        }
        (arguments[i] == "--out" ? out : goldens) = arguments[i + 1];
    }
    make_gallery(goldens, out);
    return 0;
}

} // namespace desk
