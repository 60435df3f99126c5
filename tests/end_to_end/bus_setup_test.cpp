// Coming onto the bus and losing it: both exits with status 1, the name that cannot be had, the bus that goes
// away.
#include <memory>

#include "golden.h"
#include "other_bus.h"
#include "support.h"

namespace end_to_end {

class BusSetup : public DaemonTest {
protected:
    // A desk whose daemon is told the address of a bus that the test starts in the box.
    void prepare_for_other_bus() {
        desk::Options options;
        options.no_bus = true;
        options.environment["DBUS_SYSTEM_BUS_ADDRESS"] = OtherBus::guest_address();
        prepare_layout(options);
    }

    // Starts a daemon that is to end by itself and expects status 1.
    void expect_exit() {
        expect_end();
        desk().launch();
        EXPECT_EQ(desk().wait_for_exit(), 1);
    }

    desk::LogLine last_line() { return desk().log().lines().back(); }
};

static bool matches(const std::string &text, const std::string &begin, const std::string &end) {
    return text.size() > begin.size() + end.size() && text.compare(0, begin.size(), begin) == 0 &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST_F(BusSetup, NoBus) {
    desk::Options options;
    options.no_bus = true;
    prepare(options);
    expect_exit();
    ASSERT_EQ(log_size(), 2u);
    EXPECT_EQ(log_texts()[0], "Listening for signals\n");
    EXPECT_TRUE(matches(last_line().text, "Connection Error (", ")\n")) << last_line().text;
    EXPECT_EQ(last_line().priority, LOG_ERR);
}

TEST_F(BusSetup, MatchRuleRefused) {
    prepare_for_other_bus();
    OtherBus bus(box(), "", "<limit name=\"max_match_rules_per_connection\">0</limit>");
    expect_exit();
    ASSERT_EQ(log_size(), 2u);
    EXPECT_TRUE(matches(last_line().text, "Match Error (", ")\n")) << last_line().text;
    EXPECT_EQ(last_line().priority, LOG_ERR);
}

TEST_F(BusSetup, NameDenied) {
    prepare_for_other_bus();
    OtherBus bus(box(), "<deny own=\"zor.signal.sink\"/>", "");
    start();
    ASSERT_EQ(log_size(), 3u);
    const desk::LogLine line = desk().log().lines()[1];
    EXPECT_TRUE(matches(line.text, "Name Error (", ",-1)\n")) << line.text;
    EXPECT_EQ(line.priority, LOG_ERR);
    EXPECT_EQ(last_line().text, "Match rule sent\n");
    bus.send("chan_usb");
    desk().advance(600);
    EXPECT_EQ(last_line().text, received("chan_usb"));
    EXPECT_EQ(shown_view(desk()), "usb");
}

TEST_F(BusSetup, OwnsItsName) {
    prepare();
    start();
    EXPECT_TRUE(desk().bus().name_has_owner("zor.signal.sink"));
}

TEST_F(BusSetup, NameOwnedByAnother) {
    prepare_layout();
    ASSERT_TRUE(desk().bus().claim_name("zor.signal.sink"));
    start();
    EXPECT_EQ(log_texts(), (std::vector<std::string>{"Listening for signals\n", "Match rule sent\n"}));
    command("chan_usb");
    EXPECT_EQ(shown_view(desk()), "usb");
}

TEST_F(BusSetup, NameTakenFromAnother) {
    prepare_layout();
    ASSERT_TRUE(desk().bus().claim_name("zor.signal.sink", DBUS_NAME_FLAG_ALLOW_REPLACEMENT));
    start();
    EXPECT_FALSE(desk().bus().claim_name("zor.signal.sink")) << "the daemon has replaced the owner before it";
    command("chan_usb");
    EXPECT_EQ(shown_view(desk()), "usb");
}

// The daemon waits in line for a name that it can't have yet.
TEST_F(BusSetup, NameComesWhenItsOwnerLeaves) {
    prepare();
    ASSERT_TRUE(desk().bus().claim_name("zor.signal.sink"));
    start();
    desk().bus().release_name("zor.signal.sink");
    EXPECT_TRUE(desk().bus().name_has_owner("zor.signal.sink"));
}

TEST_F(BusSetup, NameIsNotUpForReplacement) {
    prepare_layout();
    start();
    EXPECT_FALSE(desk().bus().claim_name("zor.signal.sink", DBUS_NAME_FLAG_REPLACE_EXISTING));
}

// Any message makes the daemon look for the warranty lock, so what does not reach it can be told.
TEST_F(BusSetup, SignalsOfOtherInterfacesAreNotAskedFor) {
    prepare_layout();
    start();
    command("M4_ready");
    box().set_warranty_lock(false);
    DBusMessage *foreign = dbus_message_new_signal("/zor/signal", "zor.signal.Other", "Display");
    desk().bus().send_message(foreign);
    dbus_message_unref(foreign);
    desk().advance(1200);
    EXPECT_EQ(shown_mode(desk()), "READY");
    DBusMessage *ours = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Other");
    desk().bus().send_message(ours);
    dbus_message_unref(ours);
    desk().advance(1200);
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY");
}

TEST_F(BusSetup, BusLost) {
    prepare_layout();
    start();
    command("chan_usb");
    const size_t lines = log_size();
    desk().bus().stop();
    desk().advance(5000);
    ASSERT_TRUE(desk().alive());
    EXPECT_EQ(log_size(), lines);
    EXPECT_EQ(shown_view(desk()), "usb");
    const panel::Picture before = desk().picture();
    box().set_supply_volts(13.7);
    box().set_firmware_type("FT_MAINAPP_J2534");
    desk().advance(1000);
    EXPECT_NE(desk().picture(), before) << "the tasks still draw";
    EXPECT_EQ(shown_mode(desk()), "PASSTHRU");
}

} // namespace end_to_end
