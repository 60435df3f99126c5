// The one home of the vocabulary: exactly the words of the model, in matching order, none a prefix of another, and
// what tools read from it beside the words.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "model.h"

struct Entry {
    std::string word, handler, arguments, group, meaning;
};

static const std::vector<Entry> VOCABULARY = {
#define DISPLAY_COMMAND(word, handler, arguments, group, meaning) {word, #handler, arguments, group, meaning},
#include "app/vocabulary.def"
#undef DISPLAY_COMMAND
};

TEST(Vocabulary, HoldsTheWordsInMatchingOrder) {
    std::vector<std::string> words;
    for (const Entry &entry : VOCABULARY) words.push_back(entry.word);
    EXPECT_EQ(words, ALL_WORDS);
}

TEST(Vocabulary, NoWordIsAPrefixOfAnother) {
    for (const Entry &one : VOCABULARY) {
        for (const Entry &other : VOCABULARY) {
            if (&one == &other) continue;
            EXPECT_NE(other.word.compare(0, one.word.size(), one.word), 0) << one.word << ", " << other.word;
        }
    }
}

TEST(Vocabulary, OnlyTwoWordsTakeArguments) {
    for (const Entry &entry : VOCABULARY) {
        if (entry.word == "Error_Code") {
            EXPECT_EQ(entry.arguments, "s:code");
        } else if (entry.word == "cd_update") {
            EXPECT_EQ(entry.arguments, "i:seconds s:type");
        } else {
            EXPECT_EQ(entry.arguments, "") << entry.word;
        }
    }
}

TEST(Vocabulary, EachWordIsExplainedAndGrouped) {
    const std::set<std::string> groups = {"channel", "mode", "overlay", "firmware"};
    for (const Entry &entry : VOCABULARY) {
        EXPECT_EQ(groups.count(entry.group), 1u) << entry.word << ": " << entry.group;
        EXPECT_FALSE(entry.meaning.empty()) << entry.word;
        EXPECT_EQ(entry.meaning.find('\n'), std::string::npos) << entry.word << ": one line";
    }
}
