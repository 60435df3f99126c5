// The tables that the page is drawn from, as JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace desk {

// The vocabulary by groups, from its one table.
nlohmann::json vocabulary_json();
// The commands of the scenario language, for the free line.
nlohmann::json commands_json();
// The controls of the box, with what each looks like.
nlohmann::json controls_json();

// JSON in one line. Bytes that are no UTF-8 are replaced: the daemon's log is anybody's text.
std::string one_line(const nlohmann::json &value);

} // namespace desk
