// What the daemon does when nothing happens, and what it costs: redrawn pixels, processes, descriptors,
// memory. And the one way to exhaust it by design.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include <unistd.h>

#include "simulator/desk/places.h"

#include "golden.h"
#include "support.h"

namespace end_to_end {

class Quiet : public DaemonTest {
protected:
    void SetUp() override { prepare_layout(); }

    // Paints the panel behind the daemon's back, lets time pass and returns the pixels that it has drawn
    // again.
    int64_t drawn_again(unsigned char paint, int64_t ms, int x, int width) {
        desk().panel().fill(paint);
        desk().advance(ms);
        const panel::Picture now = desk().picture().part(x, 0, width, 66);
        return paint == 0 ? now.count_lit() : now.width() * now.height() - now.count_lit();
    }
};

// Left of the activity icon nothing is drawn: neither lit nor dark pixels come back over what was painted.
TEST_F(Quiet, MinuteDrawsTheActivityIconAlone) {
    start();
    run_until(4100);
    EXPECT_EQ(drawn_again(0x00, 60000, 0, 109), 0);
    EXPECT_EQ(drawn_again(0xff, 60000, 0, 109), 0);
    EXPECT_GT(drawn_again(0xff, 6000, 109, 19), 0) << "the icon moves";
}

TEST_F(Quiet, MinuteOnTheProductionScreenDrawsNothing) {
    box().set_production();
    start();
    run_until(4100);
    EXPECT_EQ(drawn_again(0x00, 60000, 0, 128), 0);
    EXPECT_EQ(drawn_again(0xff, 60000, 0, 128), 0);
}

TEST_F(Quiet, MinuteAsAStationDrawsTheActivityIconAlone) {
    box().set_wifi_link(true);
    box().set_ssid("HomeNet");
    box().set_signal_dbm(-40);
    start();
    run_until(4100);
    EXPECT_EQ(drawn_again(0x00, 60000, 0, 109), 0);
    EXPECT_EQ(drawn_again(0xff, 60000, 0, 109), 0);
}

TEST_F(Quiet, MinuteInEachViewDrawsTheActivityIconAlone) {
    start();
    for (const char *word : {"chan_usb", "chan_ap", "chan_bt", "chan_vpn", "chan_timeout", "REC_ON", "Reboot"}) {
        command(word);
        desk().advance(3000);
        EXPECT_EQ(drawn_again(0x00, 20000, 0, 109), 0) << word;
        EXPECT_EQ(drawn_again(0xff, 20000, 0, 109), 0) << word;
        desk().panel().fill(0);
    }
}

// The meter goes on measuring under the "-.-v" that power-down shows.
TEST_F(Quiet, MinuteInPowerDownDrawsTheActivityIconAlone) {
    start();
    command("p_off");
    desk().advance(3000);
    EXPECT_EQ(drawn_again(0x00, 20000, 0, 109), 0);
    EXPECT_EQ(drawn_again(0xff, 20000, 0, 109), 0);
}

TEST_F(Quiet, MinuteRunsNoProcessAndLogsNothing) {
    box().set_jack_ready(true);
    start();
    const size_t lines = log_size();
    run_until(60000);
    EXPECT_TRUE(box().calls().empty());
    EXPECT_EQ(log_size(), lines);
    EXPECT_EQ(desk().errors(), "");
}

TEST_F(Quiet, OneSleepAMillisecond) {
    start();
    run_until(100);
    const uint32_t passes = desk().clock().passes();
    desk().advance(1000);
    EXPECT_EQ(desk().clock().passes(), passes + 1000);
}

TEST_F(Quiet, DescriptorsAreGivenBack) {
    box().set_wifi_link(true);
    box().set_ssid("HomeNet");
    box().set_signal_dbm(-40);
    box().remove_converter();
    box().set_jack_ready(true);
    box().set_firmware_type("FT_BOOT");
    start();
    run_until(4100);
    command("p_off");
    command("p_on");
    const int64_t before = descriptors();
    run_until(20100);
    for (int i = 0; i < 10; i++) {
        command("p_off");
        command("p_on");
        error_code("WIFI");
        error_code("CWIFI");
    }
    EXPECT_EQ(descriptors(), before);
}

// The two drawing buffers have 1.3 MB each, of which a panel of one bit takes 8 kB: whatever is shown, what lies behind
// has never been touched. So there are two runs of pages, nearly as long as the buffers; 8 kB lie in three at most.
TEST_F(Quiet, DrawingBuffersAreTouchedAsFarAsThePanelReaches) {
#ifdef STATUS_DISPLAY_SANITIZE
    expect_end(); // none is started
    GTEST_SKIP() << "variables have the sanitizer's pages about them";
#endif
    prepare();
    start();
    run_until(10000);
    const auto send_all = [this](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            if (word == "Error_Code") {
                error_code("WIFI12");
            } else if (word == "cd_update") {
                command(word, {3, "FT_MAIN"});
            } else {
                command(word);
            }
            desk().advance(3000);
        }
    };
    const std::vector<std::string> words = {
#define DISPLAY_COMMAND(word, handler, arguments, group, meaning) word,
#include "app/vocabulary.def"
#undef DISPLAY_COMMAND
    };
    send_all(words);
    send_all({words.rbegin(), words.rend()});

