// A minute in which nothing happens: what is shown already is not drawn again. The activity icon alone moves,
// and only when its frame changes.
#include "messages.h"
#include "probes/readers.h"
#include "screen/measurement_area.h"
#include "support.h"
#include "widgets.h"

class Quiet : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        remove_file(FLAG_ACTIVITY_ALT);
        remove_file(FLAG_VCI_READY);
        write_file(FILE_SERIAL_NUMBER, "QB-77\n");
        write_file(IIO_SCALE, "1.0\n");
        write_file(IIO_RAW, "920\n"); // 12.4 V
        write_file("/sys/class/net/wlan0/link_mode", "1\n");
        write_file("/sys/class/net/wlan0/operstate", "up\n");
        answer_commands([](const std::string &command) {
            return command.find("ssid") != std::string::npos ? "HomeNet\n" : "-60\n";
        });
    }

    // Redrawn pixels during a minute, after everything has settled.
    uint32_t minute() {
        run_for(6000);
        forget_redraws();
        run_for(60000);
        return redrawn_pixels();
    }

    // The icon lies beyond the panel's right edge (x 115 to 122), and so costs nothing.
    void expect_still(const char *what) {
        const std::string before = (run_for(6000), draw_now(), panel_text());
        EXPECT_EQ(minute(), 0u) << what;
        EXPECT_EQ(panel_text(), before) << what;
    }
};

TEST_F(Quiet, EveryModeAndChannel) {
    build_status_screen();
    expect_still("start-up");
    for (const char *word : {"M4_ready", "REC_ON", "M4_COMM", "DoIP_on", "M4_J2534", "rj45_pt_enable", "p_on"}) {
        send_command(word);
        expect_still(word);
    }
    for (const char *word : {"chan_usb", "chan_bt", "chan_ap", "chan_vpn", "chan_timeout", "chan_sta"}) {
        send_command(word);
        expect_still(word);
    }
}

// The meter goes on measuring, while its label says "-.-v" all the time.
TEST_F(Quiet, PowerDown) {
    build_status_screen();
    send_command("p_off");
    expect_still("serial number, no voltage");
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
}

TEST_F(Quiet, UnderEveryBox) {
    build_status_screen();
    for (const char *word : {"Reboot", "Check_Igni", "M4_error", "clear_msg"}) {
        send_command(word);
        expect_still(word);
    }
    send_command("cd_update", 3, "FT_MAIN");
    expect_still("a bar that is full");
}

TEST_F(Quiet, JackAsTheSource) {
    write_file(IIO_RAW, "0\n");
    write_file(FLAG_VCI_READY, "");
    answer_commands([](const std::string &) { return "12100\n"; });
    build_status_screen();
    send_command("chan_bt");
    expect_still("12.3 V from the jack");
}

TEST_F(Quiet, WithTheDebugPanel) {
    write_file(FLAG_WIFI_DEBUG, "");
    build_status_screen();
    expect_still("raw readings that stay the same");
}

TEST_F(Quiet, TheSameCommandAgainDrawsNothing) {
    build_status_screen();
    for (const char *word : {"chan_usb", "chan_bt", "chan_ap", "chan_vpn", "M4_ready", "REC_ON", "DoIP_on"}) {
        send_command(word);
        run_for(6000);
        forget_redraws();
        for (int again = 0; again < 10; again++) {
            send_command(word);
            run_for(700);
        }
        EXPECT_EQ(redrawn_pixels(), 0u) << word;
    }
}

TEST_F(Quiet, AReadingThatMovesIsDrawn) {
    build_status_screen();
    run_for(6000);
    forget_redraws();
    write_file(IIO_RAW, "1100\n");
    run_for(600);
    EXPECT_GT(redrawn_pixels(), 0u);
}
