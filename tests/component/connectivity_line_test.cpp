// The top row: which view is chosen from every record, what each view consists of, and the refresh that asks
// the Wi-Fi probes every two seconds.
#include "screen/connectivity_line.h"

#include <stdlib.h>
#include <string.h>

#include "messages.h"
#include "model.h"
#include "probes/readers.h"
#include "screen/art.h"
#include "support.h"
#include "widgets.h"

constexpr char LINK_MODE[] = "/sys/class/net/wlan0/link_mode";
constexpr char OPERSTATE[] = "/sys/class/net/wlan0/operstate";

// What a view consists of; each image with its alignment and x offset, all of them at y -2.
struct Image {
    const lv_img_dsc_t *source;
    lv_align_t align;
    int x;
};
struct View {
    std::string text; ///< of the centred label; "" for no label
    std::vector<Image> images;
};

class ConnectivityLine : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        write_file(FILE_SERIAL_NUMBER, "QB-77\n");
        answer_commands([](const std::string &) { return ""; });
        build_status_screen();
        row = display_state.conn_box;
    }

    void TearDown() override {
        EXPECT_EQ(open_pipes, 0);
        ComponentTest::TearDown();
    }

    // The row must hold this view and nothing else.
    std::string difference_from(const View &view) {
        std::string out;
        const auto parts = children_of(row);
        if (parts.size() != view.images.size() + (view.text.empty() ? 0 : 1)) {
            out += "children: " + std::to_string(parts.size()) + "; ";
        }
        if (!view.text.empty()) {
            lv_obj_t *label = find_label(row, view.text);
            out += label ? placed(label, LV_ALIGN_CENTER, 0, 0) : "no label '" + view.text + "'; ";
        }
        for (const Image &image : view.images) {
            lv_obj_t *found = image_with_source(row, image.source);
            if (!found) out += "an image is missing; ";
            if (found && image.source) out += placed(found, image.align, image.x, -2);
        }
        for (lv_obj_t *part : parts) out += style_difference(text_style(), *lv_obj_get_style(part));
        return out;
    }

    lv_obj_t *row = nullptr;

private:
    static std::string placed(lv_obj_t *part, lv_align_t align, int x, int y) {
        const std::string place = aligned_position(part, align, x, y);
        return position_of(part) == place ? "" : "at " + position_of(part) + " instead of " + place + "; ";
    }

    static lv_style_t text_style() {
        lv_style_t style = with_text(black_body(lv_style_pretty_color, 0, 0), &font_16);
        style.text.letter_space = 0;
        style.text.line_space = -4;
        style.image.intense = 255;
        return style;
    }
};

static View view_of(int code) {
    switch (code) {
        case CONN_VPN: return {"WireGuard VPN", {}};
        case CONN_USB: return {"USB", {{&icon_usb, LV_ALIGN_IN_RIGHT_MID, 0}}};
        case CONN_HOTSPOT: return {"HOTSPOT", {{&icon_hotspot, LV_ALIGN_IN_RIGHT_MID, 0}}};
        case CONN_BLUETOOTH: return {"BLUETOOTH", {{&icon_bt, LV_ALIGN_IN_RIGHT_MID, 0}}};
        case CONN_SERIAL: return {"SN: QB-77", {}};
        case CONN_STATION:
            return {"HomeNet", {{&icon_wifi, LV_ALIGN_IN_RIGHT_MID, 0}, {&icon_signal_3, LV_ALIGN_IN_LEFT_MID, 0}}};
        default:
            return {"",
                    {{&icon_wifi, LV_ALIGN_CENTER, -20},
                     {&icon_usb, LV_ALIGN_CENTER, -7},
                     {&icon_hotspot, LV_ALIGN_CENTER, 7},
                     {&icon_bt, LV_ALIGN_CENTER, 20}}};
    }
}

static View icons_without_hotspot() {
    return {"", {{&icon_wifi, LV_ALIGN_CENTER, -13}, {&icon_usb, LV_ALIGN_CENTER, 0}, {&icon_bt, LV_ALIGN_CENTER, 13}}};
}

static View station(const std::string &name, const lv_img_dsc_t *signal) {
    return {name, {{&icon_wifi, LV_ALIGN_IN_RIGHT_MID, 0}, {signal, LV_ALIGN_IN_LEFT_MID, 0}}};
}

// ---- Choosing

