// The controls of the box: what can be set while the daemons run, in one table. From it are made the commands of the
// scenario language that change the box, the page's controls and what the page tells of the box, the first lines of a
// recording, and the rows of docs/scenarios.md.
//
// A control speaks the language in both directions: it is set to a word ("12.4", "on", "none") and read back from the
// box's own files as such a word, so that a file changed by hand shows too.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "simulator/desk/box.h"

namespace desk {

// The word for a file that is not there, and for a tool that does not answer.
constexpr const char *none_word = "none";

// One of two words. The page draws a check box.
struct Switch {
    const char *on = "on";
    const char *off = "off";
};

// A number from `lowest` to `highest`, or none. The page draws a slider, a field, and a check box named `present` that
// is off for none.
struct Measure {
    const char *word; // for people: "VOLTS"
    double lowest, highest;
    bool whole;
    const char *unit;
    const char *present;
    struct {
        double lowest, highest, step, first;
    } slider;
};

// A word as it stands. The page draws a field; left empty it means none, where there is one.
struct Text {
    const char *word;
    bool takes_none;
    int longest; // on the page
    const char *placeholder = "";
    const char *suggestion = "";
};

// The word on its way into the box and out of it. What is set fits the control's kind. Both throw Error for what is no
// file, or none of the box.
struct Access {
    std::function<void(Box &, const std::string &word)> set;
    std::function<std::string(const Box &)> get;
};

struct Control {
    const char *name;    // as in the language
    std::string meaning; // one line for people, in Markdown
    const char *group;   // on the page
    const char *label;
    std::variant<Switch, Measure, Text> kind;
    Access access;
};
// In the order of the language and of the page; those of a group stand together.
const std::vector<Control> &controls();

// What it takes, for people: "on|off", "VOLTS|none".
std::string arguments_of(const Control &control);

// The word of each control, by its name; nothing for what can't be read.
using BoxReport = std::vector<std::pair<std::string, std::optional<std::string>>>;
BoxReport report_of(const Box &box);

} // namespace desk
