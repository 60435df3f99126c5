// The pictures that a scenario expects: which files an "expect" means, and what their comment lines say to people.
#pragma once

#include <string>
#include <vector>

#include "panel/picture.h"
#include "simulator/scenario/scenario.h"
#include "simulator/scenario/stage.h"

namespace desk {

struct ExpectedFile {
    View view;
    std::string name; // from the scenario's folder on
};

// "expect NAME" means both panels, "expect NAME-layout.pbm" one. Nothing for any other action.
std::vector<ExpectedFile> expected_files(const Action &action);

// The comment lines that a picture's file has beside the one of every picture, without "# "; several are parted by
// line ends. One sentence of what the eye should see. "" for a file that is not there.
std::string picture_comment(const std::string &path);
// The text of such a file.
std::string expected_text(const panel::Picture &picture, const std::string &comment);
// Writes the picture with that comment, whole or not at all. Throws Error.
void save_expected(const std::string &path, const panel::Picture &picture, const std::string &comment);

} // namespace desk
