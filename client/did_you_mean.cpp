#include "client/did_you_mean.h"

#include <algorithm>

namespace client {

// Of ASCII only, whatever the locale.
static std::string lower_case(std::string text) {
    for (char &letter : text) {
        if (letter >= 'A' && letter <= 'Z') letter = char(letter - 'A' + 'a');
    }
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

std::vector<std::string> likely_names(const std::string &text, const std::vector<std::string> &names) {
    constexpr size_t longest_slip = 40; // nobody mistypes a name into a novel, and the search is quadratic
    if (text.empty() || text.size() > longest_slip) return {};
    const std::string wanted = lower_case(text);
    std::vector<std::string> found;
    // All at the smallest distance, unless even that is too far to be a slip of the finger.
    size_t smallest = std::max<size_t>(1, wanted.size() / 3);
    for (const std::string &name : names) {
        const size_t distance = edit_distance(wanted, lower_case(name));
        if (distance > smallest) continue;
        if (distance < smallest) found.clear();
        smallest = distance;
        found.push_back(name);
    }
    if (!found.empty()) return found;
    // "rj45": a beginning only.
    for (const std::string &name : names) {
        if (lower_case(name).compare(0, wanted.size(), wanted) == 0) found.push_back(name);
    }
    return found;
}

std::string one_of(const std::vector<std::string> &names) {
    std::string text;
    for (size_t i = 0; i < names.size(); i++) {
        if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
        text += "'" + names[i] + "'";
    }
    return text;
}

} // namespace client
