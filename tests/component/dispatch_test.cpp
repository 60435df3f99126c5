// What each word does to the record, to the boxes and to the two tasks, from every start that
// matters, compared with the plain model; and how words are recognised. The arguments of "Error_Code" and
// "cd_update" have their own file.
#include "app/dispatch.h"

#include <string.h>

#include "messages.h"
#include "model.h"
#include "screen/overlays.h"
#include "support.h"
#include "widgets.h"

class Dispatch : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        answer_commands([](const std::string &) { return ""; });
        build_status_screen();
        model = Model::of_display();
        log_lines.clear();
    }

    // From the present record: `word` must do to the display what it does to the model.
    std::string difference_after(const std::string &word, Message &message) {
        model.state = display_state;
        model.boxes = 0;
        model.command(word);
        dispatch_message(message);
        const std::string difference = model.difference();
        log_lines.clear();
        remove_boxes_beyond(model.other_objects);
        return difference;
    }

    std::string difference_after(const std::string &word, const std::string &as_sent) {
        Message message(as_sent.c_str());
        return difference_after(word, message);
    }

    Model model;
};

static void set_flags(const std::vector<NamedFlag> &flags, unsigned bits) {
    for (const NamedFlag &named : flags) {
        display_state.*named.flag = (bits & 1) != 0;
        bits >>= 1;
    }
}

// ---- Recognition

static bool begins_with(const std::string &text, const std::string &word) {
    return text.substr(0, word.size()) == word;
}

TEST_F(Dispatch, PrefixHoldsForAllShortTexts) {
    std::vector<std::string> texts = {""};
    for (size_t i = 0; i < texts.size() && texts[i].size() < 4; i++) {
        for (const char *letter : {"a", "b", "\xff"}) texts.push_back(texts[i] + letter);
    }
    ASSERT_EQ(texts.size(), 121u);
    for (const std::string &word : texts) {
        for (const std::string &text : texts) {
            ASSERT_EQ(is_prefix(word.c_str(), text.c_str()), begins_with(text, word)) << word << " in " << text;
        }
    }
}

TEST_F(Dispatch, ProperPrefixesOfWordsDoNothing) {
    for (const std::string &word : ALL_WORDS) {
        for (size_t length = 0; length < word.size(); length++) {
            set_flags(MODE_FLAGS, 0x155);
            EXPECT_EQ(difference_after("nothing", word.substr(0, length)), "") << word << " cut to " << length;
        }
    }
}

TEST_F(Dispatch, AnythingMayFollowAWord) {
    std::vector<std::string> tails = {" ", "ition", "_more", "\n", std::string(500, 'x'), "\u00e9"};
    for (char c = 1; c < 127; c++) tails.push_back(std::string(1, c));
    for (const std::string &word : ALL_WORDS) {
        if (word == "Error_Code") continue; // says the whole command in its complaint: a test of its own
        for (const std::string &tail : tails) {
            const DisplayState before = display_state;
            EXPECT_EQ(difference_after(word, word + tail), "") << word << " followed by " << tail;
            display_state = before;
            set_flags(BOX_FLAGS, 0);
        }
    }
}

TEST_F(Dispatch, CaseMatters) {
    for (const std::string &word : ALL_WORDS) {
        for (size_t i = 0; i < word.size(); i++) {
            if (!isalpha(word[i])) continue;
            std::string other = word;
            other[i] = static_cast<char>(other[i] ^ 0x20);
            set_flags(MODE_FLAGS, 0x2AA);
            EXPECT_EQ(difference_after("nothing", other), "") << other;
        }
    }
}

TEST_F(Dispatch, UnknownWordsAreIgnoredWithoutALogLine) {
    for (const char *unknown :
         {"", " ", " Reboot", "hello", "chan_", "M4_", "M4_DONE", "REC", "p_", "%s%n", "\n", "?"}) {
        EXPECT_EQ(difference_after("nothing", unknown), "") << unknown;
    }
}

