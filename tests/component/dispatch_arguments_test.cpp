// The two commands with arguments: "Error_Code" and its codes, "cd_update" and its duration and type. Also
// what anyone on the bus may send instead: nothing, or another type in each place.
#include <string.h>
#include <syslog.h>

#include <limits>

#include "messages.h"
#include "model.h"
#include "probes/wifi.h"
#include "screen/overlays.h"
#include "support.h"
#include "widgets.h"

class DispatchArguments : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        answer_commands([](const std::string &) { return ""; });
        build_status_screen();
        model = Model::of_display();
    }

    void start_over() {
        remove_boxes_beyond(model.other_objects);
        display_state = model.state;
        lv_task_set_prio(display_state.voltage_task, LV_TASK_PRIO_MID);
        lv_task_set_prio(display_state.progress_task, LV_TASK_PRIO_OFF);
        log_lines.clear();
    }

    // A box that is up with the given flags, one bit each, in the order of BOX_FLAGS; the last is the latch.
    Model start_with_boxes(unsigned bits) {
        start_over();
        if ((bits & box_bits()) != 0) show_reboot_overlay();
        for (const NamedFlag &named : BOX_FLAGS) {
            display_state.*named.flag = (bits & 1) != 0;
            bits >>= 1;
        }
        Model expected = Model::of_display();
        expected.other_objects = model.other_objects;
        expected.boxes = lv_obj_count_children(active_screen()) - model.other_objects;
        return expected;
    }

    Model model;
};

static std::string shown_error() {
    const auto parts = children_of(display_state.overlay);
    for (lv_obj_t *part : parts) {
        if (is_a(part, "lv_label")) return lv_label_get_text(part);
    }
    return "no label";
}

// ---- Error_Code

TEST_F(DispatchArguments, ErrorWithoutCodeOnlyComplains) {
    for (unsigned bits = 0; bits < combinations(BOX_FLAGS); bits++) {
        Model expected = start_with_boxes(bits);
        expected.command("Error_Code");
        send_command("Error_Code");
        EXPECT_EQ(expected.difference(), "") << bits;
    }
    start_over();
    send_command("Error_Code and %s more");
    ASSERT_EQ(log_lines.size(), 1u);
    EXPECT_EQ(log_lines[0].priority, LOG_ERR);
    EXPECT_EQ(log_lines[0].text, "not alone my friend... Error_Code and %s more\n");
}

TEST_F(DispatchArguments, CodeOfAnotherTypeCountsAsMissing) {
    for (int i = 0; i < ARGUMENT_SIGNATURE_COUNT; i++) {
        const std::string signature = ARGUMENT_SIGNATURES[i];
        if (signature == "s") continue;
        const unsigned latch = combinations(BOX_FLAGS) / 2;
        for (const unsigned bits : {0u, latch, latch + 2, 2 * latch - 1}) {
            Model expected = start_with_boxes(bits);
            expected.command("Error_Code");
            Message message("Error_Code");
            message.with(Argument::of_signature(signature.c_str())).with("E42");
            dispatch_message(message);
            EXPECT_EQ(expected.difference(), "") << signature << " over " << bits;
        }
    }
}

TEST_F(DispatchArguments, EveryCodeOverEveryBox) {
    const char *codes[] = {"",       "E",     "E4",     "E42", "LX42",   "W",     "WI",     "WIF",     "WIFI",  "WIFI0",
                           "WIFI01", "C",     "CW",     "CWI", "CWIF",   "CWIFI", "CWIFI0", "wifi",    "cwifi", "WiFI",
                           " WIFI",  "XWIFI", "XCWIFI", "IFI", "%s%n%d", "a\nb",  "WIFI\n", "CWIFI\nx"};
    for (const char *code : codes) {
        for (unsigned bits = 0; bits < combinations(BOX_FLAGS); bits++) {
            Model expected = start_with_boxes(bits);
            expected.command("Error_Code", {}, code);
            send_command("Error_Code", code);
            ASSERT_EQ(expected.difference(), "") << code << " over " << bits;
            if (expected.boxes == 1 && display_state.error_shown && !display_state.reboot_shown &&
                (bits & box_bits()) == 0) {
                ASSERT_EQ(shown_error(), expected.state.error_text) << code;
            }
        }
    }
}

TEST_F(DispatchArguments, ErrorTextsAsTheyAreShown) {
    send_command("Error_Code", "WIFI17");
    EXPECT_EQ(shown_error(), "ERROR: WIFI\n Connection");
    send_command("Error_Code", "E42");
    EXPECT_EQ(shown_error(), "ERROR\n E42");
    send_command("M4_error");
    EXPECT_EQ(shown_error(), "ERROR\n LX-M4-1");
    send_command("Error_Code", "");
    EXPECT_EQ(shown_error(), "ERROR\n ");
}

