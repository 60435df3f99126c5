// The words themselves are nowhere but in app/vocabulary.def.
#include "client/vocabulary.h"

#include <algorithm>

#include "client/did_you_mean.h"

namespace client {

// ---- The table ----

// "i:seconds s:type": a type code and a name each.
static std::vector<Argument> parse_arguments(const std::string &text) {
    std::vector<Argument> arguments;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(' ', start), text.size());
        arguments.push_back({text[start], text.substr(start + 2, end - start - 2)});
        start = end + 1;
    }
    return arguments;
}

const std::vector<Word> &vocabulary() {
    static const std::vector<Word> words = {
#define DISPLAY_COMMAND(word, handler, arguments, group, meaning) {word, parse_arguments(arguments), group, meaning},
#include "app/vocabulary.def"
#undef DISPLAY_COMMAND
    };
    return words;
}

std::vector<std::string> vocabulary_groups() {
    std::vector<std::string> groups;
    for (const Word &word : vocabulary()) {
        if (std::find(groups.begin(), groups.end(), word.group) == groups.end()) groups.push_back(word.group);
    }
    return groups;
}

// Of ASCII only, whatever the locale.
static char upper_case(char letter) { return letter >= 'a' && letter <= 'z' ? char(letter - 'a' + 'A') : letter; }

std::string argument_names(const Word &word) {
    std::string names;
    for (const Argument &argument : word.arguments) {
        if (!names.empty()) names += ' ';
        for (char letter : argument.name) names += upper_case(letter);
    }
    return names;
}

// ---- Finding a word ----

const Word *acting_word(const std::string &text) {
    for (const Word &word : vocabulary()) {
        if (text.compare(0, word.word.size(), word.word) == 0) return &word;
    }
    return nullptr;
}

std::vector<std::string> likely_words(const std::string &text) {
    std::vector<std::string> words;
    for (const Word &word : vocabulary()) words.push_back(word.word);
    return likely_names(text, words);
}

} // namespace client
