#include "client/message.h"

#include <charconv>
#include <optional>

#include <dbus/dbus.h>

#include "client/did_you_mean.h"

namespace client {

static std::optional<int32_t> parse_integer(const std::string &text) {
    int32_t value = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stopped != end) return std::nullopt;
    return value;
}

// libdbus ends the whole process when it is handed a string that is not UTF-8.
static void require_utf8(const std::string &what, const std::string &text) {
    if (dbus_validate_utf8(text.c_str(), nullptr)) return;
    throw UsageError(what + " is not valid UTF-8, which the bus requires: retype it in a UTF-8 terminal");
}

static std::string count_of_arguments(size_t count) {
    if (count == 0) return "no argument";
    return std::to_string(count) + (count == 1 ? " argument" : " arguments");
}

static Value checked_argument(const Word &word, const Argument &argument, const std::string &text) {
    if (argument.type == 'i') {
        const auto value = parse_integer(text);
        if (value) return *value;
        throw UsageError("'" + text + "' can't be the " + argument.name + " of " + word.word +
                         ": give a whole number from -2147483648 to 2147483647");
    }
    require_utf8("the " + argument.name + " of " + word.word, text);
    return text;
}

static std::string unknown_word(const std::string &word) {
    const std::vector<std::string> likely = likely_words(word);
    return "unknown word '" + word + "': " +
           (likely.empty() ? "'displayctl words' lists what the display knows"
                           : "did you mean " + one_of(likely) + "?");
}

static std::string wrong_count(const Word &word, size_t given) {
    const size_t wanted = word.arguments.size();
    const std::string names = wanted == 0 ? "" : " (" + argument_names(word) + ")";
    return word.word + " takes " + count_of_arguments(wanted) + names + ", but " +
           (given == 0 ? "none" : std::to_string(given)) + (given > 1 ? " were" : " was") + " given";
}

Message checked_message(const std::string &word, const std::vector<std::string> &arguments) {
    require_utf8("the word", word);
    Message message{word, {}, acting_word(word)};
    if (message.acts_as == nullptr) throw UsageError(unknown_word(word));
    const Word &known = *message.acts_as;
    const size_t wanted = known.arguments.size();
    if (arguments.size() != wanted) throw UsageError(wrong_count(known, arguments.size()));
    for (size_t i = 0; i < wanted; i++) {
        message.arguments.push_back(checked_argument(known, known.arguments[i], arguments[i]));
    }
    return message;
}

static Value typed_argument(const std::string &text) {
    if (text.rfind("i:", 0) == 0) {
        const auto value = parse_integer(text.substr(2));
        if (value) return *value;
        throw UsageError("'" + text + "' is no whole number from -2147483648 to 2147483647: write 's:" + text +
                         "' to send it as text");
    }
    require_utf8("an argument", text);
    return text.rfind("s:", 0) == 0 ? text.substr(2) : text;
}

Message forced_message(const std::string &word, const std::vector<std::string> &arguments) {
    require_utf8("the word", word);
    Message message{word, {}, acting_word(word)};
    for (const std::string &text : arguments) message.arguments.push_back(typed_argument(text));
    return message;
}

} // namespace client
