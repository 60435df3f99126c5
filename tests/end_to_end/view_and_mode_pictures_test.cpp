// Golden panels of the connectivity row's views and of the mode row's texts.
#include "golden.h"
#include "support.h"

namespace end_to_end {

class ViewPictures : public BothPanels {
protected:
    void expect(GoldenName name, const std::string &eye) {
        expect_golden(desk(), GetParam(), name, eye);
    }

    void show_station(const std::string &ssid, int dbm) {
        prepare();
        box().set_wifi_link(true);
        box().set_ssid(ssid);
        box().set_signal_dbm(dbm);
        start();
        run_until(2600);
    }
};

INSTANTIATE_TEST_SUITE_P(, ViewPictures, ::testing::Bool(), panel_name);

TEST_P(ViewPictures, Vpn) {
    prepare_and_start();
    command("chan_vpn");
    expect(GOLDEN("view_vpn"), "WireGuard VPN on top, no icon");
}

TEST_P(ViewPictures, Usb) {
    prepare_and_start();
    command("chan_usb");
    expect(GOLDEN("view_usb"), "USB on top, the USB icon at its right end");
}

TEST_P(ViewPictures, Hotspot) {
    prepare_and_start();
    command("chan_ap");
    expect(GOLDEN("view_hotspot"), "HOTSPOT on top, the hotspot icon at its right end");
}

TEST_P(ViewPictures, Bluetooth) {
    prepare_and_start();
    command("chan_bt");
    expect(GOLDEN("view_bluetooth"), "BLUETOOTH on top, the Bluetooth icon at its right end");
}

// Both ends of each range show the same picture; -93 and -83 dBm are qualities 1 and 24, -82 and -70 are 26
// and 50, -69 and -53 are 51 and 75, -52 and -20 are 76 and 100.
TEST_P(ViewPictures, StationSignal) {
    struct Range {
        GoldenName golden;
        const char *bars;
        int ends[2];
    };
    const Range ranges[] = {
        {GOLDEN("view_station_signal_1"), "1", {-93, -83}},
        {GOLDEN("view_station_signal_2"), "2", {-82, -70}},
        {GOLDEN("view_station_signal_3"), "3", {-69, -53}},
        {GOLDEN("view_station_signal_4"), "4", {-52, -20}},
    };
    for (const Range &range : ranges) {
        for (int dbm : range.ends) {
            SCOPED_TRACE(dbm);
            show_station("HomeNet", dbm);
            expect(range.golden, std::string("HomeNet on top, ") + range.bars +
                                     " of 4 bars at the left end, the Wi-Fi icon at the right end");
        }
    }
}

TEST_P(ViewPictures, StationWithoutReading) {
    prepare();
    box().set_wifi_link(true);
    box().set_ssid("HomeNet");
    start();
    run_until(2600);
    expect(GOLDEN("station_without_reading"), "the quality never changed from empty, so the row stays empty");
    command("chan_sta");
    expect(GOLDEN("station_without_reading_forced"), "HomeNet with one bar once chan_sta forces the view");
}

TEST_P(ViewPictures, LongestStationName) {
    show_station("WWWWWWWWWWW", -40);
    expect(GOLDEN("station_name_of_11_wide_letters"), "eleven W between the bars and the Wi-Fi icon");
}

TEST_P(ViewPictures, StationNameIsCutAfterElevenLetters) {
    show_station("ABCDEFGHIJKLMNOP", -40);
    expect(GOLDEN("station_name_cut"), "ABCDEFGHIJK, no L, no dots");
    const desk::Picture cut = desk().picture();
    show_station("ABCDEFGHIJK", -40);
    EXPECT_EQ(desk().picture(), cut);
}

TEST_P(ViewPictures, StationNameWithoutGlyphs) {
    show_station("a@b~c^d", -40);
    expect(GOLDEN("station_name_without_glyphs"), "abcd: the letters that the font lacks leave no mark");
}

TEST_P(ViewPictures, StationWithoutName) {
    show_station("", -40);
    expect(GOLDEN("station_without_name"), "a link without a name is no station: the row stays empty");
}

TEST_P(ViewPictures, StationWithoutNameOverIcons) {
    prepare_and_start();
    run_until(2600);
    box().set_wifi_link(true);
    run_until(4600);
    expect(GOLDEN("station_without_name_over_icons"), "the icon row stays when the link comes up without a name");
}

TEST_P(ViewPictures, SerialNumber) {
    prepare_and_start();
    command("p_off");
    expect(GOLDEN("mode_power_down"), "SN: QB418T-000123 on top, -.-v, POWER DOWN at the bottom");
}

TEST_P(ViewPictures, SerialNumberMissing) {
    prepare();
    box().remove("/rodata/serial_number");
    start();
    command("p_off");
    expect(GOLDEN("power_down_without_serial"), "SN: - on top, POWER DOWN at the bottom");
}

// ---- Mode texts

struct ModePicture {
    GoldenName golden;
    const char *text;
    std::vector<std::string> words;
};

TEST_P(ViewPictures, ModeTexts) {
    const ModePicture modes[] = {
        {GOLDEN("mode_diagnosis"), "DIAGNOSIS", {"M4_COMM"}},
        {GOLDEN("mode_doip_ethernet"), "DOIP ETHERNET", {"rj45_pt_enable"}},
        {GOLDEN("mode_rec_waiting"), "REC ...", {"REC_ON"}},
        {GOLDEN("mode_rec_on"), "REC ON", {"REC_ON", "M4_COMM"}},
        {GOLDEN("mode_doip"), "DOIP", {"DoIP_on"}},
        {GOLDEN("mode_passthru"), "PASSTHRU", {"M4_J2534"}},
        {GOLDEN("mode_restarting"), "RESTARTING...", {"p_on"}},
        {GOLDEN("mode_ready"), "READY", {"M4_ready"}},
    };
    for (const ModePicture &mode : modes) {
        prepare_and_start();
        for (const std::string &word : mode.words) command(word);
        expect(mode.golden, std::string(mode.text) + " centred at the bottom between the two icons");
    }
}

TEST_P(ViewPictures, NoWarranty) {
    prepare();
    box().set_warranty_lock(false);
    start();
    run_until(600);
    expect(GOLDEN("mode_no_warranty"), "NO WARRANTY centred at the bottom between the two icons");
}

} // namespace end_to_end
