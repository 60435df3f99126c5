// What a terminal can show by what its environment says, foreign text on it, and keys among its sequences.
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "panel/terminal.h"

using namespace panel;

class Looks : public testing::Test {
protected:
    Looks() {
        openpty(&master_, &terminal_, nullptr, nullptr, nullptr);
        for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG", "NO_COLOR"}) unsetenv(name);
        setenv("TERM", "xterm", 1);
        setenv("LANG", "en_US.UTF-8", 1);
    }
    ~Looks() override {
        close(master_);
        close(terminal_);
    }
    int master_ = -1;
    int terminal_ = -1;
};

TEST_F(Looks, ATerminalHasColoursAndIsDrawnInPlace) {
    const Look look = look_for(terminal_, std::nullopt);
    EXPECT_TRUE(look.in_place);
    EXPECT_TRUE(look.colours);
    EXPECT_EQ(look.style, Style::fitting);
    EXPECT_EQ(dressed("x", look), "\033[97;40mx\033[0m") << "lit is bright on any terminal";
}

TEST_F(Looks, WhatIsNoTerminalHasNeither) {
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    const Look look = look_for(pipes[1], std::nullopt);
    EXPECT_FALSE(look.in_place);
    EXPECT_FALSE(look.colours);
    EXPECT_EQ(look.style, Style::fitting);
    EXPECT_EQ(dressed("x", look), "x");
    EXPECT_TRUE(place_of(pipes[1]) == UNLIMITED);
    close(pipes[0]);
    close(pipes[1]);
}

TEST_F(Looks, NoColorLeavesOnlyTheColoursOut) {
    setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(look_for(terminal_, std::nullopt).colours);
    EXPECT_TRUE(look_for(terminal_, std::nullopt).in_place);
    EXPECT_EQ(look_for(terminal_, std::nullopt).style, Style::fitting);
    setenv("NO_COLOR", "", 1);
    EXPECT_TRUE(look_for(terminal_, std::nullopt).colours) << "an empty one counts as none";
}

TEST_F(Looks, ADumbTerminalGetsLettersAlone) {
    setenv("TERM", "dumb", 1);
    const Look look = look_for(terminal_, std::nullopt);
    EXPECT_FALSE(look.in_place);
    EXPECT_FALSE(look.colours);
    EXPECT_EQ(look.style, Style::ascii);
    EXPECT_EQ(look_for(terminal_, Style::braille).style, Style::braille);
}

TEST_F(Looks, TheLocalesNameDecides) {
    const auto style_in = [this](const char *all, const char *type, const char *language) {
        setenv("LC_ALL", all, 1);
        setenv("LC_CTYPE", type, 1);
        setenv("LANG", language, 1);
        return look_for(terminal_, std::nullopt).style;
    };
    EXPECT_EQ(style_in("", "", "C"), Style::ascii);
    EXPECT_EQ(style_in("", "", ""), Style::ascii);
    EXPECT_EQ(style_in("", "", "de_DE@euro"), Style::ascii);
    EXPECT_EQ(style_in("", "", "C.utf8"), Style::fitting);
    EXPECT_EQ(style_in("", "de_DE.UTF-8", "C"), Style::fitting);
    EXPECT_EQ(style_in("", "C", "de_DE.UTF-8"), Style::ascii);
    EXPECT_EQ(style_in("C", "de_DE.UTF-8", "de_DE.UTF-8"), Style::ascii);
    EXPECT_EQ(style_in("C.UTF-8", "C", "C"), Style::fitting);
    EXPECT_EQ(style_in("C", "C", "C"), Style::ascii);
}

TEST_F(Looks, TheTerminalTellsItsSize) {
    EXPECT_TRUE(place_of(terminal_) == (Place{24, 80})) << "one that does not tell";
    const winsize size = {12, 40, 0, 0};
    ioctl(master_, TIOCSWINSZ, &size);
    EXPECT_TRUE(place_of(terminal_) == (Place{12, 40}));
}

/* ---- foreign text ---- */

TEST_F(Looks, ForeignTextIsMadeHarmless) {
    EXPECT_EQ(printable("chan_bt 5", 80), "chan_bt 5");
    EXPECT_EQ(printable("a\033[2Jb\nc\x7f", 80), "a?[2Jb?c?");
    EXPECT_EQ(printable("\xc2\x9b"
                        "31m",
                        80),
              "?31m")
        << "a control character of two bytes";
    EXPECT_EQ(printable("Gr\xc3\xb6\xc3\x9f"
                        "e",
                        80),
              "Größe");
    EXPECT_EQ(printable("cut \xe2\x82", 80), "cut ??");
    EXPECT_EQ(printable("\xff\x80x", 80), "??x");
    EXPECT_EQ(printable("chan_bt", 4), "chan");
    EXPECT_EQ(printable("öö", 1), "ö");
    EXPECT_EQ(printable("chan_bt", 0), "");
    setenv("LANG", "C", 1);
    EXPECT_EQ(printable("Größe", 80), "Gr??e");
}

TEST_F(Looks, WideLettersNeverPassTheEnd) {
    EXPECT_EQ(printable("電電電", 5), "電電");
    EXPECT_EQ(printable("電", 1), "");
}

/* ---- keys ---- */

TEST(Keys, SequencesAreNoKeys) {
    for (const char *sequence :
         {"\033[A",    "\033[B",   "\033[C",   "\033[D",    "\033OA",    "\033OD",  // arrows
          "\033[H",    "\033[F",   "\033OH",   "\033OF",    "\033[1~",   "\033[4~", // Home and End
          "\033[2~",   "\033[3~",  "\033[5~",  "\033[6~",   "\033[1;5D",            // Insert to Page Down
          "\033OP",    "\033[15~", "\033[24~", "\033[[A",   "\033[[E",              // F1 to F12
          "\033[200~", "\033[Z",   "\033b",    "\033\033[D"}) {
        KeyFilter filter;
        EXPECT_EQ(filter.keys_in(sequence), "") << sequence + 1;
        EXPECT_EQ(filter.keys_in("d"), "d") << "behind " << sequence + 1;
        KeyFilter together;
        EXPECT_EQ(together.keys_in("a" + std::string(sequence) + "D?"), "aD?") << sequence + 1;
    }
}

TEST(Keys, ASequenceMayComeInPieces) {
    KeyFilter filter;
    EXPECT_EQ(filter.keys_in("\033"), "");
    EXPECT_EQ(filter.keys_in("["), "");
    EXPECT_EQ(filter.keys_in("1;5"), "");
    EXPECT_EQ(filter.keys_in("Db"), "b");
}

TEST(Keys, EscapeAloneSwallowsNoLaterKey) {
    KeyFilter filter;
    EXPECT_EQ(filter.keys_in("\033"), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(250)); // the pause is what is tested
    EXPECT_EQ(filter.keys_in("b"), "b");
}
