// display-sim live in a terminal: what it shows, its keys, and that it leaves nothing behind on any way out.
#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>
#include <poll.h>

#include "panel/drawing.h"
#include "panel/picture.h"

#include "support.h"
#include "support/terminal.h"

using namespace simulator_test;
using test_support::same_settings;

static const std::vector<std::string> nothing;

// The last thing on the screen: the drawing is complete.
static const char *const legend_end = "q ends";

// display-sim with these words.
class Simulator : public test_support::Terminal {
public:
    explicit Simulator(const std::vector<std::string> &words, const test_support::Setting &setting = {90, 150})
        : Terminal(command_of(words), setting) {}

private:
    static std::vector<std::string> command_of(std::vector<std::string> words) {
        words.insert(words.begin(), DISPLAY_SIM_BINARY);
        return words;
    }
};

static void expect_nothing_left(Simulator &terminal, const termios &before) {
    EXPECT_TRUE(same_settings(terminal.settings(), before)) << "the terminal's settings are not restored";
    EXPECT_FALSE(terminal.screen().other_screen());
    EXPECT_FALSE(terminal.screen().cursor_hidden());
    EXPECT_TRUE(terminal.left_no_process());
    EXPECT_EQ(terminal.left_files(), nothing);
}

// The panel of that view as a scenario plays it, some seconds after these lines.
static panel::Picture played(const std::string &lines, const std::string &view) {
    const Folder folder;
    const std::string scenario = folder.write("scenario.scenario", lines + "wait 2500ms\npicture a\n");
    EXPECT_EQ(display_sim({"play", scenario, "--out", folder.path()}).status, 0);
    return panel::Picture::from_pbm(folder.read("a-" + view + ".pbm"));
}

// Pixel rows as the terminal draws them; by default those of the connectivity row.
static std::vector<std::string> drawn_rows(const panel::Picture &panel, int from = 0, int count = 16,
                                           panel::Style style = panel::Style::half_blocks) {
    return panel::fitted(panel.part(0, from, panel.width(), count), style, panel::UNLIMITED).lines;
}

// The line of the screen that makes another terminal send here.
static std::string line_to_paste(const Simulator &terminal) {
    const std::string text = terminal.screen().text();
    const size_t begin = text.find("export DBUS_SYSTEM_BUS_ADDRESS=");
    return begin == std::string::npos ? "" : text.substr(begin, text.find('\n', begin) - begin);
}

// Runs a line in a shell that finds neither program by itself.
static int paste(const std::string &line) { return std::system(("PATH=/usr/bin:/bin; " + line).c_str()); }

// Its part up to the command.
static std::string settings_in(const std::string &line) { return line.substr(0, line.find("; ") + 2); }

TEST(Live, ShowsThePageAndALineThatSends) {
    const panel::Picture panel = played("send chan_bt\n", "device");
    Simulator terminal({});
    const termios before = terminal.settings_before();
    ASSERT_TRUE(terminal.shows(legend_end)) << terminal.screen().text();
    EXPECT_TRUE(terminal.screen().other_screen());
    EXPECT_TRUE(terminal.screen().cursor_hidden());
    EXPECT_TRUE(terminal.screen().shows("The page: http://127.0.0.1:"));
    const std::string line = line_to_paste(terminal);
    EXPECT_TRUE(contains(line, "displayctl send chan_bt")) << line;
    EXPECT_EQ(paste(line), 0) << line;
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel))) << terminal.screen().text();
    terminal.signal(SIGINT);
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

// The manuals' lines work as they stand in a terminal that has got the line.
TEST(Live, TheManualsLinesWorkInATerminalWithThatLine) {
    Simulator terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    const std::string settings = settings_in(line_to_paste(terminal));
    EXPECT_EQ(paste(settings + "displayctl send --wait cd_update 120 MAIN_FW"), 0);
    EXPECT_TRUE(terminal.shows(": cd_update 120 MAIN_FW"));
    EXPECT_EQ(paste(settings + "dbus-send --system --type=signal /zor/signal zor.signal.Type.Display string:chan_usb"),
              0);
    EXPECT_TRUE(terminal.shows(": chan_usb"));
    EXPECT_EQ(paste(settings + "display-sim --help >/dev/null"), 0);
}

