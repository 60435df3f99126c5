// The keys of the live view: which key sends which command, and how they are shown to people. Doing what they mean
// is the view's part.
#pragma once

#include <string>
#include <vector>

namespace desk {

constexpr char key_quits = 'q';
constexpr char key_lists = '?';
// What time does; the first two as on the page.
constexpr char key_pauses = '.';
constexpr char key_steps = ',';
constexpr char key_steps_far = ';';
constexpr char key_faster = '+';
constexpr char key_slower = '-';

struct Key {
    char key;
    const char *send;  // the command with its arguments, as a scenario's "send" takes it
    std::string group; // of the vocabulary: "channel", "mode", ...
};

// In the order in which they are listed. The first call checks them and throws desk::Error when one of them
// sends nothing that the display understands.
const std::vector<Key> &keys();
// Null for a key that sends nothing.
const Key *key_of(char pressed);

// One or two lines: the keys by groups.
std::string compact_legend(int columns);
// Each key and what it sends.
std::string full_legend(int columns);

} // namespace desk
