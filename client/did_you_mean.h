// What somebody meant who wrote a name that there is not.
#pragma once

#include <string>
#include <vector>

namespace client {

/// The names that somebody who wrote `text` may have meant, best first; several when they are equally near. Upper and
/// lower case count as the same here.
std::vector<std::string> likely_names(const std::string &text, const std::vector<std::string> &names);

/// "'a', 'b' or 'c'".
std::string one_of(const std::vector<std::string> &names);

} // namespace client
