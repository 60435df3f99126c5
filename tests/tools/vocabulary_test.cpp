// The vocabulary for people: the words, the search for a misspelt one, the lists, and that docs/commands.md
// is no older than app/vocabulary.def.
#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "support.h"
#include "client/vocabulary.h"

using namespace client;
using namespace tools_test;

static const Word &word_named(const std::string &name) {
    for (const Word &word : vocabulary()) {
        if (word.word == name) return word;
    }
    throw std::runtime_error("no word " + name);
}

static std::string types_of(const Word &word) {
    std::string types;
    for (const Argument &argument : word.arguments) types += argument.type;
    return types;
}

static bool suggested(const std::string &text, const std::string &word) {
    const std::vector<std::string> likely = likely_words(text);
    return std::find(likely.begin(), likely.end(), word) != likely.end();
}

TEST(Vocabulary, HasTheDaemonsWordsInTheirOrder) {
    const std::vector<std::string> of_the_daemon = {
#define DISPLAY_COMMAND(word, handler, arguments, group, meaning) word,
#include "app/vocabulary.def"
#undef DISPLAY_COMMAND
    };
    std::vector<std::string> ours;
    for (const Word &word : vocabulary()) ours.push_back(word.word);
    EXPECT_EQ(ours, of_the_daemon);
    EXPECT_EQ(std::set<std::string>(ours.begin(), ours.end()).size(), ours.size());
}

TEST(Vocabulary, OnlyTwoWordsTakeArguments) {
    for (const Word &word : vocabulary()) {
        const std::string wanted = word.word == "Error_Code" ? "s" : word.word == "cd_update" ? "is" : "";
        EXPECT_EQ(types_of(word), wanted) << word.word;
    }
    EXPECT_EQ(argument_names(word_named("cd_update")), "SECONDS TYPE");
}

TEST(Vocabulary, EachWordHasGroupAndMeaning) {
    const auto groups = vocabulary_groups();
    for (const Word &word : vocabulary()) {
        EXPECT_EQ(std::count(groups.begin(), groups.end(), word.group), 1) << word.word;
        EXPECT_FALSE(word.meaning.empty()) << word.word;
    }
}

TEST(Vocabulary, WordsActByTheirBeginningAndCase) {
    EXPECT_EQ(acting_word("Check_Igni"), &word_named("Check_Igni"));
    EXPECT_EQ(acting_word("Check_Ignition"), &word_named("Check_Igni"));
    EXPECT_EQ(acting_word("Check_Ign"), nullptr);
    EXPECT_EQ(acting_word("check_igni"), nullptr);
    EXPECT_EQ(acting_word(""), nullptr);
    EXPECT_EQ(acting_word(" chan_bt"), nullptr);
}

// ---- Suggestions: each word, with each single slip that does not make it act all the same ----

static void expect_suggestion(const std::string &typed, const Word &word) {
    if (acting_word(typed) != nullptr) return;
    EXPECT_TRUE(suggested(typed, word.word)) << typed << " for " << word.word;
}

TEST(Suggestions, ALetterLeftOut) {
    for (const Word &word : vocabulary()) {
        for (size_t i = 0; i < word.word.size(); i++) {
            std::string typed = word.word;
            expect_suggestion(typed.erase(i, 1), word);
        }
    }
}

TEST(Suggestions, ALetterTooMany) {
    for (const Word &word : vocabulary()) {
        for (size_t i = 0; i <= word.word.size(); i++) {
            std::string typed = word.word;
            expect_suggestion(typed.insert(i, "q"), word);
        }
    }
}

TEST(Suggestions, AWrongLetter) {
    for (const Word &word : vocabulary()) {
        for (size_t i = 0; i < word.word.size(); i++) {
            std::string typed = word.word;
            typed[i] = 'q';
            expect_suggestion(typed, word);
        }
    }
}

TEST(Suggestions, TwoLettersSwapped) {
    for (const Word &word : vocabulary()) {
        for (size_t i = 1; i < word.word.size(); i++) {
            std::string typed = word.word;
            std::swap(typed[i - 1], typed[i]);
            expect_suggestion(typed, word);
        }
    }
}

TEST(Suggestions, WrongCaseNamesTheOneWord) {
    for (const Word &word : vocabulary()) {
        std::string typed = word.word;
        for (char &letter : typed) letter = char(isupper(letter) ? tolower(letter) : toupper(letter));
        const auto likely = likely_words(typed);
        ASSERT_EQ(likely.size(), 1u) << typed;
        EXPECT_EQ(likely[0], word.word);
    }
}

TEST(Suggestions, ABeginningNamesWhatItMayBecome) {
    EXPECT_TRUE(suggested("rj45", "rj45_pt_enable"));
    EXPECT_TRUE(suggested("rj45", "rj45_pt_disable"));
    EXPECT_FALSE(suggested("rj45", "Reboot"));
}

TEST(Suggestions, NothingForNonsense) {
    EXPECT_TRUE(likely_words("").empty());
    EXPECT_TRUE(likely_words("xyzzy_plugh").empty());
    EXPECT_TRUE(likely_words(std::string(100000, 'a')).empty());
}

// ---- The lists ----

TEST(Words, TextShowsEachWordWithItsMeaning) {
    const Result result = displayctl({"words"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    for (const Word &word : vocabulary()) {
        EXPECT_NE(result.output.find("  " + word.word + " "), std::string::npos) << word.word;
        EXPECT_NE(result.output.find("  " + word.meaning + "\n"), std::string::npos) << word.word;
    }
    EXPECT_NE(result.output.find("cd_update SECONDS TYPE"), std::string::npos);
}

TEST(Words, JsonIsReadByAnotherProgram) {
    const Result json = displayctl({"words", "--json"});
    ASSERT_EQ(json.status, 0);
    const std::string script =
        "import json, sys\n"
        "for w in json.load(sys.stdin):\n"
        "    print(w['word'], w['group'], ','.join(a['type'] + ':' + a['name'] for a in w['arguments']),"
        " w['meaning'], sep='|')\n";
    const Result read = run({PYTHON, "-c", script}, json.output);
    std::string wanted;
    for (const Word &word : vocabulary()) {
        std::string arguments;
        for (const Argument &argument : word.arguments) {
            arguments += (arguments.empty() ? "" : ",") + std::string(1, argument.type) + ":" + argument.name;
        }
        wanted += word.word + "|" + word.group + "|" + arguments + "|" + word.meaning + "\n";
    }
    EXPECT_EQ(read.output, wanted) << read.errors;
}

TEST(Words, CommandsDocumentIsUpToDate) {
    const Result result = displayctl({"words", "--markdown"});
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(read_file(TEST_SOURCE_DIR "/docs/commands.md"), result.output)
        << "docs/commands.md is older than app/vocabulary.def: build the target commands-doc and commit it.";
}

TEST(Words, WrongOptionsAreUsageErrors) {
    EXPECT_EQ(displayctl({"words", "--json", "--markdown"}).status, 2);
    EXPECT_EQ(displayctl({"words", "chan_bt"}).status, 2);
    EXPECT_EQ(displayctl({"words", "--yaml"}).status, 2);
}
