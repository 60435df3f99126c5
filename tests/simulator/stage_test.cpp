// The stage: two panels in one box, and waits that read the panel.
#include <algorithm>
#include <filesystem>
#include <optional>

#include <gtest/gtest.h>

#include "simulator/scenario/controls.h"
#include "simulator/scenario/scenario.h"
#include "simulator/scenario/stage_text.h"

using desk::View;

TEST(Stage, ReachesBothRegistrationsWithOneSignal) {
    desk::Stage stage;
    perform(stage, "send chan_bt");
    stage.pass(2500);
    for (View view : desk::both_views) {
        const auto lines = stage.log(view);
        const auto is_command = [](const desk::LogLine &line) {
            return line.text == "Got Signal with value chan_bt\n";
        };
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), is_command), 1) << desk::name_of(view);
    }
    // The layout is registered wider, but it is drawn from the same corner.
    EXPECT_EQ(stage.picture(View::device).part(0, 0, 64, 66), stage.picture(View::layout).part(0, 0, 64, 66));
    EXPECT_GT(stage.picture(View::layout).part(64, 0, 64, 66).count_lit(), 100);
}

TEST(Stage, SharesOneBox) {
    desk::Stage stage;
    perform(stage, "supply 13.4");
    perform(stage, "wait 1s");
    const panel::Picture before = stage.picture(View::layout);
    EXPECT_TRUE(desk::shows_exactly(before.part(73, 18, 55, 15), "Max. 13.4"));
    EXPECT_EQ(stage.picture(View::device).part(9, 18, 55, 30), before.part(9, 18, 55, 30));
}

TEST(Stage, StandsStillUntilTimePasses) {
    desk::Stage stage;
    perform(stage, "start");
    EXPECT_EQ(stage.now_us(), 0);
    stage.pass(1234);
    EXPECT_EQ(stage.now_us(), 1234000);
    EXPECT_EQ(stage.desk(View::layout).clock().now_us(), 1234000);
}

TEST(Stage, ReadsEveryModeText) {
    desk::Stage stage;
    perform(stage, "wait mode AUTOCHECK...");
    const std::vector<std::pair<const char *, const char *>> modes = {
        {"M4_ready", "READY"},
        {"M4_COMM", "DIAGNOSIS"},
        {"M4_J2534", "PASSTHRU"},
        {"DoIP_on", "DOIP"},
        {"rj45_pt_enable", "DOIP ETHERNET"},
        {"REC_ON", "REC ..."},
        {"M4_COMM", "REC ON"},
        {"p_off", "POWER DOWN"},
        {"p_on", "RESTARTING..."},
    };
    for (const auto &[word, text] : modes) {
        perform(stage, std::string("send ") + word);
        EXPECT_NO_THROW(perform(stage, std::string("wait mode ") + text));
    }
    perform(stage, "warranty-lock off");
    perform(stage, "send M4_ready");
    EXPECT_NO_THROW(perform(stage, "wait mode NO WARRANTY"));
}

TEST(Stage, TakesNoTextForAnother) {
    const panel::Picture row = desk::text_picture("READY");
    EXPECT_TRUE(desk::shows_exactly(row, "READY"));
    for (const char *other : {"READ", "READY.", "REC ON", "", "ready"}) {
        EXPECT_FALSE(desk::shows_exactly(row, other)) << other;
    }
    EXPECT_FALSE(desk::shows_exactly(panel::Picture(50, 16), "READY"));
}

TEST(Stage, GivesUpWaitingAfterTenSecondsOfTheDaemonsTime) {
    desk::Stage stage;
    perform(stage, "start");
    try {
        perform(stage, "wait mode DOIP");
        FAIL() << "DOIP is not shown";
    } catch (const desk::WaitFailed &problem) {
        EXPECT_NE(std::string(problem.what()).find("does not show \"DOIP\" within 10 s"), std::string::npos);
    }
    EXPECT_GE(stage.now_us(), 10000000);
    EXPECT_LT(stage.now_us(), 10100000);
}

TEST(Stage, LooksForLogLinesSinceTheLastCommandOnly) {
    desk::Stage stage;
    perform(stage, "send chan_bt");
    perform(stage, "wait log Got Signal with value chan_bt");
    perform(stage, "send chan_usb");
    EXPECT_THROW(perform(stage, "wait log chan_bt"), desk::WaitFailed);
    EXPECT_NO_THROW(perform(stage, "wait log chan_usb"));
}

TEST(Stage, SettlesWhileTheActivityIconMoves) {
    desk::Stage stage;
    perform(stage, "wait 3s");
    perform(stage, "wait settled");
    const int64_t settled_at = stage.now_us();
    EXPECT_GE(settled_at, 3700000);
    EXPECT_LE(settled_at, 4000000);
    // A bar that grows once a second settles in between; one that grows all the time does not.
    perform(stage, "send cd_update 4 FAST");
    perform(stage, "wait settled");
    perform(stage, "wait 5s");
    const panel::Picture full = stage.picture(View::device);
    perform(stage, "wait settled");
    EXPECT_EQ(stage.picture(View::device), full);
}

