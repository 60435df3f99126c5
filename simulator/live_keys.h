// The keys of the live view: which key sends which command, how they are shown to people, and how the terminal
// hands them over. Sending what they mean is the live stage's part.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <termios.h>

namespace display_sim {

constexpr char key_quits = 'q';
constexpr char key_lists = '?';

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

// The terminal at standard input, in raw mode as long as this object lives: a key arrives without Enter and is
// not shown. Ctrl-C still ends; Ctrl-Z does nothing, for a stopped program can't put the terminal back. Without
// a terminal there are no keys.
class Keyboard {
public:
    Keyboard();
    ~Keyboard();
    Keyboard(const Keyboard &) = delete;
    Keyboard &operator=(const Keyboard &) = delete;

    bool present() const { return present_; }
    // The keys pressed since the last question, without arrow and function keys.
    std::string pressed() const;

private:
    bool present_ = false;
    termios before_ = {};
};

} // namespace display_sim
