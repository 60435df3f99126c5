// The display commands for people: app/vocabulary.def with its arguments taken apart, and the search for the
// word that somebody meant. Used by displayctl and by the simulator's page.
#pragma once

#include <string>
#include <vector>

namespace client {

/// One argument behind a word.
struct Argument {
    char type;        ///< D-Bus type code: 's' a string, 'i' a 32-bit integer
    std::string name; ///< "seconds"
};

struct Word {
    std::string word;
    std::vector<Argument> arguments;
    std::string group;   ///< "channel", "mode", ...
    std::string meaning; ///< one line for people
};

/// All words, in matching order.
const std::vector<Word> &vocabulary();

/// The groups, in the order in which the vocabulary first names them.
std::vector<std::string> vocabulary_groups();

/// The word as which the display acts on `text`: the one that `text` begins with, or null.
const Word *acting_word(const std::string &text);

/// The words that somebody who wrote `text` may have meant; see likely_names().
std::vector<std::string> likely_words(const std::string &text);

/// "SECONDS TYPE": how the arguments of a word are shown to people. Empty when there are none.
std::string argument_names(const Word &word);

} // namespace client