static void start(unsigned bits, int shown) {
    for (const NamedFlag &channel : CHANNEL_FLAGS) {
        display_state.*channel.flag = (bits & 1) != 0;
        bits >>= 1;
    }
    display_state.power_down = (bits & 1) != 0;
    strcpy(display_state.wifi_ssid, (bits & 2) != 0 ? "HomeNet\nrest" : "");
    strcpy(display_state.last_quality, (bits & 4) != 0 ? "60" : "61");
    display_state.wifi_quality = "60";
    display_state.conn_shown = shown;
}

TEST_F(ConnectivityLine, EveryRecordGivesItsView) {
    for (const unsigned force : {0u, 1u}) {
        for (unsigned bits = 0; bits < 8 * combinations(CHANNEL_FLAGS); bits++) {
            for (const int shown : ALL_VIEWS) {
                start(bits, shown);
                lv_obj_clean(row);
                lv_obj_t *old = lv_obj_create(row, nullptr);
                Model expected = Model::of_display();
                const bool rebuilt = expected.connectivity_line(force != 0);

                ASSERT_EQ(connectivity_line(force), rebuilt ? 1u : 0u) << bits << " from " << shown;
                ASSERT_EQ(record_difference(expected.state, display_state), "") << bits << " from " << shown;
                if (rebuilt) {
                    ASSERT_EQ(difference_from(view_of(display_state.conn_shown)), "") << bits << " from " << shown;
                } else {
                    ASSERT_EQ(children_of(row), std::vector<lv_obj_t *>{old}) << bits << " from " << shown;
                }
            }
        }
    }
}

TEST_F(ConnectivityLine, FirstCallShowsTheIcons) {
    EXPECT_EQ(connectivity_line(0), 1u);
    EXPECT_EQ(display_state.conn_shown, 5);
    EXPECT_EQ(difference_from(view_of(CONN_ICONS)), "");
    EXPECT_EQ(connectivity_line(0), 0u);
}

TEST_F(ConnectivityLine, VpnAndUsbTakeTurns) {
    display_state.chan_vpn = display_state.chan_usb = true;
    for (int turn = 0; turn < 4; turn++) {
        EXPECT_EQ(connectivity_line(0), 1u);
        EXPECT_EQ(display_state.conn_shown, 6);
        EXPECT_EQ(connectivity_line(0), 1u);
        EXPECT_EQ(display_state.conn_shown, 1);
    }
}

TEST_F(ConnectivityLine, ForceShowsAKnownStationWithoutItsFlag) {
    strcpy(display_state.wifi_ssid, "HomeNet");
    display_state.conn_shown = 5;
    EXPECT_EQ(connectivity_line(0), 0u);
    EXPECT_EQ(connectivity_line(1), 1u);
    EXPECT_EQ(display_state.conn_shown, 0);
}

TEST_F(ConnectivityLine, StationIsRebuiltOnlyWhenItsQualityMoves) {
    strcpy(display_state.wifi_ssid, "HomeNet");
    display_state.chan_sta = true;
    for (const char *quality : {"60", "61", "6", "100", "1", "100"}) {
        display_state.wifi_quality = quality;
        EXPECT_EQ(connectivity_line(0), 1u) << quality;
        EXPECT_STREQ(display_state.last_quality, quality);
        EXPECT_EQ(connectivity_line(0), 0u) << quality;
    }
}

// ---- Drawing

TEST_F(ConnectivityLine, NamesAreCutToElevenBytesOfWholeCharacters) {
    display_state.chan_sta = true;
    display_state.wifi_quality = "100";
    for (size_t length = 1; length <= 63; length++) {
        for (const std::string letter : {"W", "\u00e9", "\u20ac", "\U0001f697"}) {
            for (const char *end : {"", "\n", "\nmore"}) {
                std::string name;
                while (name.size() + letter.size() <= length) name += letter;
                while (name.size() < length) name.insert(0, "x");
                if (name.size() + strlen(end) > 63) continue;
                strcpy(display_state.wifi_ssid, (name + end).c_str());
                ASSERT_EQ(connectivity_line(1), 1u);
                ASSERT_EQ(difference_from(station(cut_to(name, 11), &icon_signal_4)), "") << name;
                ASSERT_EQ(display_state.wifi_ssid, name) << "cut at its newline, in place";
            }
        }
    }
}

TEST_F(ConnectivityLine, NamesWithStrayBytesAreDrawnAllTheSame) {
    for (int byte = 1; byte < 256; byte++) {
        if (byte == '\n') continue;
        for (size_t at = 0; at < 14; at++) {
            std::string name(14, 'x');
            name[at] = static_cast<char>(byte);
            strcpy(display_state.wifi_ssid, name.c_str());
            ASSERT_EQ(connectivity_line(1), 1u);
            const char *shown = lv_label_get_text(children_of(row)[0]);
            ASSERT_LE(strlen(shown), 11u);
            ASSERT_TRUE(byte >= 128 || shown == name.substr(0, 11)) << shown;
            draw_now();
        }
    }
}

