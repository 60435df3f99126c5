// The boxes by real signals: which command opens, closes or leaves them, and the firmware bar second by
// second.
#include "golden.h"
#include "support.h"

namespace end_to_end {

class Overlays : public DaemonTest {
protected:
    void SetUp() override { prepare_layout(); }

    // Lit pixels in the middle row of the firmware bar, 100 pixels wide with its two border pixels.
    int bar() { return desk().picture().part(13, 44, 100, 1).count_lit(); }
    // The firmware box's small text.
    panel::Picture type_text() { return desk().picture().part(8, 26, 112, 10); }

    void update(int32_t seconds, const std::string &type) { desk().send_and_settle("cd_update", {seconds, type}, 200); }
};

TEST_F(Overlays, BarFillsWithTheSeconds) {
    start();
    update(10, "TYPE");
    EXPECT_EQ(bar(), 2);
    const int64_t begin = desk().clock().now_us() / 1000;
    int last = bar();
    for (int second = 1; second <= 12; second++) {
        run_until(begin + second * 1000);
        EXPECT_GE(bar(), last);
        EXPECT_NEAR(bar(), std::min(second, 10) * 10, 12) << second << " seconds";
        last = bar();
    }
    EXPECT_EQ(bar(), 100);
}

// The bar's second runs on while no box is up: the first step waits only for what is left of it.
TEST_F(Overlays, FirstStepComesWhenTheSecondIsOver) {
    start();
    run_until(300);
    desk().send_and_settle("cd_update", {1, "TYPE"}, 150);
    EXPECT_EQ(bar(), 2);
    run_until(950);
    EXPECT_EQ(bar(), 2);
    run_until(1200);
    EXPECT_EQ(bar(), 100);
    command("clear_msg");
    run_until(5300);
    desk().send_and_settle("cd_update", {1, "TYPE"}, 150);
    EXPECT_EQ(bar(), 100) << "a second has long gone by since the last step";
}

TEST_F(Overlays, SecondUpdateRestartsTheBar) {
    start();
    update(10, "FIRST");
    desk().advance(20000);
    EXPECT_EQ(bar(), 100);
    const panel::Picture first = type_text();
    update(60, "OTHER");
    EXPECT_EQ(bar(), 2);
    EXPECT_NE(type_text(), first);
    desk().advance(30000);
    EXPECT_NEAR(bar(), 50, 4);
    command("clear_msg");
    EXPECT_FALSE(overlay_shown(desk())) << "there was one box only";
}

TEST_F(Overlays, CounterOutlivesTheBox) {
    start();
    update(10, "TYPE");
    desk().advance(5300);
    command("clear_msg");
    EXPECT_FALSE(overlay_shown(desk()));
    desk().advance(3000);
    desk().send_and_settle("M4_update", {}, 12);
    EXPECT_LE(bar(), 25) << "a fresh bar begins at its left end";
    desk().advance(1300);
    EXPECT_GE(bar(), 55) << "and jumps to the counter, which rests while no box is up";
    EXPECT_LE(bar(), 75);
}

TEST_F(Overlays, OddLengthsOfTheBar) {
    start();
    for (int32_t seconds : {0, -1, 1, 65536, 32768, -32768, 100000, 2147483647, -2147483647}) {
        update(seconds, "ODD");
        desk().advance(3000);
        EXPECT_TRUE(overlay_shown(desk())) << seconds;
    }
    command("clear_msg");
    EXPECT_FALSE(overlay_shown(desk()));
}

// A duration of no seconds empties the bar at once, whatever it does.
TEST_F(Overlays, NoDurationEmptiesTheBar) {
    for (const int64_t first : {60, 1040, 1090, 2500, 119500}) {
        prepare_layout();
        start();
        run_until(2000);
        desk().send_and_settle("cd_update", {120, "TYPE"}, first);
        desk().send_and_settle("cd_update", {0, "TYPE"}, 12);
        for (int tenths = 0; tenths < 300; tenths++) {
            ASSERT_EQ(bar(), 2) << first << " ms, then " << tenths * 10;
            desk().advance(10);
        }
    }
}

TEST_F(Overlays, UpdateWithoutItsArgumentsOpensNothing) {
    start();
    command("cd_update");
    command("cd_update", {30});
    desk().advance(3000);
    EXPECT_FALSE(overlay_shown(desk()));
}

TEST_F(Overlays, DoneAndErrorCloseTheFirmwareBox) {
    start();
    update(10, "TYPE");
    command("M4_done");
    EXPECT_FALSE(overlay_shown(desk()));
    EXPECT_EQ(shown_mode(desk()), "READY");
    update(10, "TYPE");
    command("M4_error");
    EXPECT_TRUE(overlay_shown(desk()));
    command("clear_msg");
    EXPECT_FALSE(overlay_shown(desk())) << "the firmware box went when the error came";
}

TEST_F(Overlays, ClearWithNothingUp) {
    start();
    run_until(2600);
    const panel::Picture before = desk().picture();
    for (int i = 0; i < 3; i++) desk().send_and_settle("clear_msg", {}, 20);
    EXPECT_EQ(desk().picture(), before);
}

TEST_F(Overlays, RowsLiveOnUnderTheBox) {
    start();
    run_until(2600);
    command("Reboot");
    command("chan_usb");
    command("REC_ON");
    command("clear_msg");
    EXPECT_EQ(shown_view(desk()), "usb");
    EXPECT_EQ(shown_mode(desk()), "REC ...");
}

TEST_F(Overlays, FirmwareOverErrorLeavesTheErrorBehind) {
    start();
    error_code("A12");
    const panel::Picture error = desk().picture().part(8, 8, 92, 46);
    update(10, "TYPE");
    EXPECT_NE(desk().picture().part(8, 8, 92, 46), error);
    command("clear_msg");
    EXPECT_EQ(desk().picture().part(8, 8, 92, 46), error);
    command("clear_msg");
    EXPECT_EQ(desk().picture().part(8, 8, 92, 46), error) << "nobody tracks it any more";
}

TEST_F(Overlays, LongAndShortCodesOfTheWords) {
    start();
    for (const char *code : {"W", "WIF", "CWIF", "wifi", "ERR"}) {
        error_code(code);
        EXPECT_TRUE(overlay_shown(desk())) << code;
        command("clear_msg");
        EXPECT_FALSE(overlay_shown(desk())) << code;
    }
}

TEST_F(Overlays, CodesAreCutAt128Bytes) {
    start();
    // 7 bytes of heading, so 120 bytes of the code fit.
    error_code(std::string(60, '\n') + std::string(60, 'M'));
    const panel::Picture cut = desk().picture();
    desk().send_and_settle("clear_msg");
    error_code(std::string(60, '\n') + std::string(60, 'M') + "OVERFLOWING");
    EXPECT_EQ(desk().picture().part(8, 8, 92, 46), cut.part(8, 8, 92, 46));
}

// On 64 columns the device shows the layout's left half, except for the USB box, which centres itself.
TEST(Goldens, DeviceShowsTheLeftHalf) {
    for (const char *name :
         {"start/start_screen", "start/icon_row", "views/view_vpn", "views/view_usb", "modes/mode_power_down",
          "modes/mode_rec_on", "start/production", "messages/overlay_reboot", "messages/overlay_error_short",
          "firmware/firmware_bar_half", "start/wifi_debug"}) {
        const panel::Picture device = golden(false, name);
        EXPECT_EQ(device.part(0, 0, 64, 66), golden(true, name).part(0, 0, 64, 66)) << name;
        EXPECT_EQ(device.part(0, 66, 64, 62).count_lit(), 0) << name << ": nothing lies below the layout";
    }
}

} // namespace end_to_end
