// display-sim live in a terminal: what it shows, its keys, and that it leaves nothing behind on any way out.
#include <algorithm>
#include <csignal>

#include <gtest/gtest.h>

#include "simulator/picture.h"

#include "support.h"
#include "terminal.h"

using namespace simulator_test;

static const std::vector<std::string> nothing;
static const char *const other_screen = "\033[?1049h";
static const char *const first_screen = "\033[?1049l";

// The last thing on the screen: the first drawing is complete.
static const char *const legend_end = "q ends";

static void expect_nothing_left(Terminal &terminal, const termios &before) {
    EXPECT_TRUE(same_settings(terminal.settings(), before)) << "the terminal's settings are not restored";
    EXPECT_TRUE(contains(terminal.written(), first_screen)) << "the other screen is still up";
    EXPECT_TRUE(contains(terminal.written(), "\033[?25h")) << "the cursor is still hidden";
    EXPECT_TRUE(terminal.left_no_process());
    EXPECT_EQ(terminal.left_files(), nothing);
}

// The panel of that view as a scenario plays it, some seconds after these lines.
static desk::Picture played(const std::string &lines, const std::string &view) {
    const Folder folder;
    const std::string story = folder.write("story.scenario", lines + "wait 2500ms\npicture a\n");
    EXPECT_EQ(display_sim({"play", story, "--out", folder.path()}).status, 0);
    return desk::Picture::from_pbm(folder.read("a-" + view + ".pbm"));
}

// Pixel rows as the terminal draws them; by default those of the connectivity row.
static std::string drawn_rows(const desk::Picture &panel, int from = 0, int count = 16) {
    std::string drawn = panel.part(0, from, panel.width(), count).to_half_blocks();
    for (size_t at = 0; (at = drawn.find('\n', at)) != std::string::npos; at += 2) drawn.insert(at, "\r");
    return drawn;
}

TEST(Live, ShowsThePageAndTheLineThatSends) {
    Terminal terminal({});
    const termios before = terminal.settings();
    ASSERT_TRUE(terminal.shows(legend_end)) << terminal.written();
    EXPECT_TRUE(contains(terminal.written(), other_screen));
    EXPECT_TRUE(contains(terminal.written(), "The page: http://127.0.0.1:"));
    EXPECT_TRUE(contains(terminal.written(), "dbus-send --bus=unix:path="));
    EXPECT_TRUE(contains(terminal.written(), "/zor/signal zor.signal.Type.Display string:chan_bt"));
    terminal.signal(SIGINT);
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

TEST(Live, KeySendsACommandAndThePanelFollows) {
    const desk::Picture panel = played("send chan_bt\n", "device");
    Terminal terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    EXPECT_FALSE(contains(terminal.written(), "The page:"));
    EXPECT_FALSE(contains(terminal.written(), drawn_rows(panel)));
    terminal.forget();
    terminal.type("b");
    EXPECT_TRUE(terminal.shows("Sent: chan_bt"));
    EXPECT_TRUE(terminal.shows(drawn_rows(panel))) << terminal.written();
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST(Live, LayoutFollowsAKeyToo) {
    const desk::Picture panel = played("send chan_usb\n", "layout");
    Terminal terminal({"--layout", "--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("u");
    EXPECT_TRUE(terminal.shows(drawn_rows(panel))) << terminal.written();
}

TEST(Live, CommandWithArgumentsArrives) {
    const desk::Picture panel = played("send Error_Code E12\n", "device");
    Terminal terminal({"--no-page", "--speed", "10"});
    ASSERT_TRUE(terminal.shows(legend_end));
    EXPECT_FALSE(contains(terminal.written(), drawn_rows(panel, 16, 34)));
    terminal.type("e");
    EXPECT_TRUE(terminal.shows("Sent: Error_Code E12"));
    EXPECT_TRUE(terminal.shows(drawn_rows(panel, 16, 34))) << terminal.written();
}

TEST(Live, QuestionMarkListsAllKeys) {
    Terminal terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.forget();
    terminal.type("?");
    ASSERT_TRUE(terminal.shows(legend_end));
    for (const char *entry : {"u chan_usb", "b chan_bt", "h chan_ap", "s chan_sta", "v chan_vpn",
                              "t chan_timeout", "r M4_ready", "c M4_COMM", "j M4_J2534", "n M4_none",
                              "o p_off", "p p_on", "e Error_Code E12", "f cd_update 120 MAIN_FW",
                              "m clear_msg"}) {
        EXPECT_TRUE(contains(terminal.written(), entry)) << entry;
    }
    terminal.forget();
    terminal.type("?");
    EXPECT_TRUE(terminal.shows(legend_end));
    EXPECT_FALSE(contains(terminal.written(), "b chan_bt"));
}

TEST(Live, LowTerminalDoesNotScroll) {
    Terminal terminal({"--no-page"}, 24, 80);
    ASSERT_TRUE(terminal.shows(legend_end));
    const std::string &written = terminal.written();
    const size_t begin = written.find("\033[H");
    const std::string screen = written.substr(begin, written.find(legend_end) - begin);
    EXPECT_LT(std::count(screen.begin(), screen.end(), '\n'), 24);
}

TEST(Live, KeyIsTakenAtOnceAndNotEchoed) {
    Terminal terminal({"--no-page"});
    const termios before = terminal.settings();
    ASSERT_TRUE(terminal.shows(legend_end));
    const termios during = terminal.settings();
    EXPECT_EQ(during.c_lflag & static_cast<tcflag_t>(ECHO | ICANON), 0U);
    EXPECT_NE(during.c_lflag & static_cast<tcflag_t>(ISIG), 0U) << "Ctrl-C must keep its meaning";
    terminal.type("\003");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

TEST(Live, ArrowAndFunctionKeysSendNothing) {
    Terminal terminal({"--no-page"});
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.forget();
    terminal.type("\033[A\033OD\033[1;5D\033[3~\033b?"); // up, left, Ctrl-left, Delete, Alt-b
    EXPECT_TRUE(terminal.shows("A REC_OFF")) << "the keys still work";
    EXPECT_FALSE(contains(terminal.written(), "Sent:")) << terminal.written();
}

TEST(Live, EachWayOutRestoresTheTerminal) {
    for (const int number : {SIGTERM, SIGHUP, SIGQUIT}) {
        Terminal terminal({"--layout"});
        const termios before = terminal.settings();
        ASSERT_TRUE(terminal.shows(legend_end));
        terminal.signal(number);
        EXPECT_EQ(terminal.wait_for_end(), 0) << number;
        expect_nothing_left(terminal, before);
    }
    Terminal terminal({"--layout"});
    const termios before = terminal.settings();
    ASSERT_TRUE(terminal.shows(legend_end));
    terminal.type("q");
    EXPECT_EQ(terminal.wait_for_end(), 0);
    expect_nothing_left(terminal, before);
}

TEST(Live, PageAloneLeavesTheTerminalAlone) {
    Terminal terminal({"--page"});
    const termios before = terminal.settings();
    ASSERT_TRUE(terminal.shows("The page: http://127.0.0.1:"));
    EXPECT_TRUE(same_settings(terminal.settings(), before));
    EXPECT_FALSE(contains(terminal.written(), other_screen));
    terminal.signal(SIGINT);
    EXPECT_EQ(terminal.wait_for_end(), 0);
    EXPECT_TRUE(terminal.left_no_process());
    EXPECT_EQ(terminal.left_files(), nothing);
}