TEST_F(Dispatch, WordsWithoutArgumentsIgnoreWhatFollows) {
    for (const std::string &word : ALL_WORDS) {
        if (word == "Error_Code" || word == "cd_update") continue;
        for (int i = 0; i < ARGUMENT_SIGNATURE_COUNT; i++) {
            Message message(word.c_str());
            message.with(Argument::of_signature(ARGUMENT_SIGNATURES[i]));
            EXPECT_EQ(difference_after(word, message), "") << word << " with " << ARGUMENT_SIGNATURES[i];
            set_flags(BOX_FLAGS, 0);
        }
    }
}

// ---- Effects from every start

TEST_F(Dispatch, EveryWordFromEveryModeFlag) {
    for (const std::string &word : ALL_WORDS) {
        Message message(word.c_str());
        for (unsigned modes = 0; modes < combinations(MODE_FLAGS); modes++) {
            for (const unsigned channels : {0u, combinations(CHANNEL_FLAGS) - 1}) {
                set_flags(MODE_FLAGS, modes);
                set_flags(CHANNEL_FLAGS, channels);
                set_flags(BOX_FLAGS, 0);
                ASSERT_EQ(difference_after(word, message), "") << word << ", modes " << modes;
            }
        }
    }
}

TEST_F(Dispatch, EveryWordFromEveryChannelAndView) {
    for (const std::string &word : ALL_WORDS) {
        Message message(word.c_str());
        for (unsigned bits = 0; bits < 8 * combinations(CHANNEL_FLAGS); bits++) {
            for (const int shown : ALL_VIEWS) {
                set_flags(BOX_FLAGS, 0);
                display_state.power_down = (bits & 1) != 0;
                strcpy(display_state.wifi_ssid, (bits & 2) != 0 ? "HomeNet\n" : "");
                strcpy(display_state.last_quality, (bits & 4) != 0 ? "50" : "");
                set_flags(CHANNEL_FLAGS, bits / 8);
                display_state.wifi_quality = "50";
                display_state.conn_shown = shown;
                ASSERT_EQ(difference_after(word, message), "") << word << ", start " << bits << ", view " << shown;
            }
        }
    }
}

// Two flags at once are what "USB_done" leaves behind.
TEST_F(Dispatch, EveryWordOverEveryBox) {
    for (const std::string &word : ALL_WORDS) {
        for (unsigned bits = 0; bits < 4 * combinations(BOX_FLAGS); bits++) {
            const unsigned flags = bits / 4;
            if ((flags & box_bits()) != 0) show_reboot_overlay();
            set_flags(BOX_FLAGS, flags);
            set_flags(MODE_FLAGS, 0);
            display_state.power_down = (bits & 1) != 0;
            lv_task_set_prio(display_state.voltage_task, (bits & 2) != 0 ? LV_TASK_PRIO_OFF : LV_TASK_PRIO_MID);
            lv_task_set_prio(display_state.progress_task, (bits & 2) != 0 ? LV_TASK_PRIO_MID : LV_TASK_PRIO_OFF);

            Model expected = Model::of_display();
            expected.other_objects = model.other_objects;
            expected.boxes = (flags & box_bits()) != 0;
            expected.command(word);
            send_command(word);
            ASSERT_EQ(expected.difference(), "") << word << ", start " << bits;
            log_lines.clear();
            remove_boxes_beyond(model.other_objects);
        }
    }
}

TEST_F(Dispatch, EveryWordOverEveryBoxInProduction) {
    build_production_screen();
    log_lines.clear();
    const int rows = lv_obj_count_children(active_screen());
    for (const std::string &word : ALL_WORDS) {
        for (unsigned bits = 0; bits < 2 * combinations(BOX_FLAGS); bits++) {
            const unsigned flags = bits / 2;
            if ((flags & box_bits()) != 0) show_error_overlay();
            set_flags(BOX_FLAGS, flags);
            set_flags(MODE_FLAGS, (bits & 1) != 0 ? combinations(MODE_FLAGS) - 1 : 0);

            Model expected = Model::of_display();
            expected.other_objects = rows;
            expected.boxes = (flags & box_bits()) != 0;
            expected.command(word);
            send_command(word);
            ASSERT_EQ(expected.difference(), "") << word << ", start " << bits;
            log_lines.clear();
            remove_boxes_beyond(rows);
        }
    }
}

