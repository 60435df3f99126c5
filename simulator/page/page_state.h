// What the page shows of the box, read from the box itself, so that a file changed by hand shows too. Each
// part of the box is given as the scenario command that makes it so: {"supply", "12.4"}, {"wifi", "up"},
// {"serial", "none"}. The page's controls, the recorder's first lines and a person's own lines all speak that
// language.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "simulator/desk/box.h"

namespace desk {

using BoxReport = std::vector<std::pair<std::string, std::string>>;

// Command and argument, in the order of the language; arguments are not quoted.
BoxReport report_of(const Box &box);

// The lines that make a box that reports `before` into one that reports `after`, ready for a scenario.
std::vector<std::string> lines_between(const BoxReport &before, const BoxReport &after);

// The vocabulary by groups, from its one table.
nlohmann::json vocabulary_json();
// The commands of the scenario language, for the free line.
nlohmann::json commands_json();

// JSON in one line. Bytes that are no UTF-8 are replaced: the daemon's log is anybody's text.
std::string one_line(const nlohmann::json &value);

} // namespace desk
