// Any text as a scenario, and any line; what is taken is said again in a way that means the same.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <optional>
#include <string>

#include "simulator/scenario/scenario.h"

static void parse_line(const std::string &line) try {
    const std::optional<desk::Action> action = desk::parse_action(line);
    if (!action) return;
    std::string again = action->command->name;
    for (const std::string &word : action->words)
        again += " " + (action->command->takes_rest ? word : desk::quoted(word));
    const std::optional<desk::Action> same = desk::parse_action(again);
    if (!same || same->words != action->words || same->command != action->command) abort();
} catch (const desk::ScenarioError &) {
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    try {
        desk::parse_scenario(text, "any");
    } catch (const desk::ScenarioError &) {
    }
    parse_line(text.substr(0, text.find('\n')));
    return 0;
}