// The debug panel's screen has no meter to pause.
TEST_F(Dispatch, EveryWordWithoutAVoltageTask) {
    write_file("/userdata/debug_wlan0", "");
    build_status_screen();
    ASSERT_EQ(display_state.voltage_task, nullptr);
    model = Model::of_display();
    for (const std::string &word : ALL_WORDS) {
        for (unsigned boxes = 0; boxes <= box_bits(); boxes++) {
            if (boxes != 0) show_reboot_overlay();
            set_flags(BOX_FLAGS, boxes);
            Model expected = Model::of_display();
            expected.other_objects = model.other_objects;
            expected.boxes = boxes != 0;
            expected.command(word);
            send_command(word);
            EXPECT_EQ(expected.difference(), "") << word << " over " << boxes;
            log_lines.clear();
            remove_boxes_beyond(model.other_objects);
        }
    }
}

// ---- The uneven ones, named one by one and apart from the model

static bool power_down_after(const char *word) {
    display_state.power_down = false;
    send_command("p_off");
    send_command(word);
    return display_state.power_down;
}

TEST_F(Dispatch, PowerDownIsRespectedBySomeAndEndedByOthers) {
    for (const char *word : {"M4_ready", "M4_none", "REC_OFF", "DoIP_off", "rj45_pt_disable", "rj45_pt_enable"}) {
        EXPECT_TRUE(power_down_after(word)) << word;
        EXPECT_FALSE(display_state.ready || display_state.mode_doip_ethernet) << word;
    }
    for (const char *word : {"M4_COMM", "M4_J2534", "REC_ON", "DoIP_on", "p_on"}) {
        EXPECT_FALSE(power_down_after(word)) << word;
    }
}

TEST_F(Dispatch, PowerOffClearsTheChannelsAndLeavesTheRow) {
    send_command("chan_bt");
    send_command("p_off");
    EXPECT_EQ(display_state.conn_shown, 4);
    for (const NamedFlag &channel : CHANNEL_FLAGS) EXPECT_FALSE(display_state.*channel.flag) << channel.name;
}

TEST_F(Dispatch, RecordingIsConfirmedByCommunication) {
    send_command("REC_ON");
    EXPECT_TRUE(display_state.mode_rec);
    EXPECT_FALSE(display_state.rec_active);
    send_command("M4_COMM");
    EXPECT_TRUE(display_state.mode_rec);
    EXPECT_TRUE(display_state.rec_active);
    EXPECT_FALSE(display_state.mode_diagnosis);
    send_command("p_off");
    EXPECT_TRUE(display_state.rec_active);
    send_command("REC_OFF");
    EXPECT_FALSE(display_state.rec_active);
    EXPECT_TRUE(display_state.power_down);
}

TEST_F(Dispatch, UpdateDoneIsReadyBesideEverythingElse) {
    for (const NamedFlag &mode : MODE_FLAGS) {
        set_flags(MODE_FLAGS, 0);
        display_state.*mode.flag = true;
        send_command("M4_done");
        EXPECT_TRUE(display_state.ready) << mode.name;
        EXPECT_TRUE(display_state.*mode.flag) << mode.name;
    }
}

TEST_F(Dispatch, TimeoutSparesTheStation) {
    send_command("chan_sta");
    send_command("chan_timeout");
    EXPECT_TRUE(display_state.chan_sta);
    send_command("chan_bt");
    send_command("chan_timeout");
    for (const NamedFlag &channel : CHANNEL_FLAGS) EXPECT_FALSE(display_state.*channel.flag) << channel.name;
}

TEST_F(Dispatch, UsbDoneCoversAndClearRemovesOnlyTheCover) {
    const size_t before = children_of(active_screen()).size();
    send_command("Error_Code", "E42");
    lv_obj_t *error_box = display_state.overlay;
    send_command("USB_done");
    EXPECT_TRUE(display_state.error_shown && display_state.reboot_shown);
    send_command("clear_msg");
    ASSERT_EQ(children_of(active_screen()).size(), before + 1);
    EXPECT_EQ(children_of(active_screen()).back(), error_box);
    EXPECT_FALSE(display_state.error_shown || display_state.reboot_shown);
    send_command("clear_msg");
    EXPECT_EQ(children_of(active_screen()).size(), before + 1);
}
