// Golden panels of the start: the first screen, the icon row, the measurement area, the Wi-Fi debug panel and
// the production screen. On the device's 64 columns the right half of the layout lies outside the panel.
#include "golden.h"
#include "support.h"

namespace end_to_end {

class StartPictures : public BothPanels {
protected:
    void expect(GoldenName name, const std::string &eye) {
        expect_golden(desk(), GetParam(), name, eye);
    }
};

INSTANTIATE_TEST_SUITE_P(, StartPictures, ::testing::Bool(), panel_name);

TEST_P(StartPictures, FirstScreen) {
    prepare_and_start();
    run_until(50);
    expect(GOLDEN("start_screen"),
           "AUTOCHECK... at the bottom, -.-v, Max. -.- and Min. -.-, no connectivity row yet");
}

TEST_P(StartPictures, IconRow) {
    prepare_and_start();
    run_until(2600);
    expect(GOLDEN("icon_row"), "four icons on top: Wi-Fi, USB, hotspot, Bluetooth; 12.4v from the supply");
}

TEST_P(StartPictures, IconRowWithoutHotspot) {
    prepare();
    box().set_hotspot_off(true);
    start();
    run_until(2600);
    expect(GOLDEN("icon_row_without_hotspot"), "three icons on top, evenly spaced: Wi-Fi, USB, Bluetooth");
}

TEST_P(StartPictures, ActivityIconFrames) {
    prepare_and_start();
    run_until(1700);
    expect(GOLDEN("activity_frame_2"), "bottom right: the dot's frame 2");
    run_until(3200);
    expect(GOLDEN("activity_frame_3"), "bottom right: the dot's frame 3");
}

TEST_P(StartPictures, AlternativeActivityIconFrames) {
    prepare();
    box().set_alternative_icon(true);
    start();
    run_until(250);
    expect(GOLDEN("activity_alternative_frame_1"),
           "bottom right: frame 1 of the alternative icon, whole inside the row");
    run_until(1700);
    expect(GOLDEN("activity_alternative_frame_2"),
           "bottom right: frame 2 of the alternative icon, whole inside the row");
    run_until(3200);
    expect(GOLDEN("activity_alternative_frame_3"),
           "bottom right: frame 3 of the alternative icon, whole inside the row");
}

// ---- Measurement area

class MeasurementPictures : public StartPictures {};

INSTANTIATE_TEST_SUITE_P(, MeasurementPictures, ::testing::Bool(), panel_name);

TEST_P(MeasurementPictures, SupplyWithTwoDigitExtremes) {
    prepare();
    box().set_supply_volts(14.2);
    start();
    run_until(600);
    box().set_supply_volts(11.9);
    run_until(1100);
    box().set_supply_volts(12.4);
    run_until(1600);
    expect(GOLDEN("voltage_two_digits"), "12.4v large, Max. 14.2 over Min. 11.9, the supply icon bottom left");
}

TEST_P(MeasurementPictures, SupplyFromNineToTen) {
    prepare();
    box().set_supply_volts(9.9);
    start();
    run_until(600);
    expect(GOLDEN("voltage_one_digit"), "9.9v in the middle of its box, Max. 9.9 over Min. 9.9");
    box().set_supply_volts(10.3);
    run_until(1100);
    expect(GOLDEN("voltage_nine_to_ten"), "10.3v centred again, Max. 10.3 over Min. 9.9");
}

TEST_P(MeasurementPictures, Jack) {
    prepare();
    box().remove_converter();
    box().set_jack_ready(true);
    box().set_jack_millivolts(11500);
    start();
    run_until(600);
    expect(GOLDEN("voltage_from_jack"), "11.7v, Max. 11.7, Min. 11.7, the jack icon bottom left");
}

TEST_P(MeasurementPictures, ThreeDigitsFromJack) {
    prepare();
    box().remove_converter();
    box().set_jack_ready(true);
    box().set_jack_millivolts(150000);
    start();
    run_until(600);
    expect(GOLDEN("voltage_three_digits"), "150.2v cut by its box on both sides, Max. 150.2 over Min. -.-");
}

TEST_P(MeasurementPictures, NoVoltage) {
    prepare();
    box().remove_converter();
    start();
    run_until(600);
    expect(GOLDEN("voltage_none"), "-.-v, Max. -.- and Min. -.-: nobody measures");
}

TEST_P(MeasurementPictures, VoltageLost) {
    prepare();
    box().set_jack_ready(true);
    box().set_jack_millivolts(5000);
    start();
    run_until(600);
    box().remove_converter();
    run_until(1100);
    expect(GOLDEN("voltage_lost"), "-.-v with Max. 12.4 and Min. 12.4 kept, the jack icon bottom left");
}

// ---- Wi-Fi debug panel

TEST_P(StartPictures, WifiDebugPanel) {
    prepare();
    box().set_wifi_debug();
    box().set_ssid("HomeNet");
    box().set_signal_dbm(-55);
    start();
    run_until(2600);
    expect(GOLDEN("wifi_debug"), "-92 over -55 right-aligned in the left box, noise over rssi in the right one");
}

TEST_P(StartPictures, WifiDebugPanelWithoutReadings) {
    prepare();
    box().set_wifi_debug();
    box().set_noise("");
    start();
    run_until(2600);
    expect(GOLDEN("wifi_debug_without_readings"), "no numbers, only the captions noise and rssi in the right box");
}

// ---- Production screen

class ProductionPictures : public StartPictures {
protected:
    void start_production() {
        prepare();
        box().set_production();
        start();
        run_until(50);
    }
};

INSTANTIATE_TEST_SUITE_P(, ProductionPictures, ::testing::Bool(), panel_name);

TEST_P(ProductionPictures, Identity) {
    start_production();
    expect(GOLDEN("production"), "four rows: SN: QB418T-000123, BT: QB418T-BT-000123, HW: QB418T, FW: Updating...");
}

TEST_P(ProductionPictures, MissingIdentity) {
    desk::Options options;
    options.contents = desk::Contents::bare;
    prepare(options);
    box().set_production();
    start();
    run_until(50);
    expect(GOLDEN("production_without_identity"), "SN: ERROR, BT: ERROR, HW: QB418T, FW: Updating...");
}

TEST_P(ProductionPictures, OddIdentity) {
    prepare();
    box().set_production();
    box().write("/rodata/serial_number", "SERIAL WITHOUT NEWLINE");
    box().write("/rodata/bluetooth_name", "a=b=LAST VALUE\nsecond=line\n");
    start();
    run_until(50);
    expect(GOLDEN("production_odd_identity"), "SN: SERIAL WITHOUT NEWLINE running out on the right, BT: LAST VALUE");
}

TEST_P(ProductionPictures, FirmwareStatus) {
    start_production();
    command("M4_done");
    expect(GOLDEN("production_firmware_latest"), "fourth row FW: Latest Version, nothing of the text before it left");
    command("M4_error");
    expect(GOLDEN("production_firmware_error"), "fourth row FW: Error Updating, no overlay");
    command("M4_update");
    command("clear_msg");
    EXPECT_EQ(desk().picture(), golden(GetParam(), "production")) << "back to FW: Updating...";
}

TEST_P(ProductionPictures, FirmwareStarts) {
    start_production();
    command("M4_done");
    command("cd_update");
    EXPECT_EQ(desk().picture(), golden(GetParam(), "production")) << "cd_update alone opens no overlay";
}

TEST_P(ProductionPictures, Overlays) {
    start_production();
    command("Reboot");
    expect(GOLDEN("production_under_reboot"), "the reboot box over the rows");
    command("Check_Igni");
    expect(GOLDEN("production_under_ignition"), "the ignition box over the rows, the reboot box gone");
    error_code("A12");
    expect(GOLDEN("production_under_error"), "the error box with ERROR and A12 over the rows");
    command("clear_msg");
    EXPECT_EQ(desk().picture(), golden(GetParam(), "production")) << "all boxes gone";
    desk().send_and_settle("cd_update", {10, "FT_MAINAPP"}, 5500);
    expect(GOLDEN("production_under_firmware"), "the firmware box with a half full bar over the rows");
    command("clear_msg");
    command("USB_update");
    expect(GOLDEN("production_under_usb"), "the USB box over the rows");
}

TEST_P(ProductionPictures, ChannelsAndModesDrawNothing) {
    start_production();
    for (const char *word :
         {"chan_usb", "chan_bt", "chan_ap", "chan_vpn", "chan_sta", "chan_timeout", "p_off", "p_on",
          "M4_COMM", "M4_ready", "REC_ON", "REC_OFF", "DoIP_on", "M4_J2534"}) {
        command(word);
        EXPECT_EQ(desk().picture(), golden(GetParam(), "production")) << word;
    }
}

} // namespace end_to_end
