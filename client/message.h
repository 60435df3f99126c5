// From what somebody typed to what goes on the bus: the arguments of a display command, checked. Throws
// UsageError with advice for a person. Used by displayctl and by the simulator's page.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "client/vocabulary.h"

namespace client {

/// What the person typed can't be sent; what() says why and what to do.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One argument on the bus: STRING or INT32.
using Value = std::variant<std::string, int32_t>;

/// A display command ready to be sent.
struct Message {
    std::string word;
    std::vector<Value> arguments;
    const Word *acts_as = nullptr; ///< null only when the display does not know the word
};

/// A word of the vocabulary (or one that begins with such a word) with exactly its arguments.
Message checked_message(const std::string &word, const std::vector<std::string> &arguments);

/// Any word with any arguments: "i:5" is the integer 5, "s:5" and everything else a string.
Message forced_message(const std::string &word, const std::vector<std::string> &arguments);

} // namespace client
