// displayctl view in a terminal: that it fits, is drawn in place, follows the terminal's size, and leaves all as it
// was.
#include <csignal>

#include <gtest/gtest.h>

#include "support.h"
#include "support/terminal.h"

using namespace panel;
using namespace test_support;
using tools_test::displayctl_command;
using tools_test::Folder;
using tools_test::Words;

using Rows = std::vector<std::string>;

// Something in the layout's rows, nothing below, as on the device.
static Picture device_frame(unsigned seed = 1) {
    const std::string upper = tools_test::raw_of(tools_test::pattern({64, 66}, seed));
    return Picture::from_raw(upper + std::string(panel::raw_length(DEVICE_SIZE) - upper.size(), '\0'), DEVICE_SIZE);
}

static Rows lines_of(const Picture &frame, Style style, Place place) { return fitted(frame, style, place).lines; }

static Words view(const Words &arguments) {
    Words words{"view"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return displayctl_command(words);
}

class ViewInTerminal : public testing::Test {
protected:
    std::string write(const Picture &frame) const { return folder.write("fb0", tools_test::raw_of(frame)); }
    Folder folder;
};

// ---- Once ----

TEST_F(ViewInTerminal, FitsAndKeepsTheUpperRows) {
    const std::string path = write(device_frame());
    const struct {
        int rows;
        int columns;
        size_t lines;
        bool whole;
    } cases[] = {{24, 80, 23, true}, {60, 200, 59, true}, {35, 64, 34, true}, {12, 40, 10, false}, {70, 20, 32, false}};
    for (const auto &one : cases) {
        Terminal terminal(view({path}), {one.rows, one.columns});
        EXPECT_EQ(terminal.wait_for_end(), 0);
        const Rows lines = lines_of(device_frame(), Style::fitting, {one.rows - (one.whole ? 1 : 2), one.columns});
        EXPECT_EQ(lines.size(), one.lines) << one.rows;
        EXPECT_TRUE(terminal.screen().shows_rows(lines)) << terminal.screen().text();
        EXPECT_EQ(terminal.screen().scrolled(), 0) << one.rows;
        EXPECT_FALSE(terminal.screen().other_screen());
        EXPECT_EQ(terminal.screen().shows("(the upper left "), !one.whole) << one.rows;
    }
}

TEST_F(ViewInTerminal, IsBrightOnBlackUnlessColoursAreUnwanted) {
    const std::string path = write(device_frame());
    Terminal coloured(view({path}));
    EXPECT_EQ(coloured.wait_for_end(), 0);
    EXPECT_NE(coloured.written().find("\033[97;40m"), std::string::npos);
    Terminal plain(view({path}), {24, 80, {{"NO_COLOR", "1"}}});
    EXPECT_EQ(plain.wait_for_end(), 0);
    EXPECT_EQ(plain.written().find('\033'), std::string::npos) << plain.written();
    EXPECT_EQ(plain.screen().rows(), coloured.screen().rows());
}

TEST_F(ViewInTerminal, TheTerminalAndTheLocaleChooseAscii) {
    const std::string path = write(device_frame());
    const Rows coarse = lines_of(device_frame(), Style::ascii, {23, 80});
    for (const auto &environment : {std::map<std::string, std::string>{{"LC_ALL", "C"}}, {{"TERM", "dumb"}}}) {
        Terminal terminal(view({path}), {24, 80, environment});
        EXPECT_EQ(terminal.wait_for_end(), 0);
        EXPECT_TRUE(terminal.screen().shows_rows(coarse)) << terminal.screen().text();
        const bool dumb = environment.count("TERM") > 0;
        EXPECT_EQ(terminal.written().find('\033') == std::string::npos, dumb);
    }
    Terminal asked(view({"--braille", path}), {24, 80, {{"LC_ALL", "C"}}});
    EXPECT_EQ(asked.wait_for_end(), 0);
    EXPECT_TRUE(asked.screen().shows_rows(lines_of(device_frame(), Style::braille, {23, 80})));
}

TEST_F(ViewInTerminal, EachStyleCanBeAskedFor) {
    const std::string path = write(device_frame());
    const std::pair<const char *, Style> styles[] = {
        {"--blocks", Style::half_blocks}, {"--braille", Style::braille}, {"--ascii", Style::ascii}};
    for (const auto &[option, style] : styles) {
        Terminal terminal(view({option, path}), {70, 100});
        EXPECT_EQ(terminal.wait_for_end(), 0);
        EXPECT_TRUE(terminal.screen().shows_rows(lines_of(device_frame(), style, {69, 100}))) << option;
    }
}

// ---- Followed ----

TEST_F(ViewInTerminal, FollowsInPlaceAndPutsAllBack) {
    const std::string path = write(device_frame(1));
    Terminal terminal(view({"--follow", path}));
    const termios before = terminal.settings_before();
    for (unsigned seed = 1; seed < 5; seed++) {
        write(device_frame(seed));
        EXPECT_TRUE(terminal.shows_rows(lines_of(device_frame(seed), Style::fitting, {23, 80}))) << seed;
        EXPECT_EQ(terminal.screen().scrolled(), 0);
        EXPECT_TRUE(terminal.screen().other_screen());
        EXPECT_TRUE(terminal.screen().cursor_hidden());
        EXPECT_TRUE(terminal.shows("q ends  64x128  " + path));
    }
    EXPECT_FALSE(same_settings(terminal.settings(), before)) << "keys are echoed";
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_FALSE(terminal.screen().other_screen());
    EXPECT_FALSE(terminal.screen().cursor_hidden());
    EXPECT_TRUE(same_settings(terminal.settings(), before));
}

TEST_F(ViewInTerminal, EachWayOutPutsAllBack) {
    const std::string path = write(device_frame());
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Terminal terminal(view({"--follow", path}));
        const termios before = terminal.settings_before();
        ASSERT_TRUE(terminal.shows("q ends"));
        terminal.signal(number);
        EXPECT_EQ(terminal.wait_for_end(), 0) << number;
        EXPECT_FALSE(terminal.screen().other_screen()) << number;
        EXPECT_FALSE(terminal.screen().cursor_hidden()) << number;
        EXPECT_TRUE(same_settings(terminal.settings(), before)) << number;
    }
}

