// Reading scenarios: words and quotes of a line, the command it names, and errors that say where and what
// else.
#include "simulator/scenario/scenario.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string_view>

#include "client/did_you_mean.h"
#include "client/vocabulary.h"

namespace desk {

static const char *const blanks = " \t\r";

static std::string trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/* ---- words and quotes ---- */

// The character that a backslash and `letter` stand for inside quotes.
static char unescaped(char letter) {
    if (letter == 'n') return '\n';
    if (letter == '"' || letter == '\\') return letter;
    throw ScenarioError(std::string("'\\") + letter + "' means nothing inside quotes; there are \\\", \\\\ and \\n");
}

// `place` stands on the opening quote and ends behind the closing one.
static std::string quoted_word(const std::string &line, size_t &place) {
    std::string word;
    for (place++; place < line.size() && line[place] != '"'; place++) {
        if (line[place] == '\\' && place + 1 < line.size()) {
            word += unescaped(line[++place]);
        } else {
            word += line[place];
        }
    }
    if (place >= line.size()) throw ScenarioError("a quote is opened and not closed");
    place++;
    if (place < line.size() && std::strchr(blanks, line[place]) == nullptr) {
        throw ScenarioError("a blank is missing after the closing quote");
    }
    return word;
}

static std::vector<std::string> split(const std::string &line) {
    std::vector<std::string> words;
    size_t place = line.find_first_not_of(blanks);
    while (place != std::string::npos && place < line.size()) {
        if (line[place] == '"') {
            words.push_back(quoted_word(line, place));
        } else {
            const size_t end = std::min(line.find_first_of(blanks, place), line.size());
            words.push_back(line.substr(place, end - place));
            place = end;
        }
        place = line.find_first_not_of(blanks, place);
    }
    return words;
}

std::string quoted(const std::string &word) {
    if (!word.empty() && word.find_first_of(" \t\r\n\"\\") == std::string::npos) return word;
    std::string text = "\"";
    for (char letter : word) {
        if (letter == '"' || letter == '\\') text += '\\';
        text += letter == '\n' ? std::string("\\n") : std::string(1, letter);
    }
    return text + "\"";
}

/* ---- commands ---- */

static std::string suggestion(const std::string &name) {
    if (client::acting_word(name) != nullptr) return "did you mean 'send " + name + "'?";
    std::vector<std::string> names;
    std::string all;
    for (const Command &command : scenario_commands()) {
        names.push_back(command.name);
        all += (all.empty() ? "" : ", ") + command.name;
    }
    const std::vector<std::string> likely = client::likely_names(name, names);
    return likely.empty() ? "there are " + all : "did you mean " + client::one_of(likely) + "?";
}

static const Command &command_named(const std::string &name) {
    for (const Command &command : scenario_commands()) {
        if (name == command.name) return command;
    }
    throw ScenarioError("'" + name + "' is no command; " + suggestion(name));
}

bool is(const Action &action, const char *command) { return action.command->name == command; }

bool tests_something(const Action &action) {
    const bool waits_for_time = is(action, "wait") && action.number > 0.0;
    return is(action, "expect") || (is(action, "wait") && !waits_for_time);
}

std::optional<Action> parse_action(const std::string &line) {
    const std::string text = trimmed(line);
    if (text.empty() || text[0] == '#') return std::nullopt;
    const size_t name_end = std::min(text.find_first_of(blanks), text.size());
    Action action;
    action.command = &command_named(text.substr(0, name_end));
    const std::string rest = trimmed(text.substr(name_end));
    if (!action.command->takes_rest) {
        action.words = split(rest);
    } else if (!rest.empty()) {
        action.words = {rest};
    }
    action.command->check(action);
    return action;
}

void perform(Stage &stage, const Action &action) {
    const Command &command = *action.command;
    if (!stage.started() && !command.prepares_box && !is(action, "start")) stage.start();
    if (command.perform) command.perform(stage, action);
}

void perform(Stage &stage, const std::string &line) {
    const std::optional<Action> action = parse_action(line);
    if (action) perform(stage, *action);
}

/* ---- files ---- */

// Some editors begin a file with it.
static constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";

// Two pictures of one name would leave only the later one.
static void refuse_second_picture(const Action &action, const std::vector<ScenarioLine> &before) {
    if (!is(action, "picture")) return;
    for (const ScenarioLine &line : before) {
        if (is(line.action, "picture") && line.action.text == action.text) {
            throw ScenarioError("line " + std::to_string(line.number) + " takes a picture '" + action.text +
                                "' already");
        }
    }
}

std::vector<ScenarioLine> parse_scenario(const std::string &text, const std::string &name) {
    const bool marked = text.compare(0, byte_order_mark.size(), byte_order_mark) == 0;
    std::vector<ScenarioLine> lines;
    std::istringstream stream(marked ? text.substr(byte_order_mark.size()) : text);
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        number++;
        try {
            const std::optional<Action> action = parse_action(line);
            if (!action) continue;
            refuse_second_picture(*action, lines);
            lines.push_back({number, trimmed(line), *action});
        } catch (const ScenarioError &problem) {
            throw ScenarioError(name + ":" + std::to_string(number) + ": " + problem.what());
        }
    }
    return lines;
}

std::vector<ScenarioLine> load_scenario(const std::string &path) {
    const bool piped = path == "-";
    const std::string name = piped ? "standard input" : path;
    std::ifstream file;
    if (!piped) file.open(path, std::ios::binary);
    std::istream &source = piped ? std::cin : file;
    std::ostringstream text;
    if (!source || !(text << source.rdbuf())) throw ScenarioError(name + ": can't read it, or it is empty");
    return parse_scenario(text.str(), name);
}

} // namespace desk