TEST(Live, KeySendsACommandAndThePanelFollows) {
    const panel::Picture panel = played("send chan_bt\n", "device");
    Simulator terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    EXPECT_FALSE(terminal.screen().shows("The page:"));
    EXPECT_FALSE(terminal.screen().shows_rows(drawn_rows(panel)));
    terminal.type("b");
    EXPECT_TRUE(terminal.shows("Sent: chan_bt"));
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel))) << terminal.screen().text();
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST(Live, LayoutFollowsAKeyToo) {
    const panel::Picture panel = played("send chan_usb\n", "layout");
    Simulator terminal({"--layout", "--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("u");
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel))) << terminal.screen().text();
}

TEST(Live, CommandWithArgumentsArrives) {
    const panel::Picture panel = played("send Error_Code E12\n", "device");
    Simulator terminal({"--no-page", "--speed", "10"});
    ASSERT_TRUE(terminal.shows(legend_end));
    EXPECT_FALSE(terminal.screen().shows_rows(drawn_rows(panel, 16, 34)));
    terminal.type("e");
    EXPECT_TRUE(terminal.shows("Sent: Error_Code E12"));
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel, 16, 34))) << terminal.screen().text();
}

TEST(Live, QuestionMarkListsAllKeys) {
    Simulator terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("?");
    for (const char *entry : {"u chan_usb",
                              "b chan_bt",
                              "h chan_ap",
                              "s chan_sta",
                              "v chan_vpn",
                              "t chan_timeout",
                              "r M4_ready",
                              "c M4_COMM",
                              "j M4_J2534",
                              "n M4_none",
                              "o p_off",
                              "p p_on",
                              "e Error_Code E12",
                              "f cd_update 120 MAIN_FW",
                              "m clear_msg",
                              ". pause, go on",
                              ", pause, 100 ms on",
                              "; pause, 1 s on",
                              "+ faster",
                              "- slower"}) {
        EXPECT_TRUE(terminal.shows(entry)) << entry;
    }
    terminal.type("?");
    EXPECT_TRUE(terminal.read_until([&] { return !terminal.screen().shows("b chan_bt"); }));
    EXPECT_TRUE(terminal.shows(legend_end));
}

/* ---- the terminal's size ---- */

// What matters stays in view at any size: all of the panel if there is room, no line too many.
TEST(Live, FitsIntoEachTerminal) {
    const panel::Picture panel = played("", "device");
    const struct {
        int rows;
        int columns;
        panel::Style style;
        int pixel_rows; // of the panel that must be seen
    } cases[] = {
        {24, 80, panel::Style::braille, 64},
        {12, 40, panel::Style::braille, 44},
        {60, 200, panel::Style::half_blocks, 66},
        {90, 150, panel::Style::half_blocks, 66},
    };
    for (const auto &one : cases) {
        Simulator terminal({}, {one.rows, one.columns});
        // The mode row's icon moves: compared is what lies above it, and the row below as a place.
        const int still = std::min(one.pixel_rows, 48);
        EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel, 0, still, one.style))) << terminal.screen().text();
        EXPECT_TRUE(terminal.shows(legend_end)) << terminal.screen().text();
        EXPECT_EQ(terminal.screen().scrolled(), 0) << one.rows;
        EXPECT_TRUE(terminal.screen().other_screen());
        // How many rows it takes depends on the folders.
        const bool may_have_room = one.rows == 24;
        EXPECT_TRUE(may_have_room || terminal.screen().shows("export DBUS_SYSTEM_BUS_ADDRESS=") == (one.rows > 24))
            << one.rows;
        terminal.type("?");
        EXPECT_TRUE(terminal.shows("u chan_usb"));
        EXPECT_EQ(terminal.screen().scrolled(), 0) << "with all keys at " << one.rows;
    }
}

TEST(Live, ANewSizeIsNoticed) {
    const panel::Picture panel = played("", "device");
    Simulator terminal({"--no-page"}, {60, 200});
    ASSERT_TRUE(terminal.shows_rows(drawn_rows(panel, 0, 48)));
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.resize(24, 80);
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel, 0, 48, panel::Style::braille))) << terminal.screen().text();
    EXPECT_TRUE(terminal.shows(legend_end));
    terminal.resize(60, 200);
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel, 0, 48))) << terminal.screen().text();
}

