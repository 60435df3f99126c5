// The connectivity row by real signals, read back from the layout's panel: channels, the station's life over
// the two second refresh, power-down, and clearing a Wi-Fi error.
#include "golden.h"
#include "support.h"

namespace end_to_end {

class Connectivity : public DaemonTest {
protected:
    void SetUp() override { prepare_layout(); }

    void join(const std::string &ssid = "HomeNet", int dbm = -40) {
        box().set_wifi_link(true);
        box().set_ssid(ssid);
        box().set_signal_dbm(dbm);
    }

    void expect_view(const char *word, const char *view) {
        command(word);
        EXPECT_EQ(shown_view(desk()), view) << "after " << word;
    }
};

TEST_F(Connectivity, RowIsEmptyUntilTheFirstRefresh) {
    start();
    run_until(1950);
    EXPECT_EQ(shown_view(desk()), "nothing");
    run_until(2050);
    EXPECT_EQ(shown_view(desk()), "icons");
}

TEST_F(Connectivity, EachChannelReplacesTheOther) {
    start();
    for (int round = 0; round < 2; round++) {
        expect_view("chan_usb", "usb");
        expect_view("chan_bt", "bluetooth");
        expect_view("chan_ap", "hotspot");
        expect_view("chan_vpn", "vpn");
    }
    desk().advance(10000);
    EXPECT_EQ(shown_view(desk()), "vpn");
}

TEST_F(Connectivity, ChannelIsDrawnAtOnce) {
    start();
    run_until(3000);
    desk().send_and_settle("chan_bt", {}, 12);
    EXPECT_EQ(shown_view(desk()), "bluetooth") << "no task but the display refresh is waited for";
}

TEST_F(Connectivity, TimeoutBringsTheIconsBack) {
    start();
    for (const char *word : {"chan_usb", "chan_bt", "chan_ap", "chan_vpn"}) {
        command(word);
        expect_view("chan_timeout", "icons");
    }
}

TEST_F(Connectivity, PowerDownShowsTheSerialNumber) {
    start();
    for (const char *word : {"chan_usb", "chan_bt", "chan_ap", "chan_vpn"}) {
        command(word);
        expect_view("p_off", "serial");
        command("p_on");
    }
}

TEST_F(Connectivity, BluetoothDuringPowerDown) {
    start();
    command("p_off");
    expect_view("chan_bt", "bluetooth");
}

TEST_F(Connectivity, RestartingShowsTheIcons) {
    start();
    command("p_off");
    EXPECT_EQ(shown_view(desk()), "serial");
    command("p_on");
    desk().advance(2000);
    EXPECT_EQ(shown_view(desk()), "icons");
}

TEST_F(Connectivity, FirmwareThatEndsPowerDownTakesTheSerialNumberAlong) {
    start();
    run_until(2100);
    expect_view("p_off", "serial");
    box().set_firmware_type("FT_MAINAPP_J2534");
    run_until(3600);
    EXPECT_EQ(shown_mode(desk()), "PASSTHRU");
    EXPECT_EQ(shown_view(desk()), "icons") << "the refresh at 4000 ms is not waited for";
}

// ---- The station over the refresh

TEST_F(Connectivity, StationComesByItself) {
    start();
    run_until(2600);
    join();
    run_until(3900);
    EXPECT_EQ(shown_view(desk()), "icons") << "looked at every two seconds";
    run_until(4100);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
}

TEST_F(Connectivity, StationGoesByItself) {
    join();
    start();
    run_until(2100);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
    box().set_wifi_link(false);
    run_until(4100);
    EXPECT_EQ(shown_view(desk()), "icons");
}

TEST_F(Connectivity, StationSignalFollows) {
    join("HomeNet", -40);
    start();
    const std::pair<int, const char *> readings[] = {{-40, "station, signal 4"}, {-60, "station, signal 3"},
                                                     {-75, "station, signal 2"}, {-85, "station, signal 1"},
                                                     {-20, "station, signal 4"}, {-1000, "station, signal 1"}};
    int64_t moment = 2100;
    for (const auto &[dbm, view] : readings) {
        box().set_signal_dbm(dbm);
        run_until(moment);
        EXPECT_EQ(shown_view(desk()), view) << dbm;
        moment += 2000;
    }
}

TEST_F(Connectivity, ReadingsOutsideTheTableChangeNothing) {
    join("HomeNet", -75);
    start();
    run_until(2100);
    EXPECT_EQ(shown_view(desk()), "station, signal 2");
    int64_t moment = 4100;
    for (const char *text : {"5", "-1001", "0", "none", ""}) {
        box().set_signal_text(text);
        run_until(moment);
        EXPECT_EQ(shown_view(desk()), "station, signal 2") << text;
        moment += 2000;
    }
}

TEST_F(Connectivity, BothSysfsFilesCount) {
    join();
    box().write("/sys/class/net/wlan0/link_mode", "0\n");
    start();
    run_until(2100);
    EXPECT_EQ(shown_view(desk()), "icons");
    box().write("/sys/class/net/wlan0/link_mode", "1\n");
    box().write("/sys/class/net/wlan0/operstate", "dormant\n");
    run_until(4100);
    EXPECT_EQ(shown_view(desk()), "icons");
    EXPECT_TRUE(box().calls().empty()) << "no tool runs without a link";
    box().write("/sys/class/net/wlan0/operstate", "up\n");
    run_until(6100);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
    EXPECT_EQ(box().calls(), (std::vector<std::string>{"iw wlan0 info", "iw dev wlan0 link"}));
}

TEST_F(Connectivity, ChannelSilencesTheProbes) {
    join();
    start();
    command("chan_usb");
    box().clear_calls();
    run_until(10000);
    EXPECT_EQ(shown_view(desk()), "usb");
    EXPECT_TRUE(box().calls().empty());
}

TEST_F(Connectivity, StationCommandWithoutLink) {
    start();
    run_until(2600);
    expect_view("chan_sta", "icons");
    desk().advance(4000);
    EXPECT_EQ(shown_view(desk()), "icons");
}

TEST_F(Connectivity, StationCommandForcesTheView) {
    join();
    start();
    run_until(2100);
    command("chan_usb");
    desk().send_and_settle("chan_sta", {}, 20);
    EXPECT_EQ(shown_view(desk()), "station, signal 4") << "the name is still known, no refresh is waited for";
    command("chan_bt");
    desk().send_and_settle("chan_timeout", {}, 20);
    EXPECT_EQ(shown_view(desk()), "station, signal 4") << "forced although the station flag is clear";
}

// Which flag is left shows when a new mode text looks at the row again, before the next refresh does.
TEST_F(Connectivity, TimeoutSparesTheStation) {
    join();
    start();
    run_until(2100);
    desk().send_and_settle("chan_timeout", {}, 20);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
    command("M4_ready");
    EXPECT_EQ(shown_mode(desk()), "READY");
    EXPECT_EQ(shown_view(desk()), "station, signal 4") << "chan_sta is still set";
    desk().advance(4000);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
}

TEST_F(Connectivity, TimeoutAfterAnotherChannelLeavesNone) {
    join();
    start();
    run_until(2100);
    desk().send_and_settle("chan_bt", {}, 20);
    desk().send_and_settle("chan_timeout", {}, 20);
    EXPECT_EQ(shown_view(desk()), "station, signal 4") << "forced, the name is known";
    command("M4_ready");
    EXPECT_EQ(shown_view(desk()), "icons") << "but no channel is set";
    desk().advance(2000);
    EXPECT_EQ(shown_view(desk()), "icons") << "the quality has not moved since it was last drawn";
}

TEST_F(Connectivity, PowerDownEndsTheStation) {
    join();
    start();
    run_until(2100);
    expect_view("p_off", "serial");
    box().clear_calls();
    desk().advance(6000);
    EXPECT_EQ(shown_view(desk()), "serial");
    EXPECT_TRUE(box().calls().empty());
}

// ---- The Wi-Fi error

TEST_F(Connectivity, ClearingAWifiErrorThatNeverWas) {
    join();
    start();
    error_code("A12");
    error_code("CWIFI");
    EXPECT_TRUE(overlay_shown(desk()));
    EXPECT_EQ(box().count_calls("iw wlan0 info"), 0);
}

TEST_F(Connectivity, ClearingAWifiError) {
    start();
    run_until(2600);
    error_code("WIFI77");
    EXPECT_TRUE(overlay_shown(desk()));
    join();
    box().clear_calls();
    desk().send_and_settle("Error_Code", {"CWIFI"}, 20);
    EXPECT_FALSE(overlay_shown(desk()));
    EXPECT_EQ(box().calls(), std::vector<std::string>{"iw wlan0 info"});
    EXPECT_EQ(shown_view(desk()), "station, signal 1") << "the quality has not been asked for yet";
    desk().advance(2000);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
}

TEST_F(Connectivity, OnceShownEveryLaterClearActs) {
    start();
    error_code("WIFI");
    error_code("CWIFI");
    for (const char *code : {"CWIFI", "CWIFI-2"}) {
        error_code("A12");
        EXPECT_TRUE(overlay_shown(desk()));
        error_code(code);
        EXPECT_FALSE(overlay_shown(desk())) << code;
    }
}

TEST_F(Connectivity, FirmwareBoxOutlivesClearing) {
    join();
    start();
    run_until(600);
    error_code("WIFI");
    command("clear_msg");
    desk().send_and_settle("cd_update", {1000, "TYPE"}, 20);
    box().clear_calls();
    const panel::Picture before = desk().picture();
    desk().send_and_settle("Error_Code", {"CWIFI"}, 20);
    EXPECT_EQ(desk().picture(), before);
    EXPECT_TRUE(box().calls().empty());
}

} // namespace end_to_end
