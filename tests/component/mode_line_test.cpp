// The mode word in the bottom row: every combination of flags over every text that may be up, with every kind
// of firmware-type file, compared with the plain model; then the same rules by example.
#include "screen/mode_line.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "messages.h"
#include "model.h"
#include "probes/readers.h"
#include "screen/connectivity_line.h"
#include "support.h"
#include "widgets.h"

constexpr char J2534[] = "FT_MAINAPP_J2534";

class ModeLine : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        remove_file("/rodata/serial_number");
        build_status_screen();
    }

    void pass() { mode_line_task(nullptr); }
    std::string text() { return lv_label_get_text(display_state.mode_label); }
    void show(const char *text) { lv_label_set_text(display_state.mode_label, text); }

    // What the connectivity row shows and hears of when the pass begins. VPN and USB together make it take
    // another view at each call; without a channel it is the power-down flag that decides between the serial
    // number and the icons, so the row tells whether that flag was cleared before the row was asked.
    struct RowBefore {
        int shown;
        bool vpn, usb;
    };

    // One pass from these flags, compared with the model. The label is put out of place first, so that a pass
    // that ended early shows.
    std::string difference_after_pass(unsigned flags, const char *before, const RowBefore &row,
                                      const std::optional<std::string> &line) {
        for (const NamedFlag &mode : MODE_FLAGS) {
            display_state.*mode.flag = (flags & 1) != 0;
            flags >>= 1;
        }
        display_state.conn_shown = row.shown;
        display_state.chan_vpn = row.vpn;
        display_state.chan_usb = row.usb;
        show(before);
        lv_obj_set_pos(display_state.mode_label, 3, 1);

        Model expected = Model::of_display();
        const std::string expected_text = expected.mode_line(before, line);
        pass();
        std::string difference = record_difference(expected.state, display_state);
        if (text() != expected_text) difference += "text: expected " + expected_text + ", is " + text() + "; ";
        lv_obj_t *label = display_state.mode_label;
        const std::string place = expected.ended_early ? "3,1" : aligned_position(label, LV_ALIGN_CENTER, 0, 0);
        if (position_of(label) != place) difference += "place: expected " + place + ", is " + position_of(label) + "; ";
        return difference;
    }

    void compare_all(const std::optional<std::string> &line) {
        const RowBefore rows[] = {{CONN_ICONS, true, true}, {CONN_ICONS, false, false}, {CONN_SERIAL, false, false}};
        for (const RowBefore &row : rows) {
            for (const char *before : ALL_MODE_TEXTS) {
                for (unsigned flags = 0; flags < combinations(MODE_FLAGS); flags++) {
                    ASSERT_EQ(difference_after_pass(flags, before, row, line), "")
                        << "flags " << flags << " over " << before << ", the row at " << row.shown;
                }
            }
        }
    }
};

// ---- Every combination

TEST_F(ModeLine, AllFlagsOverAllTextsWithoutFile) { compare_all({}); }

TEST_F(ModeLine, AllFlagsOverAllTextsWithJ2534) {
    write_file(FILE_FW_TYPE_RUNNING, "FT_MAINAPP_J2534\n");
    compare_all(J2534);
}

TEST_F(ModeLine, AllFlagsOverAllTextsWithTrailingBlank) {
    write_file(FILE_FW_TYPE_RUNNING, "FT_MAINAPP_J2534 \n");
    compare_all("FT_MAINAPP_J2534 ");
}

TEST_F(ModeLine, AllFlagsOverAllTextsWithAnotherType) {
    write_file(FILE_FW_TYPE_RUNNING, "FT_MAINAPP_DOIP\nFT_MAINAPP_J2534\n");
    compare_all("FT_MAINAPP_DOIP");
}

TEST_F(ModeLine, AllFlagsOverAllTextsWithEmptyFile) {
    write_file(FILE_FW_TYPE_RUNNING, "");
    compare_all({});
}

// ---- The firmware-type file

static bool passthru_after(const std::string &content, bool before) {
    write_file(FILE_FW_TYPE_RUNNING, content);
    display_state.mode_passthru = before;
    mode_line_task(nullptr);
    return display_state.mode_passthru;
}