TEST(Live, IsDrawnInTheStyleAskedFor) {
    const panel::Picture panel = played("", "layout");
    const std::pair<const char *, panel::Style> styles[] = {{"--blocks", panel::Style::half_blocks},
                                                            {"--braille", panel::Style::braille},
                                                            {"--ascii", panel::Style::ascii}};
    for (const auto &[option, style] : styles) {
        Simulator terminal({"--no-page", "--layout", option});
        EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel, 0, 48, style))) << option << terminal.screen().text();
    }
    Simulator plain({"--no-page", "--layout"}, {60, 140, {{"LC_ALL", "C"}, {"NO_COLOR", "1"}}});
    EXPECT_TRUE(plain.shows_rows(drawn_rows(panel, 0, 48, panel::Style::ascii))) << plain.screen().text();
    EXPECT_FALSE(plain.screen().coloured());
}

// Nothing moves at speed 0, so each question mark is all that may be written for.
TEST(Live, NothingIsDrawnAgainThatStandsThere) {
    Simulator terminal({"--no-page", "--speed", "0"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("?");
    ASSERT_TRUE(terminal.shows("u chan_usb"));
    terminal.type("?");
    ASSERT_TRUE(terminal.read_until([&] { return !terminal.screen().shows("u chan_usb"); }));
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.forget();
    for (int round = 0; round < 3; round++) { // a command each, which the status tells
        const std::string word = round == 1 ? "chan_usb" : "chan_bt";
        terminal.type(round == 1 ? "u" : "b");
        ASSERT_TRUE(terminal.shows("Sent: " + word));
    }
    EXPECT_LT(terminal.written().size(), 600u) << terminal.written();
    EXPECT_FALSE(contains(terminal.written(), "\033[2J")) << "it flickers";
}

/* ---- time ---- */

// At speed 0 the panel waits for a person.
TEST(Live, KeysDriveTheTime) {
    const panel::Picture panel = played("send chan_bt\n", "device");
    Simulator terminal({"--no-page", "--speed", "0"});
    ASSERT_TRUE(terminal.shows(legend_end));
    ASSERT_TRUE(terminal.shows("Stands still at 0.000 s"));
    terminal.type("b");
    EXPECT_TRUE(terminal.shows("Sent: chan_bt (the panel follows when time goes on)"));
    EXPECT_FALSE(terminal.screen().shows_rows(drawn_rows(panel)));
    terminal.type(",");
    EXPECT_TRUE(terminal.shows("Stands still at 0.100 s"));
    terminal.type(";");
    EXPECT_TRUE(terminal.shows("Stands still at 1.100 s"));
    EXPECT_TRUE(terminal.shows_rows(drawn_rows(panel))) << terminal.screen().text();
    terminal.type(".");
    EXPECT_TRUE(terminal.read_until([&] { return !terminal.screen().shows("Stands still"); })) << "it goes on";
    terminal.type(".");
    EXPECT_TRUE(terminal.shows("Stands still at"));
    EXPECT_FALSE(terminal.screen().shows("Stands still at 1.100 s")) << "it has gone on";
    terminal.type(".");
    EXPECT_TRUE(terminal.read_until([&] { return !terminal.screen().shows("Stands still"); }));
    terminal.type(",");
    EXPECT_TRUE(terminal.shows("Stands still at")) << "a step is the end of running";
}

TEST(Live, KeysChooseTheSpeed) {
    Simulator terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    EXPECT_FALSE(terminal.screen().shows("times as fast"));
    for (const char *speed : {"2", "5", "10", "20", "50", "100"}) {
        terminal.type("+");
        EXPECT_TRUE(terminal.shows(std::string("\n") + speed + " times as fast")) << speed;
    }
    terminal.type("+.");
    EXPECT_TRUE(terminal.shows("Stands still")) << "it was the fastest";
    terminal.type(".");
    EXPECT_TRUE(terminal.shows("\n100 times as fast")) << "as fast as before the pause";
    terminal.type("------");
    EXPECT_TRUE(terminal.read_until([&] { return !terminal.screen().shows("times as fast"); }));
    terminal.type("-");
    EXPECT_TRUE(terminal.shows("\n0.5 times as fast"));
    terminal.type("---");
    EXPECT_TRUE(terminal.shows("Stands still"));
    terminal.type("-+");
    EXPECT_TRUE(terminal.shows("\n0.1 times as fast"));
}

/* ---- others on the bus ---- */

TEST(Live, WhatOthersSendIsShown) {
    Simulator terminal({"--no-page", "--speed", "0"});
    ASSERT_TRUE(terminal.shows(legend_end));
    const std::string settings = settings_in(line_to_paste(terminal));
    ASSERT_EQ(paste(settings + "displayctl send cd_update 120 MAIN_FW"), 0);
    EXPECT_TRUE(terminal.shows("From :1.")) << terminal.screen().text();
    EXPECT_TRUE(terminal.shows(": cd_update 120 MAIN_FW (the panel follows")) << terminal.screen().text();
    ASSERT_EQ(paste(settings + "displayctl send --force '' i:-7"), 0);
    EXPECT_TRUE(terminal.shows(": \"\" -7 ("));
    ASSERT_EQ(paste(settings + "displayctl send Error_Code \"$(printf '\\033[2Jx\\na')\""), 0);
    EXPECT_TRUE(terminal.shows(": Error_Code ?[2Jx?a (")) << terminal.screen().text();
    ASSERT_EQ(paste(settings + "dbus-send --system --type=signal /a zor.signal.Type.Display double:1.5"), 0);
    EXPECT_TRUE(terminal.shows(": (d) ("));
    ASSERT_EQ(paste(settings + "dbus-send --system --type=signal /a zor.signal.Type.Display"), 0);
    EXPECT_TRUE(terminal.shows(": (no word) ("));
    ASSERT_EQ(paste(settings + "dbus-send --system --type=signal /a zor.other.Type.Display string:chan_sta"), 0);
    ASSERT_EQ(paste(settings + "displayctl send chan_bt"), 0);
    EXPECT_TRUE(terminal.shows(": chan_bt (the panel follows when time goes on)")) << "what is no command counts";
}

TEST(Live, ManyCommandsAtOnceAreCounted) {
    Simulator terminal({"--no-page", "--speed", "0"});
    ASSERT_TRUE(terminal.shows(legend_end));
    const std::string settings = settings_in(line_to_paste(terminal));
    ASSERT_EQ(paste(settings + "for i in 1 2 3 4 5 6 7 8; do displayctl send chan_bt & done; wait; "
                               "displayctl send chan_usb"),
              0);
    EXPECT_TRUE(terminal.shows(": chan_usb"));
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
}

/* ---- keys and ways out ---- */

TEST(Live, KeyIsTakenAtOnceAndNotEchoed) {
    Simulator terminal({"--no-page"});
    const termios before = terminal.settings_before();
    ASSERT_TRUE(terminal.shows(legend_end));
    const termios during = terminal.settings();
    EXPECT_EQ(during.c_lflag & static_cast<tcflag_t>(ECHO | ICANON), 0U);
    EXPECT_NE(during.c_lflag & static_cast<tcflag_t>(ISIG), 0U) << "Ctrl-C must keep its meaning";
    terminal.type("\003");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

TEST(Live, ArrowAndFunctionKeysSendNothing) {
    Simulator terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.forget();
    // The four arrows in both forms, Home and End in three, Ctrl-left, Delete, F5, the Linux console's F1, Alt-b.
    terminal.type(
        "\033[A\033[B\033[C\033[D\033OA\033OB\033OC\033OD\033[H\033[F\033OH\033OF\033[1~\033[4~"
        "\033[1;5D\033[3~\033[15~\033[[A\033b?");
    EXPECT_TRUE(terminal.shows("A REC_OFF")) << "the keys still work";
    EXPECT_FALSE(contains(terminal.written(), "Sent:")) << terminal.screen().text();
    EXPECT_FALSE(contains(terminal.written(), "From")) << terminal.screen().text();
    // One that comes letter by letter, as over a slow line.
    for (const char *piece : {"\033", "[", "D"}) terminal.type(piece);
    terminal.type("b");
    EXPECT_TRUE(terminal.shows("Sent: chan_bt"));
    EXPECT_FALSE(contains(terminal.written(), "DoIP_off (")) << terminal.screen().text();
    EXPECT_FALSE(contains(terminal.written(), "Sent: DoIP_off"));
}

TEST(Live, EachWayOutRestoresTheTerminal) {
    for (const int number : {SIGTERM, SIGHUP, SIGQUIT}) {
        Simulator terminal({"--layout"});
        const termios before = terminal.settings_before();
        ASSERT_TRUE(terminal.shows(legend_end));
        terminal.signal(number);
        EXPECT_EQ(terminal.wait_for_end(), 0) << number;
        expect_nothing_left(terminal, before);
    }
    Simulator terminal({"--layout"});
    const termios before = terminal.settings_before();
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

TEST(Live, CtrlZGivesTheTerminalBackUntilItGoesOn) {
    const panel::Picture panel = played("", "device");
    Simulator terminal({}, {60, 150, {}, true});
    const termios before = terminal.settings_before();
    for (int round = 0; round < 2; round++) {
        ASSERT_TRUE(terminal.shows_rows(drawn_rows(panel, 0, 48))) << terminal.screen().text();
        ASSERT_TRUE(terminal.shows(legend_end));
        ASSERT_EQ(terminal.stop_and_go_on(), "");
    }
    terminal.type("b");
    EXPECT_TRUE(terminal.shows("Sent: chan_bt")) << "the keys work again";
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

TEST(Live, TypedAheadKeysAreNotLeftToTheShell) {
    Simulator terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("q" + std::string(200, 'x') + "\nrm something\n");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_EQ(terminal.bytes_left_to_read(), 0);
}

// Nobody reads what it draws until it can draw no more, and then reads no keys either.
TEST(Live, ATerminalThatTakesNothingCanBeLeft) {
    Simulator terminal({"--no-page"}, {60, 200});
    ASSERT_TRUE(terminal.shows(legend_end));
    const auto is_read = [&] {
        poll(nullptr, 0, 20); // two turns of the simulator: each key is drawn for itself
        for (int pause = 0; pause < 500 && terminal.bytes_left_to_read() > 0; pause++) poll(nullptr, 0, 1);
        return terminal.bytes_left_to_read() == 0;
    };
    int keys = 0;
    do terminal.type("?");
    while (is_read() && ++keys < 1000);
    ASSERT_LT(keys, 1000) << "it never stops drawing";
    terminal.signal(SIGTERM);
    EXPECT_EQ(terminal.wait_for_end_unread(), 0);
}

TEST(Live, ADumbTerminalGetsTheDemo) {
    Simulator terminal({}, {24, 80, {{"TERM", "dumb"}}});
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_TRUE(
        contains(terminal.written(), "2. A phone connects by Bluetooth: chan_bt")); // it has scrolled away by now
    EXPECT_FALSE(contains(terminal.written(), "\033"));
    Simulator refused({"--no-page", "--speed", "10"}, {24, 80, {{"TERM", "dumb"}}});
    EXPECT_EQ(refused.wait_for_end(), 2);
    EXPECT_TRUE(refused.screen().shows("no terminal that can be drawn on")) << refused.screen().text();
}

TEST(Live, PageAloneLeavesTheTerminalAlone) {
    Simulator terminal({"--page"});
    const termios before = terminal.settings_before();
    ASSERT_TRUE(terminal.shows("The page: http://127.0.0.1:"));
    EXPECT_TRUE(same_settings(terminal.settings(), before));
    EXPECT_FALSE(contains(terminal.written(), "\033"));
    terminal.signal(SIGINT);
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_TRUE(terminal.left_no_process());
    EXPECT_EQ(terminal.left_files(), nothing);
}

/* ---- the demo in a terminal ---- */

// A line that wraps would show as a row that is full to the end and goes on in the next.
TEST(DemoInTerminal, LayoutFitsIntoTheColumns) {
    const panel::Picture panel = played("", "layout");
    const std::pair<int, panel::Style> cases[] = {{80, panel::Style::braille}, {140, panel::Style::half_blocks}};
    for (const auto &[columns, style] : cases) {
        Simulator terminal({"--demo", "--layout"}, {600, columns});
        EXPECT_EQ(terminal.wait_for_end(), 0);
        EXPECT_TRUE(terminal.screen().shows_rows(drawn_rows(panel, 0, 48, style))) << terminal.screen().text();
    }
    Simulator low({"--demo", "--layout"}, {24, 140});
    EXPECT_EQ(low.wait_for_end(), 0);
    EXPECT_TRUE(contains(low.written(), drawn_rows(panel, 0, 48, panel::Style::braille)[0])) << "the last picture fits";
}

TEST(DemoInTerminal, TellsWhereTheProgramsLie) {
    const std::string output = display_sim({"--demo"}).output;
    const size_t begin = output.find("export PATH=");
    ASSERT_NE(begin, std::string::npos) << output;
    const std::string line = output.substr(begin, output.find('\n', begin) - begin);
    EXPECT_EQ(paste(line + "; displayctl --version >/dev/null && display-sim --help >/dev/null"), 0) << line;
}
