// The emulated screen is what other tests believe, so it must be able to say no.
#include <gtest/gtest.h>

#include "support/screen.h"

using test_support::EmulatedScreen;

using Rows = std::vector<std::string>;

TEST(EmulatedScreen, ALineTooManyScrolls) {
    EmulatedScreen screen(3, 10);
    screen.take("a\r\nb\r\nc");
    EXPECT_EQ(screen.rows(), (Rows{"a", "b", "c"}));
    EXPECT_EQ(screen.scrolled(), 0);
    screen.take("\r\n");
    EXPECT_EQ(screen.scrolled(), 1);
    EXPECT_EQ(screen.rows(), (Rows{"b", "c", ""}));
}

TEST(EmulatedScreen, ALineTooLongTakesTwoRows) {
    EmulatedScreen screen(2, 4);
    screen.take("abcd");
    EXPECT_EQ(screen.rows(), (Rows{"abcd", ""})) << "a full line does not wrap yet";
    screen.take("ef");
    EXPECT_EQ(screen.rows(), (Rows{"abcd", "ef"}));
    EXPECT_TRUE(screen.shows("abcdef"));
    screen.take("ghi");
    EXPECT_EQ(screen.scrolled(), 1);
}

TEST(EmulatedScreen, ErasesAndMoves) {
    EmulatedScreen screen(3, 4);
    screen.take("abcd\033[2;1Hefgh\033[3;2Hx\033[1;3H\033[K\033[2;1H\033[2Ky");
    EXPECT_EQ(screen.rows(), (Rows{"ab", "y", " x"}));
    screen.take("\033[1;1Habcd\033[K");
    EXPECT_EQ(screen.rows()[0], "abc") << "erasing behind a full line takes its last character";
    screen.take("\033[2;1H\033[J");
    EXPECT_EQ(screen.rows(), (Rows{"abc", "", ""}));
    screen.take("\033[9;9Hz");
    EXPECT_EQ(screen.rows()[2], "   z") << "a place outside is the nearest inside";
}

TEST(EmulatedScreen, HasTwoScreens) {
    EmulatedScreen screen(2, 4);
    screen.take("ab\033[?1049h\033[?25lcd");
    EXPECT_TRUE(screen.other_screen());
    EXPECT_TRUE(screen.cursor_hidden());
    EXPECT_FALSE(screen.shows("ab"));
    screen.take("\033[?25h\033[?1049l");
    EXPECT_TRUE(screen.shows("ab"));
    EXPECT_FALSE(screen.shows("cd"));
    screen.take("ef");
    EXPECT_TRUE(screen.shows("abef")) << "the cursor is where it was";
}

TEST(EmulatedScreen, FindsRowsOneBelowTheOther) {
    EmulatedScreen screen(3, 4);
    screen.take("x\r\n\u2580 a\r\n\u2584");
    EXPECT_TRUE(screen.shows_rows({"\u2580 a ", "\u2584   "}));
    EXPECT_FALSE(screen.shows_rows({"x", "\u2584"}));
}

TEST(EmulatedScreen, RefusesWhatItDoesNotKnow) {
    for (const char *bytes : {"\033[5n", "\033[1K", "\033[?7l", "\0337", "\a", "\t"}) {
        EmulatedScreen screen(3, 4);
        EXPECT_ANY_THROW(screen.take(bytes)) << bytes + 1;
    }
}