TEST_F(ConnectivityLine, SignalIconByQuality) {
    struct Case {
        const char *quality;
        const lv_img_dsc_t *icon;
    };
    const Case cases[] = {
        {"", &icon_signal_1},   {"0", &icon_signal_1},   {"1", &icon_signal_1},   {"25", &icon_signal_1},
        {"26", &icon_signal_2}, {"50", &icon_signal_2},  {"51", &icon_signal_3},  {"75", &icon_signal_3},
        {"76", &icon_signal_4}, {"100", &icon_signal_4}, {"999", &icon_signal_4}, {"1000", nullptr},
        {"5000000", nullptr},   {"-1", nullptr},         {"-100", nullptr},
    };
    for (const Case &one : cases) {
        strcpy(display_state.wifi_ssid, "HomeNet");
        display_state.wifi_quality = one.quality;
        connectivity_line(1);
        EXPECT_EQ(difference_from(station("HomeNet", one.icon)), "") << one.quality;
        EXPECT_STREQ(display_state.last_quality, one.quality);
        ASSERT_NE(display_state.quality_icon, nullptr);
        EXPECT_EQ(lv_img_get_src(display_state.quality_icon), one.icon) << one.quality;
    }
    for (int q = 0; q <= 100; q++) {
        const std::string text = std::to_string(q);
        display_state.wifi_quality = text.c_str();
        connectivity_line(1);
        const lv_img_dsc_t *icon = q > 75   ? &icon_signal_4
                                   : q > 50 ? &icon_signal_3
                                   : q > 25 ? &icon_signal_2
                                            : &icon_signal_1;
        EXPECT_EQ(lv_img_get_src(display_state.quality_icon), icon) << q;
        display_state.wifi_quality = "";
    }
}

// LVGL draws a large white block for an image that has no source.
TEST_F(ConnectivityLine, NoSignalIconLeavesItsPlaceDark) {
    for (const char *quality : {"-1", "1000"}) {
        strcpy(display_state.wifi_ssid, "i");
        display_state.wifi_quality = quality;
        connectivity_line(1);
        draw_now();
        EXPECT_EQ(lit_pixels(5, 0, 5 + 40, 13), 0) << panel_text();
        EXPECT_GT(lit_pixels(5 + 41, 0, 63, 13), 0) << "the name";
    }
}

TEST_F(ConnectivityLine, HotspotIconFollowsTheFileOnlyWithANewView) {
    connectivity_line(0);
    write_file(FLAG_NO_AP, "");
    for (int i = 0; i < 3; i++) EXPECT_EQ(connectivity_line(0), 0u);
    EXPECT_EQ(difference_from(view_of(CONN_ICONS)), "") << "four icons until another view was up";

    send_command("chan_usb");
    send_command("chan_timeout");
    EXPECT_EQ(difference_from(icons_without_hotspot()), "");
    remove_file(FLAG_NO_AP);
    EXPECT_EQ(connectivity_line(0), 0u);
    EXPECT_EQ(difference_from(icons_without_hotspot()), "") << "three icons until another view was up";

    send_command("chan_bt");
    send_command("chan_timeout");
    EXPECT_EQ(difference_from(view_of(CONN_ICONS)), "");
}

TEST_F(ConnectivityLine, SerialNumberFromEveryKindOfFile) {
    struct Case {
        std::string content, text;
    };
    const Case cases[] = {{"QB418T-000123\n", "SN: QB418T-000123"},
                          {"no newline", "SN: no newline"},
                          {"first\nsecond\n", "SN: first"},
                          {"", "SN: "},
                          {"\n", "SN: "},
                          {"a=b\n", "SN: a=b"},
                          {"caf\u00e9\n", "SN: caf\u00e9"},
                          {"%s%n\n", "SN: %s%n"}};
    for (const Case &one : cases) {
        write_file(FILE_SERIAL_NUMBER, one.content);
        display_state.power_down = true;
        display_state.conn_shown = 5;
        EXPECT_EQ(connectivity_line(0), 1u);
        EXPECT_EQ(display_state.conn_shown, 999);
        EXPECT_EQ(difference_from({one.text, {}}), "") << one.content;
    }
    remove_file(FILE_SERIAL_NUMBER);
    display_state.conn_shown = 5;
    EXPECT_EQ(connectivity_line(0), 1u);
    EXPECT_EQ(difference_from({"SN: -", {}}), "");
    EXPECT_EQ(connectivity_line(0), 0u);
}