TEST_F(DispatchArguments, LongCodesAreCut) {
    for (size_t length : {0, 1, 2, 3, 4, 5, 119, 120, 121, 126, 127, 128, 129, 130, 1000, 100000}) {
        start_over();
        send_command("Error_Code", std::string(length, 'x'));
        const std::string expected = "ERROR\n " + std::string(std::min<size_t>(length, 120), 'x');
        EXPECT_EQ(display_state.error_text, expected) << length;
        EXPECT_EQ(shown_error(), expected) << length;
    }
}

TEST_F(DispatchArguments, CutsLeaveWholeCharacters) {
    for (const std::string letter : {"\u00e9", "\u20ac", "\U0001f697"}) {
        for (size_t lead = 110; lead <= 121; lead++) {
            std::string code(lead, 'x');
            for (int i = 0; i < 10; i++) code += letter;
            start_over();
            send_command("Error_Code", code);
            EXPECT_EQ(display_state.error_text, cut_to("ERROR\n " + code, 127)) << letter << " from " << lead;
            EXPECT_EQ(shown_error(), display_state.error_text);

            send_command("cd_update", 10, code);
            EXPECT_EQ(display_state.fw_type, cut_to(code, 127)) << letter << " from " << lead;
            EXPECT_EQ(std::string(lv_label_get_text(display_state.fw_type_label)), cut_to(code, 127));
        }
    }
}

TEST_F(DispatchArguments, ClearedWifiErrorFetchesTheStation) {
    write_file("/sys/class/net/wlan0/link_mode", "1\n");
    write_file("/sys/class/net/wlan0/operstate", "up\n");
    answer_commands([](const std::string &) { return "HomeNet\n"; });

    send_command("Error_Code", "CWIFI");
    EXPECT_TRUE(shell_commands.empty()) << "no Wi-Fi error was shown yet";
    EXPECT_FALSE(display_state.chan_sta);

    for (int again = 0; again < 2; again++) {
        send_command("Error_Code", "WIFI1");
        send_command("chan_usb");
        shell_commands.clear();
        send_command("Error_Code", "CWIFI");
        EXPECT_EQ(shell_commands.size(), 1u) << "the network's name";
        EXPECT_TRUE(display_state.chan_sta);
        EXPECT_TRUE(display_state.chan_usb) << "no other channel is cleared";
        EXPECT_TRUE(display_state.wifi_error_latched);
        EXPECT_FALSE(display_state.error_shown);
    }
    EXPECT_EQ(display_state.conn_shown, CONN_STATION);

    send_command("M4_update");
    shell_commands.clear();
    display_state.chan_sta = false;
    send_command("Error_Code", "CWIFI");
    EXPECT_TRUE(shell_commands.empty());
    EXPECT_FALSE(display_state.chan_sta);
    EXPECT_TRUE(display_state.fw_overlay_shown);
}

// ---- cd_update

TEST_F(DispatchArguments, UpdateWithEveryNumberOfArguments) {
    constexpr int32_t LOWEST = std::numeric_limits<int32_t>::min(), HIGHEST = std::numeric_limits<int32_t>::max();
    for (const int32_t seconds : {0, 1, 120, -1, 32767, 32768, 65536, LOWEST, HIGHEST}) {
        for (unsigned bits = 0; bits < combinations(BOX_FLAGS); bits++) {
            Model expected = start_with_boxes(bits);
            // The bar that is up must exist for the firmware flag.
            if (display_state.fw_overlay_shown) continue;
            expected.command("cd_update");
            send_command("cd_update");
            ASSERT_EQ(expected.difference(), "") << "no argument over " << bits;

            log_lines.clear();
            expected.command("cd_update", seconds);
            send_command("cd_update", seconds);
            ASSERT_EQ(expected.difference(), "") << seconds << " over " << bits;

            log_lines.clear();
            display_state.fw_progress = expected.state.fw_progress = 77;
            expected.command("cd_update", seconds, "FT_MAIN");
            send_command("cd_update", seconds, "FT_MAIN");
            ASSERT_EQ(expected.difference(), "") << seconds << " and a type over " << bits;

            log_lines.clear();
            display_state.fw_progress = expected.state.fw_progress = 78;
            expected.command("cd_update", 60, "OTHER");
            send_command("cd_update", 60, "OTHER", 5, "more");
            ASSERT_EQ(expected.difference(), "") << "a second one over " << bits;
        }
    }
}