TEST_F(ViewInTerminal, AFailureIsToldOnTheFirstScreen) {
    const std::string path = write(device_frame());
    Terminal terminal(view({"--follow", path}));
    ASSERT_TRUE(terminal.shows("q ends"));
    unlink(path.c_str());
    EXPECT_EQ(terminal.wait_for_end(), 1);
    EXPECT_FALSE(terminal.screen().other_screen());
    EXPECT_TRUE(terminal.screen().shows("can't open it")) << terminal.screen().text();
}

TEST_F(ViewInTerminal, ANewSizeIsNoticed) {
    const std::string path = write(device_frame());
    Terminal terminal(view({"--follow", path}), {24, 80});
    ASSERT_TRUE(terminal.shows_rows(lines_of(device_frame(), Style::fitting, {23, 80})));
    for (const Place place : {Place{60, 200}, {12, 40}, {24, 80}}) {
        terminal.resize(place.lines, place.columns);
        const Rows lines = lines_of(device_frame(), Style::fitting, {place.lines - 1, place.columns});
        EXPECT_TRUE(terminal.shows_rows(lines)) << terminal.screen().text();
        EXPECT_TRUE(terminal.read_until([&] { return terminal.screen().rows().back().find("q ends") == 0; }));
        EXPECT_EQ(terminal.screen().scrolled(), 0);
    }
    EXPECT_FALSE(terminal.screen().shows("upper left"));
}

TEST_F(ViewInTerminal, TellsWhatIsNotSeen) {
    Terminal terminal(view({"--follow", write(device_frame())}), {12, 70});
    EXPECT_TRUE(terminal.shows("q ends  the upper left 64x44 of 64x128  /")) << terminal.screen().text();
}

TEST_F(ViewInTerminal, OnlyWhatHasChangedIsWritten) {
    const std::string path = write(device_frame());
    Terminal terminal(view({"--follow", path}));
    ASSERT_TRUE(terminal.shows("q ends"));
    Picture changed = device_frame();
    changed.set(0, 0, !changed.at(0, 0));
    terminal.forget();
    write(changed);
    ASSERT_TRUE(terminal.shows_rows(lines_of(changed, Style::fitting, {23, 80})));
    EXPECT_LT(terminal.written().size(), 200u) << "one line of 23";
    EXPECT_EQ(terminal.written().find("\033[2J"), std::string::npos) << "it flickers";
}

TEST_F(ViewInTerminal, CtrlZGivesTheTerminalBackUntilItGoesOn) {
    const std::string path = write(device_frame());
    Terminal terminal(view({"--follow", path}), {24, 80, {}, true});
    const Rows lines = lines_of(device_frame(), Style::fitting, {23, 80});
    for (int round = 0; round < 2; round++) {
        ASSERT_TRUE(terminal.shows_rows(lines)) << terminal.screen().text();
        ASSERT_EQ(terminal.stop_and_go_on(), "");
    }
    ASSERT_TRUE(terminal.shows_rows(lines));
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST_F(ViewInTerminal, AStreamIsFollowedAndItsLastPictureStays) {
    const std::string first = write(device_frame(1));
    const std::string second = folder.write("second", tools_test::raw_of(device_frame(2)));
    // The second frame comes when the file `go` is there.
    const std::string script =
        "(cat " + first + "; until [ -e " + folder.file("go") + " ]; do sleep 0.02; done; cat " + second + ") | \"$@\"";
    Words command{"/bin/sh", "-c", script, "sh"};
    for (const std::string &word : view({"--follow", "-"})) command.push_back(word);
    Terminal terminal(command);
    ASSERT_TRUE(terminal.shows_rows(lines_of(device_frame(1), Style::fitting, {23, 80})));
    EXPECT_TRUE(terminal.shows("Ctrl-C ends  64x128  standard input"));
    EXPECT_TRUE(terminal.screen().other_screen());
    folder.write("go", "");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_FALSE(terminal.screen().other_screen());
    EXPECT_TRUE(terminal.screen().shows_rows(lines_of(device_frame(2), Style::fitting, {23, 80})))
        << terminal.screen().text();
}

TEST_F(ViewInTerminal, ADumbTerminalGetsOnePictureAfterTheOther) {
    const std::string path = write(device_frame(1));
    Terminal terminal(view({"--follow", path}), {24, 80, {{"TERM", "dumb"}}});
    ASSERT_TRUE(terminal.shows_rows(lines_of(device_frame(1), Style::ascii, {23, 80})));
    write(device_frame(2));
    ASSERT_TRUE(terminal.shows_rows(lines_of(device_frame(2), Style::ascii, {23, 80})));
    EXPECT_EQ(terminal.written().find('\033'), std::string::npos);
    terminal.signal(SIGINT);
}

TEST_F(ViewInTerminal, TypedAheadKeysAreNotLeftToTheShell) {
    Terminal terminal(view({"--follow", write(device_frame())}));
    ASSERT_TRUE(terminal.shows("q ends"));
    terminal.type("q" + std::string(200, 'x') + "\nrm something\n");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_EQ(terminal.bytes_left_to_read(), 0);
}
