// See vocabulary.h. The words themselves are nowhere but in app/vocabulary.def.
#include "tools/vocabulary.h"

#include <algorithm>

namespace display_tools {

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
#define DISPLAY_COMMAND(word, handler, arguments, group, meaning) \
    {word, parse_arguments(arguments), group, meaning},
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
static char upper_case(char letter) {
    return letter >= 'a' && letter <= 'z' ? char(letter - 'a' + 'A') : letter;
}

static char lower_case(char letter) {
    return letter >= 'A' && letter <= 'Z' ? char(letter - 'A' + 'a') : letter;
}

std::string argument_names(const Word &word) {
    std::string names;
    for (const Argument &argument : word.arguments) {
        if (!names.empty()) names += ' ';
        for (char letter : argument.name) names += upper_case(letter);
    }
    return names;
}

// ---- Finding a word ----

static bool begins_with(const std::string &text, const std::string &beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

const Word *acting_word(const std::string &text) {
    for (const Word &word : vocabulary()) {
        if (begins_with(text, word.word)) return &word;
    }
    return nullptr;
}

static std::string lower_case(std::string text) {
    for (char &letter : text) letter = lower_case(letter);
    return text;
}

// How many letters must be added, dropped, changed or swapped with their neighbour to make `b` of `a`.
static size_t edit_distance(const std::string &a, const std::string &b) {
    std::vector<std::vector<size_t>> steps(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); i++) steps[i][0] = i;
    for (size_t j = 0; j <= b.size(); j++) steps[0][j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t change = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, change});
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
        }
    }
    return steps[a.size()][b.size()];
}

// All words at the smallest distance, unless even that is too far to be a slip of the finger.
static std::vector<const Word *> nearest_words(const std::string &wanted) {
    std::vector<const Word *> nearest;
    size_t smallest = std::max<size_t>(1, wanted.size() / 3);
    for (const Word &word : vocabulary()) {
        const size_t distance = edit_distance(wanted, lower_case(word.word));
        if (distance > smallest) continue;
        if (distance < smallest) nearest.clear();
        smallest = distance;
        nearest.push_back(&word);
    }
    return nearest;
}

std::vector<const Word *> likely_words(const std::string &text) {
    constexpr size_t longest_slip = 40; // nobody mistypes a word into a novel, and the search is quadratic
    if (text.empty() || text.size() > longest_slip) return {};
    const std::string wanted = lower_case(text);
    std::vector<const Word *> found = nearest_words(wanted);
    if (!found.empty()) return found;
    // "rj45": a beginning only.
    for (const Word &word : vocabulary()) {
        if (begins_with(lower_case(word.word), wanted)) found.push_back(&word);
    }
    return found;
}

} // namespace display_tools