TEST(Stage, PreparesTheBoxBeforeTheFirstStart) {
    desk::Stage stage;
    perform(stage, "serial NR-7");
    perform(stage, "note nothing runs yet");
    EXPECT_FALSE(stage.started());
    perform(stage, "start production");
    stage.pass(500);
    EXPECT_TRUE(desk::shows_exactly(stage.picture(View::layout).part(0, 0, 128, 12), "SN: NR-7"));
}

TEST(Stage, StartsEachVariantAndComesBack) {
    desk::Stage stage;
    perform(stage, "start debug");
    stage.pass(1000);
    EXPECT_TRUE(desk::shows_exactly(stage.picture(View::layout).part(64, 18, 59, 14), "noise"));
    perform(stage, "start production bare");
    stage.pass(1000);
    EXPECT_TRUE(desk::shows_exactly(stage.picture(View::layout).part(0, 0, 128, 12), "SN: ERROR"));
    perform(stage, "start normal");
    stage.pass(1000);
    EXPECT_NO_THROW(perform(stage, "wait mode AUTOCHECK..."));
    EXPECT_TRUE(stage.box().exists("/rodata/serial_number")) << "a box that was bare is filled again";
}

TEST(Stage, KeepsTheBoxOverARestart) {
    desk::Stage stage;
    perform(stage, "firmware-type FT_MAINAPP_J2534");
    perform(stage, "start");
    perform(stage, "wait mode PASSTHRU");
    perform(stage, "start");
    EXPECT_NO_THROW(perform(stage, "wait mode PASSTHRU"));
}

TEST(Stage, LooksForLogLinesOfTheNewDaemonAfterAStart) {
    desk::Stage stage;
    for (int i = 0; i < 5; i++) perform(stage, "send chan_bt");
    perform(stage, "wait 100ms");
    perform(stage, "send chan_usb");
    perform(stage, "start");
    EXPECT_NO_THROW(perform(stage, "wait log Match rule sent"));
}

// Both must have logged it.
TEST(Stage, LooksForLogLinesOfBoth) {
    desk::Stage stage;
    perform(stage, "start");
    stage.desk(View::layout).log().clear();
    EXPECT_THROW(perform(stage, "wait log Match rule sent"), desk::WaitFailed);
    perform(stage, "start");
    stage.desk(View::device).log().clear();
    EXPECT_THROW(perform(stage, "wait log Match rule sent"), desk::WaitFailed);
}

TEST(Stage, TakesBackWhatAVariantNeeds) {
    desk::Stage stage;
    const auto leads_to = [&](const char *file) { return stage.box().exists(file); };
    perform(stage, "start production");
    EXPECT_TRUE(leads_to("/usr/local/bin/zor-destroy-hwtest.sh"));
    perform(stage, "start debug");
    EXPECT_FALSE(leads_to("/usr/local/bin/zor-destroy-hwtest.sh"));
    EXPECT_TRUE(leads_to("/userdata/debug_wlan0"));
    perform(stage, "start");
    EXPECT_FALSE(leads_to("/userdata/debug_wlan0"));
    EXPECT_NO_THROW(perform(stage, "wait mode AUTOCHECK..."));
}

TEST(Stage, EmptiesTheBoxForEachBareStart) {
    desk::Stage stage;
    for (int i = 0; i < 2; i++) {
        perform(stage, "start bare");
        EXPECT_FALSE(stage.box().exists("/rodata/serial_number")) << i;
        EXPECT_FALSE(stage.box().exists("/usr/local/bin/iw")) << i;
        perform(stage, "serial NR-1");
    }
}

// Who watches sees each moment of a long wait.
TEST(Stage, IsWatchedAllTheTime) {
    desk::Stage stage;
    perform(stage, "start");
    int64_t seen_us = 0;
    int64_t longest_us = 0;
    stage.set_watcher([&] {
        longest_us = std::max(longest_us, stage.now_us() - seen_us);
        seen_us = stage.now_us();
    });
    stage.pass(1000);
    EXPECT_EQ(seen_us, 1000000);
    EXPECT_LE(longest_us, desk::watch_step_ms * 1000);
    stage.set_watcher([] { throw desk::WaitFailed("enough"); });
    EXPECT_THROW(stage.pass(1000), desk::WaitFailed);
    EXPECT_LE(stage.now_us(), 1000000 + desk::watch_step_ms * 1000);
}

// Each moment at which a panel had changed, in a course with steps of all lengths; as told by a watcher, for whom the
// daemons stop every 20 ms, or by a viewer, for whom they don't.
static std::vector<desk::Moment> changes_in_a_course(bool watched) {
    desk::Stage stage;
    perform(stage, "start");
    std::vector<desk::Moment> changes;
    const auto look = [&changes](const desk::Moment &moment) {
        if (changes.empty() || moment.panels != changes.back().panels) changes.push_back(moment);
    };
    if (watched) {
        stage.set_watcher([&] { look(stage.moment()); });
    } else {
        stage.set_viewer(look);
    }
    stage.pass(2501);
    const std::vector<std::string> words = {"send chan_usb", "send chan_bt"};
    size_t sent = 0;
    for (const int64_t ms : {180, 20, 180, 1, 7, 19, 160, 21, 33, 140, 161, 180, 999, 20}) {
        perform(stage, words[sent++ % 2]);
        stage.pass(ms);
    }
    // A flicker: one is taken a pass, and each picture stands for a refresh or two.
    for (int i = 0; i < 500; i++) perform(stage, words[i / 15 % 2]);
    stage.pass(600);
    perform(stage, "send cd_update 3 MAIN_FW");
    perform(stage, "send M4_update");
    stage.pass(12345);
    return changes;
}