TEST_F(ModeLine, OnlyTheExactFirstLineIsPassthru) {
    const std::string long_line(5000, 'x');
    for (const bool before : {false, true}) {
        show("AUTOCHECK...");
        EXPECT_TRUE(passthru_after("FT_MAINAPP_J2534", before)) << "no newline";
        EXPECT_TRUE(passthru_after("FT_MAINAPP_J2534\n", before));
        EXPECT_TRUE(passthru_after("FT_MAINAPP_J2534\nmore\n", before));
        for (const std::string &other :
             {std::string("\n"), std::string("\nFT_MAINAPP_J2534\n"), std::string(" FT_MAINAPP_J2534\n"),
              std::string("FT_MAINAPP_J2534\r\n"), std::string("FT_MAINAPP_J25345\n"), std::string("FT_MAINAPP_J253\n"),
              std::string("ft_mainapp_j2534\n"), std::string("FT_MAINAPP_J2534\t"), long_line,
              "FT_MAINAPP_J2534" + long_line, std::string("\xff\xfe\n")}) {
            show("READY");
            EXPECT_FALSE(passthru_after(other, before)) << other.substr(0, 40);
        }
    }
}

TEST_F(ModeLine, NothingToReadLeavesPassthruAlone) {
    for (const bool before : {false, true}) {
        show("READY");
        EXPECT_EQ(passthru_after("", before), before);

        remove_file(FILE_FW_TYPE_RUNNING);
        make_folder(FILE_FW_TYPE_RUNNING);
        show("READY");
        display_state.mode_passthru = before;
        pass();
        EXPECT_EQ(display_state.mode_passthru, before) << "a folder";

        remove_file(FILE_FW_TYPE_RUNNING);
        make_fifo(FILE_FW_TYPE_RUNNING);
        show("READY");
        pass();
        EXPECT_EQ(display_state.mode_passthru, before) << "a pipe that nobody writes to must not hold the pass up";

        remove_file(FILE_FW_TYPE_RUNNING);
        ASSERT_EQ(symlink("/tmp/no-such-file", FILE_FW_TYPE_RUNNING), 0);
        show("READY");
        pass();
        EXPECT_EQ(display_state.mode_passthru, before) << "a link to nothing";
        ASSERT_EQ(unlink(FILE_FW_TYPE_RUNNING), 0);
    }
}

TEST_F(ModeLine, RunningFirmwareBringsPassthruBackAndAnotherTakesItDown) {
    write_file(FILE_FW_TYPE_RUNNING, "FT_MAINAPP_J2534\n");
    display_state.ready = true;
    pass();
    EXPECT_EQ(text(), "PASSTHRU");
    EXPECT_FALSE(display_state.ready);
    display_state.power_down = true; // the right label ends the pass before anything else is looked at
    pass();
    EXPECT_EQ(text(), "PASSTHRU");
    EXPECT_TRUE(display_state.power_down);

    write_file(FILE_FW_TYPE_RUNNING, "OTHER\n");
    display_state.power_down = false;
    display_state.ready = true;
    pass();
    EXPECT_EQ(text(), "READY");
    EXPECT_FALSE(display_state.mode_passthru);
}

TEST_F(ModeLine, MissingWarrantyAndJ2534EndOnPassthruEachTime) {
    write_file(FILE_FW_TYPE_RUNNING, "FT_MAINAPP_J2534\n");
    for (int again = 0; again < 3; again++) {
        display_state.no_warranty = true;
        pass();
        EXPECT_EQ(text(), "PASSTHRU");
        EXPECT_FALSE(display_state.no_warranty);
        EXPECT_TRUE(display_state.mode_passthru);
    }
}

// ---- By example

TEST_F(ModeLine, EachFlagAloneShowsItsText) {
    struct Case {
        bool DisplayState::*flag;
        const char *text;
    };
    const Case cases[] = {{&DisplayState::no_warranty, "NO WARRANTY"},
                          {&DisplayState::mode_diagnosis, "DIAGNOSIS"},
                          {&DisplayState::mode_doip_ethernet, "DOIP ETHERNET"},
                          {&DisplayState::mode_rec, "REC ..."},
                          {&DisplayState::mode_doip, "DOIP"},
                          {&DisplayState::mode_passthru, "PASSTHRU"},
                          {&DisplayState::power_down, "POWER DOWN"},
                          {&DisplayState::restarting, "RESTARTING..."},
                          {&DisplayState::ready, "READY"}};
    for (const Case &one : cases) {
        for (const NamedFlag &mode : MODE_FLAGS) display_state.*mode.flag = false;
        display_state.*one.flag = true;
        for (int passes = 0; passes < 2; passes++) {
            pass();
            EXPECT_EQ(text(), one.text);
            EXPECT_TRUE(display_state.*one.flag);
        }
    }
}

