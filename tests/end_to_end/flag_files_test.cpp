// Files that steer the daemon: when each is looked at, and that start-up's choices are made once.
#include "golden.h"
#include "support.h"

namespace end_to_end {

class FlagFiles : public DaemonTest {
protected:
    void SetUp() override { prepare_layout(); }
};

// ---- The warranty lock

TEST_F(FlagFiles, MissingLockIsNoticedAtTheBusesOwnWelcome) {
    box().set_warranty_lock(false);
    start();
    run_until(450);
    EXPECT_EQ(shown_mode(desk()), "AUTOCHECK...");
    run_until(600);
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY") << "NameAcquired is a message like any other";
}

TEST_F(FlagFiles, RemovedLockWaitsForTheNextMessage) {
    start();
    command("M4_ready");
    EXPECT_EQ(shown_mode(desk()), "READY");
    box().set_warranty_lock(false);
    desk().advance(3000);
    EXPECT_EQ(shown_mode(desk()), "READY") << "nobody has sent anything yet";
    command("an unknown word");
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY");
}

TEST_F(FlagFiles, CreatedLockWaitsForTheNextMessage) {
    box().set_warranty_lock(false);
    start();
    run_until(600);
    box().set_warranty_lock(true);
    command("M4_ready");
    EXPECT_EQ(shown_mode(desk()), "READY");
    box().set_warranty_lock(false);
    command("M4_ready");
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY");
    box().set_warranty_lock(true);
    desk().advance(3000);
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY") << "nobody has sent anything yet";
}

TEST_F(FlagFiles, AnyMessageRefreshesTheLock) {
    start();
    box().set_warranty_lock(false);
    DBusMessage *call = dbus_message_new_method_call("zor.signal.sink", "/", "zor.signal.Type", "Nothing");
    desk().bus().send_message(call);
    dbus_message_unref(call);
    desk().advance(600);
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY");
}

// ---- Choices of the start

TEST_F(FlagFiles, ProductionScriptAppearingLater) {
    start();
    box().set_production();
    command("chan_usb");
    desk().advance(3000);
    EXPECT_EQ(shown_view(desk()), "usb");
    EXPECT_EQ(shown_mode(desk()), "AUTOCHECK...");
}

TEST_F(FlagFiles, ProductionScriptDisappearing) {
    box().set_production();
    start();
    box().set_production(false);
    command("chan_usb");
    EXPECT_EQ(desk().picture(), golden(true, "start/production"));
    EXPECT_EQ(box().count_calls("zor-destroy-hwtest.sh"), 0);
}

TEST_F(FlagFiles, ProductionScriptIsNeverRun) {
    box().set_production();
    start();
    desk().advance(5000);
    EXPECT_EQ(box().count_calls("zor-destroy-hwtest.sh"), 0);
}

TEST_F(FlagFiles, DebugFileAppearingLater) {
    start();
    box().set_wifi_debug();
    run_until(2600);
    EXPECT_EQ(desk().picture(), golden(true, "start/icon_row"));
    EXPECT_EQ(box().count_calls("wl noise"), 0);
}

TEST_F(FlagFiles, DebugFileDisappearing) {
    box().set_wifi_debug();
    start();
    run_until(1600);
    box().clear_calls();
    box().set_wifi_debug(false);
    desk().advance(1000);
    EXPECT_EQ(box().count_calls("wl noise"), 2);
}

TEST_F(FlagFiles, RestartChoosesAnew) {
    start();
    run_until(50);
    EXPECT_EQ(desk().picture(), golden(true, "start/start_screen"));
    desk().stop();
    box().set_production();
    start();
    run_until(50);
    EXPECT_EQ(desk().picture(), golden(true, "start/production"));
}

TEST_F(FlagFiles, ProductionComesBeforeTheDebugPanel) {
    box().set_production();
    box().set_wifi_debug();
    start();
    run_until(50);
    EXPECT_EQ(desk().picture(), golden(true, "start/production"));
}

// ---- Files that count while running

TEST_F(FlagFiles, HotspotSwitchedOffWhileIconsAreShown) {
    start();
    run_until(2600);
    EXPECT_EQ(shown_view(desk()), "icons");
    box().set_hotspot_off(true);
    desk().advance(5000);
    EXPECT_EQ(shown_view(desk()), "icons") << "the row keeps its four icons until another view was shown";
    command("chan_usb");
    command("chan_timeout");
    desk().advance(2500);
    EXPECT_EQ(shown_view(desk()), "icons without hotspot");
    box().set_hotspot_off(false);
    desk().advance(5000);
    EXPECT_EQ(shown_view(desk()), "icons without hotspot");
}

TEST_F(FlagFiles, FirmwareTypeRunning) {
    start();
    box().set_firmware_type("FT_MAINAPP_J2534");
    desk().advance(600);
    EXPECT_EQ(shown_mode(desk()), "PASSTHRU");
    command("M4_ready");
    desk().advance(1000);
    EXPECT_EQ(shown_mode(desk()), "PASSTHRU") << "the file brings it back";
    box().set_firmware_type("FT_MAINAPP_J2534 ");
    command("M4_ready");
    desk().advance(1000);
    EXPECT_EQ(shown_mode(desk()), "READY") << "a trailing blank is another type";
}

// Another type ends the mode but shows no word of its own; without the file the mode goes on, so that even
// "M4_done", which clears no other mode, does not get its READY shown.
TEST_F(FlagFiles, PassthruStaysUpUntilAnotherModeComes) {
    start();
    for (const bool other_type : {true, false}) {
        box().set_firmware_type("FT_MAINAPP_J2534");
        desk().advance(600);
        EXPECT_EQ(shown_mode(desk()), "PASSTHRU");
        box().set_firmware_type(other_type ? "FT_MAINAPP_DOIP" : "");
        desk().advance(5000);
        EXPECT_EQ(shown_mode(desk()), "PASSTHRU");
        command("M4_done");
        desk().advance(1000);
        EXPECT_EQ(shown_mode(desk()), other_type ? "READY" : "PASSTHRU");
        command("M4_ready");
        desk().advance(1000);
        EXPECT_EQ(shown_mode(desk()), "READY");
    }
}

TEST_F(FlagFiles, AlternativeActivityIcon) {
    start();
    run_until(250);
    const panel::Picture normal = desk().picture();
    box().set_alternative_icon(true);
    run_until(360);
    EXPECT_EQ(desk().picture(), golden(true, "edges/activity_alternative_frame_1")) << "within 100 ms";
    box().set_alternative_icon(false);
    run_until(460);
    EXPECT_EQ(desk().picture(), normal);
}

// Step s comes at s * 100 ms; 15, 30 and 45 keep the frame before, whatever the file says, and 60 wraps to
// frame 1.
TEST_F(FlagFiles, ActivityIconCycle) {
    start();
    const auto icon = [&] { return desk().picture().part(109, 48, 16, 18); };
    run_until(150);
    const panel::Picture frame_1 = icon();
    run_until(1650);
    const panel::Picture frame_2 = icon();
    run_until(3150);
    const panel::Picture frame_3 = icon();
    EXPECT_NE(frame_1, frame_2);
    EXPECT_NE(frame_2, frame_3);
    EXPECT_NE(frame_1, frame_3);
    for (int step = 32; step <= 136; step++) {
        run_until(step * 100 + 50);
        const int s = step % 60;
        const panel::Picture &wanted = s <= 15 ? frame_1 : s > 30 && s <= 45 ? frame_3 : frame_2;
        EXPECT_EQ(icon(), wanted) << "step " << step;
    }
}

TEST_F(FlagFiles, StepThatKeepsItsFrameIgnoresTheFile) {
    start();
    run_until(1450);
    box().set_alternative_icon(true);
    const panel::Picture before = desk().picture();
    run_until(1550);
    EXPECT_EQ(desk().picture().part(105, 48, 23, 18), before.part(105, 48, 23, 18)) << "step 15";
    run_until(1650);
    EXPECT_NE(desk().picture().part(105, 48, 23, 18), before.part(105, 48, 23, 18)) << "step 16";
}

} // namespace end_to_end
