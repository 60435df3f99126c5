#include "simulator/page/page_json.h"

#include <algorithm>

#include "simulator/scenario/controls.h"
#include "simulator/scenario/scenario.h"
#include "client/vocabulary.h"

namespace desk {

using nlohmann::json;

static json word_json(const client::Word &word) {
    json arguments = json::array();
    for (const auto &argument : word.arguments) {
        arguments.push_back({{"name", argument.name}, {"type", std::string(1, argument.type)}});
    }
    return {{"word", word.word}, {"meaning", word.meaning}, {"arguments", arguments}};
}

json vocabulary_json() {
    json groups = json::array();
    for (const std::string &group : client::vocabulary_groups()) {
        json words = json::array();
        for (const auto &word : client::vocabulary()) {
            if (word.group == group) words.push_back(word_json(word));
        }
        groups.push_back({{"group", group}, {"words", words}});
    }
    return groups;
}

json commands_json() {
    json commands = json::array();
    for (const Command &command : scenario_commands()) {
        std::string meaning = command.meaning;
        meaning.erase(std::remove(meaning.begin(), meaning.end(), '`'), meaning.end());
        commands.push_back({{"name", command.name},
                            {"arguments", command.arguments},
                            {"meaning", meaning},
                            {"takesRest", command.takes_rest}});
    }
    return commands;
}

static json kind_json(const Switch &either) { return {{"kind", "switch"}, {"on", either.on}, {"off", either.off}}; }

static json kind_json(const Measure &measure) {
    const auto &[lowest, highest, step, first] = measure.slider;
    return {{"kind", "measure"}, {"unit", measure.unit},  {"present", measure.present},
            {"min", lowest},     {"max", highest},        {"step", step},
            {"first", first},    {"whole", measure.whole}};
}

static json kind_json(const Text &text) {
    return {{"kind", "text"},
            {"empty", text.takes_none ? none_word : ""},
            {"longest", text.longest},
            {"placeholder", text.placeholder},
            {"suggestion", text.suggestion}};
}

json controls_json() {
    json all = json::array();
    for (const Control &control : controls()) {
        json one = std::visit([](const auto &kind) { return kind_json(kind); }, control.kind);
        one.update({{"name", control.name}, {"group", control.group}, {"label", control.label}});
        all.push_back(one);
    }
    return all;
}

std::string one_line(const json &value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

} // namespace desk
