// Scenarios: what happens to the display, as lines of text that a person writes by hand. This file owns the
// language (docs/scenarios.md): one line becomes an Action, and the table of commands says what each takes
// and does to the stage. The web page and the player speak these lines.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/scenario/stage.h"

namespace desk {

struct Command;

// A line that is no line of the language, or a file that is no scenario. what() begins with "FILE:LINE: "
// when the line came from a file.
class ScenarioError : public Error {
public:
    using Error::Error;
};

// One line, checked. Which fields mean something depends on the command.
struct Action {
    const Command *command = nullptr;
    std::vector<std::string> words;  // after the command, quotes taken off; rest-of-line texts are one word
    std::string text;                // send: the word; otherwise the text, name or setting
    std::vector<Argument> arguments; // send: the further arguments in their types
    Start start;                     // start
    double number = 0.0;             // milliseconds of a wait
};

// A command of the language.
struct Command {
    std::string name;
    std::string arguments;                     // for people: "VOLTS|none"
    std::string meaning;                       // one line for people, in Markdown
    bool prepares_box;                         // starts nothing: may come before the start
    bool takes_rest;                           // the rest of the line is one text
    std::function<void(Action &action)> check; // fills the action from its words; throws ScenarioError
    std::function<void(Stage &stage, const Action &action)> perform; // empty: the player's affair
};
// Those of the controls among them.
const std::vector<Command> &scenario_commands();

// One line. Nothing for an empty line or a comment. Throws ScenarioError.
std::optional<Action> parse_action(const std::string &line);
// True when the action is of that command: is(action, "note").
bool is(const Action &action, const char *command);
// True when the action can turn out otherwise than expected: an "expect", or a wait for more than a time.
bool tests_something(const Action &action);

// The wait that a "wait" asks for, for who lets it go on step by step: Stage::go_on().
Wait begin_wait(Stage &stage, const Action &action);
// Carries the action out. Lines that prepare the box start nothing; before any other the daemons are started as normal
// if nothing has started them yet. "picture", "expect" and "note" mean nothing here: they are the player's. Throws
// WaitFailed when a wait's limit passes.
void perform(Stage &stage, const Action &action);
// The same for a line; an empty one and a comment do nothing. Throws ScenarioError, too.
void perform(Stage &stage, const std::string &line);

constexpr int64_t longest_pause_ms = 24 * 3600 * 1000;

// A line of a scenario file that does something.
struct ScenarioLine {
    int number = 0;
    std::string text; // as written, without leading and trailing blanks
    Action action;
};
// All lines of a file, or of the standard input for "-", each checked. Throws ScenarioError for the first bad one.
std::vector<ScenarioLine> load_scenario(const std::string &path);
// The same from text; `name` stands before the line number in errors.
std::vector<ScenarioLine> parse_scenario(const std::string &text, const std::string &name);

// Quotes round a word where the language needs them: for whoever writes lines.
std::string quoted(const std::string &word);

} // namespace desk
