#include "simulator/scenario/expected_picture.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "panel/files.h"

namespace desk {

std::vector<ExpectedFile> expected_files(const Action &action) {
    if (!is(action, "expect")) return {};
    const std::string &text = action.text;
    std::vector<ExpectedFile> files;
    for (View view : both_views) {
        const std::string ending = std::string("-") + name_of(view) + ".pbm";
        const bool named = text.size() > ending.size() && text.substr(text.size() - ending.size()) == ending;
        if (named) return {{view, text}};
        files.push_back({view, text + ending});
    }
    return files;
}

// The comment lines between a PBM's first line and its size.
static std::vector<std::string> head_comments(std::istream &pbm) {
    std::vector<std::string> lines;
    std::string line;
    std::getline(pbm, line);
    while (std::getline(pbm, line) && line.rfind('#', 0) == 0) lines.push_back(line);
    return lines;
}

std::string picture_comment(const std::string &path) {
    std::istringstream any_picture(panel::Picture(1, 1).to_pbm());
    const std::vector<std::string> of_every_picture = head_comments(any_picture);
    std::ifstream file(path);
    std::string comment;
    for (const std::string &line : head_comments(file)) {
        if (std::find(of_every_picture.begin(), of_every_picture.end(), line) != of_every_picture.end()) continue;
        const size_t text = line.find_first_not_of("# ");
        comment += (comment.empty() ? "" : "\n") + (text != std::string::npos ? line.substr(text) : "");
    }
    return comment;
}

std::string expected_text(const panel::Picture &picture, const std::string &comment) {
    std::istringstream lines(comment);
    std::string comments;
    for (std::string line; std::getline(lines, line);) comments += "# " + line + "\n";
    std::string text = picture.to_pbm();
    text.insert(text.find('\n') + 1, comments);
    return text;
}

void save_expected(const std::string &path, const panel::Picture &picture, const std::string &comment) {
    panel::save_bytes(path, expected_text(picture, comment));
}

} // namespace desk
