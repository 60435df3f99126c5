// What goes wrong with a picture or with the terminal that shows it, as a sentence for a person.
#pragma once

#include <stdexcept>

namespace panel {

/// what() says what failed and what to do.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace panel