    const std::vector<bool> touched = touched_pages();
    std::vector<long> runs = {0};
    for (const bool page : touched) page ? runs.push_back(0) : void(runs.back()++);
    std::sort(runs.rbegin(), runs.rend());
    const long pages = 1310720 / sysconf(_SC_PAGESIZE);
    ASSERT_GE(runs.size(), 2u);
    for (int buffer : {0, 1}) EXPECT_GE(runs[static_cast<size_t>(buffer)], pages - 3) << "of " << pages << " pages";
    const long all = std::count(touched.begin(), touched.end(), true);
    RecordProperty("touched_pages", std::to_string(all));
    std::cout << "touched: " << all << " of " << touched.size() << " pages of zeroed variables\n";
}

TEST_F(Quiet, MemoryStaysSmall) {
#ifdef STATUS_DISPLAY_SANITIZE
    constexpr long bound = 128 * 1024;
#else
    constexpr long bound = 12 * 1024;
#endif
    const auto send_commands = [this](int rounds) {
        for (int i = 0; i < rounds; i++) {
            desk().bus().send(i % 2 == 0 ? "p_off" : "chan_usb");
            desk().bus().send("Error_Code", {std::string(200, 'x')});
            desk().bus().send("clear_msg");
            desk().advance(100);
        }
    };
    start();
    run_until(10000);
    const long at_start = resident_kilobytes();
    RecordProperty("resident_kilobytes", std::to_string(at_start));
    std::cout << "resident: " << at_start << " kB\n";
    EXPECT_LT(at_start, bound);
    send_commands(50); // what is allocated once has been, and pages in use for the first time are
    const long warm = resident_kilobytes();
    send_commands(500);
    const long grown = resident_kilobytes() - warm;
    std::cout << "grown by " << grown << " kB over 1500 commands\n";
#ifndef STATUS_DISPLAY_SANITIZE
    EXPECT_LT(grown, 100) << "one message kept of each ten would be 68 kB, all of them 684";
#endif
}

#ifndef STATUS_DISPLAY_SANITIZE
// The fifth byte of an ELF file is 1 for 32 bits and 2 for 64.
static bool daemon_is_32_bit() {
    const char *wanted = std::getenv("DESK_DAEMON");
    std::ifstream file(wanted != nullptr ? wanted : desk::find_program("status-display"), std::ios::binary);
    char begin[5] = "";
    file.read(begin, sizeof begin);
    EXPECT_TRUE(file) << "can't read the daemon's file";
    return begin[4] == 1;
}
#endif

// USB boxes stay on the screen for good, so enough of them fill LVGL's pool: then one line is logged and the
// process ends for the service manager to start it again. Sanitized builds keep objects on the heap and never
// run out.
TEST_F(Quiet, UsbBoxesFillThePool) {
    start();
    for (int i = 0; i < 200; i++) desk().bus().send("USB_update");
#ifdef STATUS_DISPLAY_SANITIZE
    desk().advance(500);
    EXPECT_EQ(desk().log().count("USB_update"), 200);
    command("nonsense");
#else
    expect_end();
    desk().clock().raise(500);
    EXPECT_EQ(desk().wait_for_exit(), 128 + 6) << "aborted";
    int critical = 0;
    for (const desk::LogLine &line : desk().log().lines()) {
        if (line.priority == LOG_CRIT) critical++;
    }
    EXPECT_EQ(critical, 1);
    const desk::LogLine last = desk().log().lines().back();
    EXPECT_EQ(last.priority, LOG_CRIT);
    EXPECT_EQ(last.text.rfind("LVGL: Out of memory in lv_", 0), 0u) << last.text;
    const int boxes = desk().log().count("USB_update") - 1; // the last one has no place any more
    RecordProperty("boxes", std::to_string(boxes));
    std::cout << boxes << " boxes\n";
    const int expected = daemon_is_32_bit() ? 72 : 40; // of about 0.4 and 0.7 KiB, in a pool of 32 KiB
    EXPECT_GE(boxes, expected - 2);
    EXPECT_LE(boxes, expected + 2);
#endif
}

} // namespace end_to_end
