// The Wi-Fi debug panel: which tools it runs, and their raw lines in the two labels.
#include "support.h"

#include "probes/readers.h"
#include "screen/measurement_area.h"
#include "probes/wifi.h"
#include "screen/status_screen.h"

namespace {

static const std::string SIGNAL_COMMAND = "iw dev wlan0 link|grep signal|awk '{print $2}'";
static const std::string NOISE_COMMAND = "wl noise";

class WifiDebug : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        write_file(FLAG_WIFI_DEBUG, "");
        answer_commands([](const std::string &) { return std::nullopt; });
        status_screen_create();
        ASSERT_NE(display_state.debug_noise_label, nullptr);
        ASSERT_NE(display_state.debug_rssi_label, nullptr);
        shell_commands.clear();
    }
    void TearDown() override {
        EXPECT_EQ(open_pipes, 0);
        EXPECT_EQ(null_pcloses, 0);
        ComponentTest::TearDown();
    }
    void tools_print(const std::optional<std::string> &rssi, const std::optional<std::string> &noise) {
        answer_commands([rssi, noise](const std::string &command) { return command == NOISE_COMMAND ? noise : rssi; });
        wifi_debug_task(nullptr);
    }
    // Texts, and their places in the upper and in the lower right corner of the box.
    void expect_labels(const std::string &rssi, const std::string &noise) {
        lv_obj_t *upper = display_state.debug_noise_label, *lower = display_state.debug_rssi_label;
        EXPECT_EQ(lv_label_get_text(upper), noise);
        EXPECT_EQ(lv_label_get_text(lower), rssi);
        EXPECT_EQ(lv_obj_get_x(upper), 59 - lv_obj_get_width(upper) - 2);
        EXPECT_EQ(lv_obj_get_y(upper), 0);
        EXPECT_EQ(lv_obj_get_x(lower), 59 - lv_obj_get_width(lower) - 2);
        EXPECT_EQ(lv_obj_get_y(lower), 30 - lv_obj_get_height(lower));
    }
};

TEST_F(WifiDebug, LabelsMoveFromTheirFirstPlaces) {
    lv_obj_t *upper = display_state.debug_noise_label, *lower = display_state.debug_rssi_label;
    EXPECT_EQ(lv_obj_get_x(upper), 59 - lv_obj_get_width(upper) - 2);
    EXPECT_EQ(lv_obj_get_y(upper), -6);
    EXPECT_EQ(lv_obj_get_x(lower), 59 - lv_obj_get_width(lower) - 2);
    EXPECT_EQ(lv_obj_get_y(lower), 30 - lv_obj_get_height(lower) + 2);
    tools_print("-55\n", "-90\n");
    expect_labels("-55", "-90");
}

TEST_F(WifiDebug, SignalFirstThenNoise) {
    tools_print("-55\n", "-90\n");
    EXPECT_EQ(shell_commands, (std::vector<std::string>{SIGNAL_COMMAND, NOISE_COMMAND}));
}

TEST_F(WifiDebug, TextsAreShownAsPrinted) {
    for (const char *text : {"-55", "-5 dBm", "0", "not connected", "a", "", "wide text that leaves the box"}) {
        tools_print(std::string(text) + "x\n", std::string("n") + text);
        expect_labels(std::string(text) + "x", std::string("n") + text);
    }
}

TEST_F(WifiDebug, LastLineStaysAndIsCutAtItsNewline) {
    tools_print("-55\n-56\n", "-90\n-91\n-92");
    expect_labels("-56", "-92");
    tools_print("-57\n\n", "\n");
    expect_labels("", "");
}

TEST_F(WifiDebug, NoOutputAndNoShellKeepTheTexts) {
    tools_print("", "");
    expect_labels("", "");
    tools_print("-55\n", "-90\n");
    tools_print("", "-91\n");
    expect_labels("-55", "-91");
    tools_print("-56\n", std::nullopt);
    expect_labels("-56", "-91");
    tools_print(std::nullopt, std::nullopt);
    expect_labels("-56", "-91");
}

TEST_F(WifiDebug, TextsOfEveryLengthAreReadInPiecesOf126) {
    for (size_t length = 1; length <= 300; ++length) {
        const std::string text(length, 'i');
        const std::string piece = last_piece(text + "\n", 127, "");
        tools_print(text + "\n", text + "\n");
        const std::string shown = piece.substr(0, piece.find('\n'));
        ASSERT_EQ(lv_label_get_text(display_state.debug_rssi_label), shown) << length;
        ASSERT_EQ(lv_label_get_text(display_state.debug_noise_label), shown) << length;
    }
}

TEST_F(WifiDebug, ForeignBytesAreDrawnSafely) {
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '\n') continue;
        const std::string text = {'a', static_cast<char>(byte), 'b'};
        tools_print(text, text + "\n");
        const std::string shown = byte < 0x80 ? text : "a?b";
        EXPECT_EQ(lv_label_get_text(display_state.debug_rssi_label), shown) << byte;
        EXPECT_EQ(lv_label_get_text(display_state.debug_noise_label), shown) << byte;
    }
    tools_print("cut \xe2\x82", "whole \xe2\x82\xac");
    expect_labels("cut ", "whole \xe2\x82\xac");
    draw_now();
}

TEST_F(WifiDebug, SameReadingsAreNotDrawnAgain) {
    tools_print("-55\n", "-90\n");
    forget_redraws();
    for (int i = 0; i < 10; ++i) tools_print("-55\n", "-90\n");
    draw_now();
    EXPECT_EQ(redrawn_pixels(), 0u);
    tools_print("-54\n", "-90\n");
    draw_now();
    EXPECT_GT(redrawn_pixels(), 0u);
}

TEST_F(WifiDebug, RunsTwiceASecond) {
    answer_commands([](const std::string &) { return "-55\n"; });
    run_for(5000);
    int noise = 0;
    for (const std::string &command : shell_commands) noise += command == NOISE_COMMAND;
    EXPECT_GE(noise, 9);
    EXPECT_LE(noise, 11);
    EXPECT_EQ(lv_task_t(*find_task(wifi_debug_task)).prio, LV_TASK_PRIO_HIGHEST);
}

TEST_F(WifiDebug, ToolsThroughTheRealShell) {
    answer_commands(nullptr);
    write_tool("iw", "printf 'Connected\\n\\tsignal: -63 dBm\\n'");
    write_tool("wl", "echo -- -94");
    wifi_debug_task(nullptr);
    expect_labels("-63", "-- -94");
    EXPECT_EQ(tool_calls(), (std::vector<std::string>{"iw|dev|wlan0|link|", "wl|noise|"}));
}

} // namespace
