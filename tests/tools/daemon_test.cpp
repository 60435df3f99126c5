// displayctl against the real daemon: what it sends arrives, and what it shows is what the daemon drew.
#include <gtest/gtest.h>

#include "simulator/desk/desk.h"
#include "support.h"

using namespace tools_test;

static int count_received(desk::Desk &desk, const std::string &word) {
    return desk.log().count("Got Signal with value " + word + "\n");
}

static Result send(desk::Desk &desk, Words arguments) {
    arguments.insert(arguments.begin(), {"send", "--wait", "--bus", desk.bus().address()});
    return displayctl(arguments);
}

TEST(Daemon, ReceivesWhatIsSent) {
    desk::Desk desk;
    desk.start();
    const Result result = send(desk, {"chan_bt"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(desk.advance_until([&] { return count_received(desk, "chan_bt") == 1; }, 100));
    EXPECT_TRUE(desk.alive());
}

TEST(Daemon, ReceivesArgumentsInTheirTypes) {
    desk::Desk desk;
    desk.start();
    EXPECT_EQ(send(desk, {"cd_update", "120", "Kernel"}).status, 0);
    EXPECT_TRUE(desk.advance_until([&] { return desk.log().count("fw type is: Kernel\n") == 1; }, 100));
    EXPECT_EQ(desk.log().count("time to 100/100 is: 120\n"), 1);
    EXPECT_TRUE(desk.alive());
}

TEST(Daemon, PanelIsShownAsDrawn) {
    desk::Options options;
    options.layout = true;
    desk::Desk desk(options);
    desk.start();
    desk.send_and_settle("chan_bt");
    const Folder folder;
    const Result result = displayctl({"view", "--pbm", folder.file("panel.pbm"), desk.panel().host_path()});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_GT(desk.picture().count_lit(), 0);
    EXPECT_EQ(panel::Picture::load_pbm(folder.file("panel.pbm")), desk.picture());
    EXPECT_TRUE(desk.alive());
}