TEST_F(DispatchArguments, WrongTypesEndTheUpdateWhereTheyStand) {
    for (int i = 0; i < ARGUMENT_SIGNATURE_COUNT; i++) {
        const std::string signature = ARGUMENT_SIGNATURES[i];
        const Argument wrong = Argument::of_signature(signature.c_str());
        if (signature != "i") {
            start_over();
            Model expected = Model::of_display();
            expected.command("cd_update");
            Message message("cd_update");
            message.with(wrong).with("FT_MAIN");
            dispatch_message(message);
            EXPECT_EQ(expected.difference(), "") << signature << " for the seconds";
        }
        if (signature != "s") {
            start_over();
            Model expected = Model::of_display();
            expected.command("cd_update", 120);
            Message message("cd_update");
            message.with(120).with(wrong).with("FT_MAIN");
            dispatch_message(message);
            EXPECT_EQ(expected.difference(), "") << signature << " for the type";
        }
    }
}

TEST_F(DispatchArguments, SecondUpdateRelabelsTheSameBox) {
    send_command("cd_update", 120, "FIRST");
    lv_obj_t *box = display_state.overlay;
    lv_obj_t *bar = display_state.fw_progress_bar;
    lv_obj_t *label = display_state.fw_type_label;
    EXPECT_EQ(lv_bar_get_max_value(bar), 120);
    run_for(5500);
    EXPECT_EQ(lv_bar_get_value(bar), 5);

    const size_t objects = children_of(active_screen()).size();
    send_command("cd_update", 60, "A LONGER SECOND ONE");
    EXPECT_EQ(children_of(active_screen()).size(), objects);
    EXPECT_EQ(display_state.overlay, box);
    EXPECT_EQ(display_state.fw_progress_bar, bar);
    EXPECT_STREQ(lv_label_get_text(label), "A LONGER SECOND ONE");
    EXPECT_EQ(position_of(label), aligned_position(label, LV_ALIGN_CENTER, 0, -2));
    EXPECT_EQ(lv_bar_get_min_value(bar), 0);
    EXPECT_EQ(lv_bar_get_max_value(bar), 60);
    EXPECT_EQ(lv_bar_get_value(bar), 0);
    EXPECT_EQ(display_state.fw_progress, 0u);
}

TEST_F(DispatchArguments, TypeOutlivesItsMessage) {
    for (const std::string type : {"FT_MAIN", "", "a\nb", "%s%n"}) {
        start_over();
        send_command("cd_update", 30, type);
        send_command("clear_msg");
        send_command("Error_Code", "something else in between");
        send_command("clear_msg");
        send_command("M4_update");
        EXPECT_STREQ(lv_label_get_text(display_state.fw_type_label), type.c_str());
        EXPECT_EQ(lv_bar_get_max_value(display_state.fw_progress_bar), 30);
    }
}

TEST_F(DispatchArguments, LongTypesAreCut) {
    for (size_t length : {1, 126, 127, 128, 129, 130, 1000, 100000}) {
        start_over();
        send_command("cd_update", 30, std::string(length, 'y'));
        EXPECT_EQ(display_state.fw_type, std::string(std::min<size_t>(length, 127), 'y')) << length;
        EXPECT_TRUE(display_state.fw_overlay_shown);
    }
}

TEST_F(DispatchArguments, UpdateInProductionAlsoWritesTheFirmwareRow) {
    build_production_screen();
    struct Step {
        const char *word, *row;
    };
    const Step steps[] = {{"M4_done", "FW: Latest Version"},  {"cd_update", "FW: Updating..."},
                          {"M4_error", "FW: Error Updating"}, {"M4_update", "FW: Updating..."},
                          {"M4_error", "FW: Error Updating"}, {"cd_update", "FW: Updating..."},
                          {"Reboot", "FW: Updating..."},      {"M4_done", "FW: Latest Version"}};
    for (const Step &step : steps) {
        log_lines.clear();
        send_command(step.word);
        EXPECT_STREQ(lv_label_get_text(display_state.fw_status_label), step.row) << step.word;
        if (strcmp(step.word, "M4_error") == 0) {
            ASSERT_EQ(log_lines.size(), 1u);
            EXPECT_EQ(log_lines[0].text, "err!");
            EXPECT_FALSE(display_state.error_shown) << "the row says it";
        }
        EXPECT_FALSE(display_state.ready);
    }
    send_command("cd_update", 20, "FT_MAIN");
    EXPECT_TRUE(display_state.fw_overlay_shown) << "the box comes up in production too";
}