TEST(Stage, ShowsAViewerWhatAWatcherSees) {
    const std::vector<desk::Moment> watched = changes_in_a_course(true);
    const std::vector<desk::Moment> viewed = changes_in_a_course(false);
    EXPECT_GT(watched.size(), 40u);
    ASSERT_EQ(viewed.size(), watched.size());
    for (size_t i = 0; i < watched.size(); i++) {
        ASSERT_EQ(viewed[i].now_us, watched[i].now_us) << i;
        ASSERT_EQ(viewed[i].panels, watched[i].panels) << i << ", at " << watched[i].now_us << " us";
    }
}

TEST(Stage, SaysThatADaemonHasEnded) {
    desk::Stage stage;
    perform(stage, "start");
    stage.check_alive();
    stage.desk(View::layout).stop();
    EXPECT_THROW(stage.check_alive(), desk::Error);
    EXPECT_THROW(perform(stage, "wait 100ms"), desk::Error);
    perform(stage, "start");
    EXPECT_NO_THROW(stage.check_alive()) << "started again";
    stage.desk(View::device).stop();
    EXPECT_THROW(stage.check_alive(), desk::Error);
}

// What anybody left in the box is gone, and who has its folders or its bus still has them.
TEST(Stage, BeginsAnewInItsPlace) {
    desk::Stage stage;
    const desk::Box fresh;
    perform(stage, "start debug");
    const panel::Picture first = stage.picture(View::layout);
    perform(stage, "send M4_COMM");
    perform(stage, "supply 24");
    stage.box().write("/tmp/of_somebody/file", "left over");
    stage.box().write_script("/usr/local/bin/zor-destroy-hwtest.sh", "#!/bin/sh\n");
    stage.box().remove("/rodata/wlock");
    stage.pass(1000);
    const std::string folder = stage.box().folder();
    const std::string bus = stage.bus().address();

    stage.begin_anew();
    EXPECT_FALSE(stage.started());
    EXPECT_EQ(stage.now_us(), 0);
    EXPECT_EQ(stage.picture(View::layout).count_lit(), 0);
    EXPECT_TRUE(stage.log(View::device).empty());
    EXPECT_EQ(report_of(stage.box()), report_of(fresh));
    for (const char *left : {"/tmp/of_somebody", "/usr/local/bin/zor-destroy-hwtest.sh", "/userdata/debug_wlan0"}) {
        EXPECT_FALSE(stage.box().exists(left)) << left;
    }
    EXPECT_EQ(stage.box().folder(), folder);
    EXPECT_EQ(stage.bus().address(), bus);
    perform(stage, "start debug");
    EXPECT_EQ(stage.picture(View::layout), first);

    perform(stage, "start bare");
    stage.begin_anew();
    EXPECT_TRUE(stage.box().exists("/rodata/serial_number"));
}

TEST(Stage, FollowsNoLinkOutOfTheBoxWhenItBeginsAnew) {
    desk::Stage stage;
    const desk::Box elsewhere;
    const std::string folder = stage.box().host_path("/userdata");
    std::filesystem::remove_all(folder);
    std::filesystem::create_symlink(elsewhere.host_path("/rodata"), folder);
    std::filesystem::create_symlink(elsewhere.host_path("/rodata"), stage.box().host_path("/tmp") + "/link");
    EXPECT_THROW(stage.begin_anew(), desk::Error);
    std::filesystem::remove(folder);
    std::filesystem::create_directory(folder);
    stage.begin_anew();
    EXPECT_TRUE(elsewhere.exists("/rodata/serial_number"));
}

// In parts or in one go, a wait ends at the same moment.
TEST(Stage, GoesOnStepByStep) {
    desk::Stage stage;
    for (const char *line : {"wait 1234ms", "wait mode DIAGNOSIS", "wait settled", "wait log DIAGNOSIS"}) {
        int64_t ends_us[2] = {};
        bool met[2] = {};
        for (int in_parts : {0, 1}) {
            perform(stage, "start");
            perform(stage, "send M4_COMM");
            const std::optional<desk::Action> action = desk::parse_action(line);
            try {
                desk::Wait wait = begin_wait(stage, *action);
                if (in_parts == 0) {
                    perform(stage, line);
                } else {
                    while (!stage.go_on(wait)) {
                    }
                }
                met[in_parts] = true;
            } catch (const desk::WaitFailed &) {
            }
            ends_us[in_parts] = stage.now_us();
        }
        EXPECT_EQ(met[0], met[1]) << line;
        EXPECT_EQ(ends_us[0], ends_us[1]) << line;
        EXPECT_GT(ends_us[0], 0) << line;
    }
}