TEST_F(ModeLine, WithoutAFlagTheTextStaysAndIsCentredEachTime) {
    for (const char *before : ALL_MODE_TEXTS) {
        show(before);
        for (int passes = 0; passes < 2; passes++) {
            lv_obj_set_pos(display_state.mode_label, passes, passes);
            pass();
            EXPECT_EQ(text(), before);
            EXPECT_EQ(position_of(display_state.mode_label),
                      aligned_position(display_state.mode_label, LV_ALIGN_CENTER, 0, 0));
        }
    }
}

TEST_F(ModeLine, ReadyNeverShowsWithoutWarranty) {
    for (const char *before : ALL_MODE_TEXTS) {
        show(before);
        display_state.ready = display_state.no_warranty = true;
        pass();
        EXPECT_EQ(text(), "NO WARRANTY");
    }
}

TEST_F(ModeLine, ConfirmedRecordingChangesTheTextWithTheNextPass) {
    send_command("REC_ON");
    pass();
    EXPECT_EQ(text(), "REC ...");
    send_command("M4_COMM");
    pass();
    EXPECT_EQ(text(), "REC ON");
    display_state.rec_active = false;
    pass();
    EXPECT_EQ(text(), "REC ...");
    EXPECT_TRUE(display_state.mode_rec);
}

TEST_F(ModeLine, AChangeOfTextUpdatesTheConnectivityRow) {
    send_command("p_off");
    EXPECT_NE(display_state.conn_shown, 999);
    pass();
    EXPECT_EQ(display_state.conn_shown, 999);
    send_command("p_on");
    pass();
    EXPECT_EQ(display_state.conn_shown, 5);
}

// The row is asked when the flags of the modes that lose are gone, not one refresh of two seconds later.
TEST_F(ModeLine, TheSerialNumberGoesInTheSamePassAsPowerDown) {
    struct End {
        bool DisplayState::*flag;
        const char *text;
    };
    for (const End &end : {End{&DisplayState::mode_diagnosis, "DIAGNOSIS"}, End{&DisplayState::mode_rec, "REC ..."},
                           End{&DisplayState::mode_passthru, "PASSTHRU"}}) {
        send_command("p_off");
        pass();
        ASSERT_EQ(text(), "POWER DOWN");
        ASSERT_EQ(display_state.conn_shown, CONN_SERIAL);
        display_state.*end.flag = true;
        pass();
        EXPECT_EQ(text(), end.text);
        EXPECT_EQ(display_state.conn_shown, CONN_ICONS) << end.text;
    }
}

// A network that is known does not come up because the mode changes.
TEST_F(ModeLine, AChangeOfTextDoesNotForceTheStation) {
    send_command("chan_bt");
    ASSERT_EQ(display_state.conn_shown, CONN_BLUETOOTH);
    snprintf(display_state.wifi_ssid, sizeof display_state.wifi_ssid, "Workshop");
    send_command("DoIP_on");
    pass();
    EXPECT_EQ(text(), "DOIP");
    EXPECT_EQ(display_state.conn_shown, CONN_BLUETOOTH);
}

TEST_F(ModeLine, RunsEveryHalfSecond) {
    run_for(1000);
    send_command("DoIP_on");
    int waited = 0;
    while (text() != "DOIP" && waited < 1000) {
        run_for(1);
        waited++;
    }
    EXPECT_LE(waited, 501);
    send_command("M4_J2534");
    run_for(499);
    EXPECT_EQ(text(), "DOIP");
    run_for(2);
    EXPECT_EQ(text(), "PASSTHRU");
}

TEST_F(ModeLine, TheSameTextIsNotDrawnAgain) {
    display_state.ready = true;
    pass();
    forget_redraws();
    for (int passes = 0; passes < 10; passes++) {
        display_state.ready = true;
        pass();
    }
    draw_now();
    EXPECT_EQ(redrawn_pixels(), 0u);
}