TEST_F(ConnectivityLine, NothingIsDrawnOnTheProductionScreen) {
    build_production_screen();
    const size_t rows = children_of(active_screen()).size();
    for (const unsigned force : {0u, 1u}) {
        for (unsigned bits = 0; bits < 8 * combinations(CHANNEL_FLAGS); bits++) {
            start(bits, CONN_USB);
            EXPECT_EQ(connectivity_line(force), 0u);
        }
    }
    EXPECT_EQ(children_of(active_screen()).size(), rows);
}

// ---- Refresh

static void wifi(const char *link_mode, const char *operstate) {
    write_file(LINK_MODE, link_mode);
    write_file(OPERSTATE, operstate);
}

TEST_F(ConnectivityLine, RefreshAsksTheProbesOnlyWithoutAnotherChannel) {
    wifi("1\n", "up\n");
    answer_commands(
        [](const std::string &command) { return command.find("ssid") != std::string::npos ? "HomeNet\n" : "-60\n"; });
    for (unsigned bits = 0; bits < 2 * combinations(CHANNEL_FLAGS); bits++) {
        start(bits, CONN_ICONS);
        display_state.wifi_ssid[0] = '\0';
        const bool taken = (bits & ~8u) != 0; // everything but the station itself
        shell_commands.clear();
        Model expected = Model::of_display();
        if (taken) {
            expected.connectivity_refresh_without_wifi();
        } else {
            strcpy(expected.state.wifi_ssid, "HomeNet\n");
            expected.state.wifi_quality = "66";
            expected.state.chan_sta = true;
            expected.connectivity_line(false);
        }
        connectivity_refresh(nullptr);
        EXPECT_EQ(record_difference(expected.state, display_state), "") << bits;
        EXPECT_EQ(shell_commands.size(), taken ? 0u : 2u) << bits;
    }
}

TEST_F(ConnectivityLine, RefreshTakesTheStationAwayWithItsLink) {
    struct Case {
        const char *link_mode, *operstate, *ssid_after;
    };
    for (const Case &one : {Case{"0\n", "up\n", ""}, Case{"1\n", "down\n", ""}, Case{"0\n", "down\n", ""},
                            Case{"\n", "up\n", ""}, Case{"11\n", "up\n", ""}, Case{"1\n", "UP\n", ""}}) {
        wifi(one.link_mode, one.operstate);
        start(0, CONN_STATION);
        display_state.chan_sta = true;
        strcpy(display_state.wifi_ssid, "HomeNet");
        shell_commands.clear();
        connectivity_refresh(nullptr);
        EXPECT_FALSE(display_state.chan_sta) << one.link_mode << one.operstate;
        EXPECT_STREQ(display_state.wifi_ssid, one.ssid_after) << one.link_mode << one.operstate;
        EXPECT_EQ(display_state.conn_shown, 5) << one.link_mode << one.operstate;
        EXPECT_TRUE(shell_commands.empty()) << "the quality is asked only of a link that is up";
    }
}

TEST_F(ConnectivityLine, RefreshFollowsTheQuality) {
    wifi("1\n", "up\n");
    std::string signal = "-53\n";
    answer_commands([&signal](const std::string &command) {
        return command.find("ssid") != std::string::npos ? std::string("Workshop Guests 2\n") : signal;
    });
    connectivity_refresh(nullptr);
    EXPECT_EQ(difference_from(station("Workshop Gu", &icon_signal_3)), "");
    EXPECT_STREQ(display_state.last_quality, "75");

    signal = "-52\n";
    connectivity_refresh(nullptr);
    EXPECT_EQ(difference_from(station("Workshop Gu", &icon_signal_4)), "");

    signal = "";
    lv_obj_t *kept = display_state.quality_icon;
    connectivity_refresh(nullptr);
    EXPECT_TRUE(display_state.chan_sta);
    EXPECT_EQ(children_of(row).back(), kept) << "no reading, no new row";
}

TEST_F(ConnectivityLine, RefreshRunsEveryTwoSeconds) {
    wifi("1\n", "up\n");
    answer_commands([](const std::string &) { return "-60\n"; });
    run_for(2001);
    shell_commands.clear();
    run_for(20000);
    EXPECT_EQ(shell_commands.size(), 20u) << "ten runs of two tools each";
    send_command("chan_bt");
    shell_commands.clear();
    run_for(20000);
    EXPECT_TRUE(shell_commands.empty());
}
