// A course of events for the model check: display commands, files and tools that change, and time. It is random, but
// made from a number alone, so that the number brings it back; and it can be written as a scenario.
#pragma once

#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "component/messages.h"

/// What the daemon finds in its box. A file or a tool that is not in the map is not there.
struct BoxContent {
    std::map<std::string, std::string> files; ///< path, and the bytes in it
    std::map<std::string, std::string> tools; ///< the command line as the shell gets it, and what it prints

    std::optional<std::string> file(const std::string &path) const;
    std::optional<std::string> tool(const std::string &command) const; ///< none: the shell can't be started
    bool has(const std::string &path) const { return files.count(path) != 0; }
};

struct Step {
    enum Kind {
        send,    ///< a display command lies in the bus, `word` and `arguments`; a pass takes one
        message, ///< no display command: `word` is another member, or "" for "Display" with `arguments` alone
        box,     ///< a control of the scenario language, `word`, set to `value`
        file,    ///< what the language has no word for: the file `word` holds `value`, or is gone
        tool,    ///< the tool with the command line `word` prints `value`, or can't be started
        start,   ///< the display starts on the screen `word`: "normal", "debug" or "production"
        elapse,  ///< `ms` milliseconds
    } kind;
    std::string word;
    std::optional<std::string> value;
    std::vector<Argument> arguments;
    uint32_t ms = 0;
};

/// Some steps that prepare the box, one start, and what happens then.
using Sequence = std::vector<Step>;

/// The sequence that belongs to the number.
Sequence random_sequence(uint64_t number);

/// What a box without files and with tools that print nothing becomes with a step of kind box, file or tool.
BoxContent empty_box();
void change(BoxContent &box, const Step &step);

/// The step as a line of the scenario language; a comment where the language has no word for it.
std::string scenario_line(const Step &step);
