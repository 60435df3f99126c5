// displayctl words: the vocabulary for people (text), for the documentation (Markdown, which docs/commands.md
// holds) and for programs (JSON).
#include <algorithm>
#include <cstdio>

#include "tools/commands.h"
#include "tools/errors.h"
#include "tools/options.h"
#include "client/vocabulary.h"

namespace displayctl {

using namespace client;

static constexpr char HELP[] =
    R"(Usage: displayctl words [--markdown | --json]

Lists the words that the display acts on, with their arguments and meanings, by group.

  --markdown  as the tables of docs/commands.md
  --json      as an array of objects with "word", "group", "arguments" and "meaning", in matching order
  --help, -h  this text

Exit status: 0 listed, 1 standard output could not be written, 2 the command line is wrong.
)";

static const char *type_name(char type) { return type == 'i' ? "INT32" : "STRING"; }

static std::string title(std::string group) {
    if (group[0] >= 'a' && group[0] <= 'z') group[0] = char(group[0] - 'a' + 'A');
    return group;
}

static std::string call_of(const Word &word) {
    return word.arguments.empty() ? word.word : word.word + " " + argument_names(word);
}

// ---- Text ----

static std::string as_text() {
    size_t width = 0;
    for (const Word &word : vocabulary()) width = std::max(width, call_of(word).size());
    std::string text;
    for (const std::string &group : vocabulary_groups()) {
        text += (text.empty() ? "" : "\n") + title(group) + "\n";
        for (const Word &word : vocabulary()) {
            if (word.group != group) continue;
            std::string call = call_of(word);
            call.resize(width, ' ');
            text += "  " + call + "  " + word.meaning + "\n";
        }
    }
    return text;
}

// ---- Markdown ----

static constexpr char MARKDOWN_HEAD[] =
    R"(# Display commands

<!-- Made from app/vocabulary.def by `displayctl words --markdown`; the target commands-doc renews it. -->

A display command is the D-Bus signal `Display` of the interface `zor.signal.Type` on the system bus. Its
first argument is one of the words below, as a string; further arguments follow where the table names them.
The sender's object path does not matter.

Words are matched by their beginning and case-sensitively: `Check_Ignition` acts as `Check_Igni`. Anything
else is ignored. To try one: `displayctl send WORD [ARGUMENT...]`.
)";

static std::string escape_cell(const std::string &text) {
    std::string cell;
    for (char letter : text) cell += letter == '|' ? std::string("\\|") : std::string(1, letter);
    return cell;
}

static std::string argument_cell(const Word &word) {
    std::string cell;
    for (const Argument &argument : word.arguments) {
        cell += (cell.empty() ? "" : ", ") + argument.name + " (" + type_name(argument.type) + ")";
    }
    return cell.empty() ? "none" : cell;
}

static std::string as_markdown() {
    std::string text = MARKDOWN_HEAD;
    for (const std::string &group : vocabulary_groups()) {
        text += "\n## " + title(group) + "\n\n| Word | Arguments | Meaning |\n|---|---|---|\n";
        for (const Word &word : vocabulary()) {
            if (word.group != group) continue;
            text += "| `" + word.word + "` | " + argument_cell(word) + " | " + escape_cell(word.meaning) + " |\n";
        }
    }
    return text;
}

// ---- JSON ----

// The vocabulary is one line of printable text a field; only quotes and backslashes need care.
static std::string quoted(const std::string &text) {
    std::string result = "\"";
    for (char letter : text) {
        if (letter == '"' || letter == '\\') result += '\\';
        result += letter;
    }
    return result + "\"";
}

static std::string json_arguments(const Word &word) {
    std::string text;
    for (const Argument &argument : word.arguments) {
        text += (text.empty() ? "" : ", ") + ("{\"type\": " + quoted(std::string(1, argument.type))) +
                ", \"name\": " + quoted(argument.name) + "}";
    }
    return "[" + text + "]";
}

static std::string as_json() {
    std::string text;
    for (const Word &word : vocabulary()) {
        text += (text.empty() ? "" : ",\n") + ("  {\"word\": " + quoted(word.word)) +
                ", \"group\": " + quoted(word.group) + ", \"arguments\": " + json_arguments(word) +
                ", \"meaning\": " + quoted(word.meaning) + "}";
    }
    return "[\n" + text + "\n]\n";
}

// ---- The command ----

static std::string text_in_form(int form) {
    switch (form) {
        case 'h': return HELP;
        case 'm': return as_markdown();
        case 'j': return as_json();
        default: return as_text();
    }
}

int words_command(int argc, char **argv) {
    static const option table[] = {{"help", no_argument, nullptr, 'h'},
                                   {"markdown", no_argument, nullptr, 'm'},
                                   {"json", no_argument, nullptr, 'j'},
                                   {nullptr, 0, nullptr, 0}};
    int form = 't';
    Options options(argc, argv, table);
    for (int found; (found = options.next()) != -1;) {
        const bool both = (form == 'm' && found == 'j') || (form == 'j' && found == 'm');
        if (both) throw UsageError("give either --markdown or --json, not both");
        if (form != 'h') form = found;
    }
    const auto operands = options.operands();
    if (!operands.empty()) throw UsageError("words takes no arguments: leave '" + operands[0] + "' out");
    fputs(text_in_form(form).c_str(), stdout);
    return 0;
}

} // namespace displayctl
