// `display-sim play` as people and CI use it: exit status, messages, and the files it leaves.
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "panel/picture.h"
#include "simulator/scenario/play_film.h"
#include "simulator/scenario/stage_text.h"

#include "png_reader.h"
#include "support.h"

using namespace simulator_test;

// Plays a scenario made of these lines, pictures in "out".
static Outcome play(const Folder &folder, const std::string &lines, std::vector<std::string> more = {}) {
    std::vector<std::string> words = {"play", folder.write("scenario.scenario", lines), "--out",
                                      folder.path() + "/out"};
    words.insert(words.end(), more.begin(), more.end());
    return display_sim(words);
}

// What no panel shows.
static std::string wrong_picture() { return panel::Picture(64, 128).to_pbm(); }

TEST(Play, WritesPicturesOfBothPanels) {
    const Folder folder;
    const Outcome outcome = play(folder, "send chan_bt\nwait 2500ms\npicture phone\n");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    const auto device = panel::Picture::from_pbm(folder.read("out/phone-device.pbm"));
    const auto layout = panel::Picture::from_pbm(folder.read("out/phone-layout.pbm"));
    EXPECT_EQ(device.width(), 64);
    EXPECT_EQ(device.height(), 128);
    EXPECT_EQ(layout.width(), 128);
    EXPECT_EQ(layout.height(), 66);
    for (const auto &[name, picture] : {std::pair{"device", device}, std::pair{"layout", layout}}) {
        const Png png = read_png(folder.read("out/phone-" + std::string(name) + ".png"));
        ASSERT_EQ(png.problem, "") << name;
        EXPECT_EQ(reduced(png.frames[0].shown, 4), picture) << name;
    }
}

TEST(Play, ShowsTheSameViewAsTheGoldenPanel) {
    const Folder folder;
    EXPECT_EQ(play(folder, "send chan_usb\nwait 2500ms\npicture usb\n").status, 0);
    const auto shown = panel::Picture::from_pbm(folder.read("out/usb-device.pbm"));
    const auto golden = panel::Picture::load_pbm(TEST_SOURCE_DIR "/simulator/scenarios/views/view_usb-device.pbm");
    EXPECT_EQ(shown, golden);
}

TEST(Play, TellsWhatItDoesAndWhen) {
    const Folder folder;
    const Outcome outcome = play(folder, "# quiet\nwait 1500ms\nsend M4_ready\nwait mode READY\nnote All is well\n");
    EXPECT_TRUE(contains(outcome.output, "   0.000 s  wait 1500ms\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "   1.500 s  send M4_ready\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "note All is well\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "scenario: 4 lines")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "as expected\n")) << outcome.output;
}

TEST(Play, GivesTheSameFilesEachTime) {
    const std::string scenario =
        "send chan_bt\nwait 1s\nsend REC_ON\nwait settled\npicture a\nsend cd_update 9 "
        "FW\nwait 6s\npicture b\n";
    const Folder once;
    const Folder again;
    EXPECT_EQ(play(once, scenario).status, 0);
    EXPECT_EQ(play(again, scenario).status, 0);
    ASSERT_EQ(once.names(), again.names());
    EXPECT_EQ(once.names().size(), 10u) << "the scenario, two pictures as PBM and PNG of two panels, the film";
    for (const std::string &name : once.names()) EXPECT_TRUE(once.read(name) == again.read(name)) << name;
}

TEST(Play, MakesAFilmOfWhatChanged) {
    const Folder folder;
    const Outcome outcome = play(folder, "note Hello\nwait 3s\nsend M4_ready\nwait 60s\nnote Later\npicture end\n");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const std::string bytes = folder.read("out/scenario-film.png");
    const Png film = read_png(bytes);
    ASSERT_EQ(film.problem, "");
    EXPECT_TRUE(film.animated);
    // Start, meter, icons, READY and the caption: a moving activity icon alone makes no frame.
    EXPECT_GE(film.frames.size(), 4u);
    EXPECT_LE(film.frames.size(), 12u);
    for (const PngFrame &frame : film.frames) {
        const bool last = &frame == &film.frames.back();
        EXPECT_LE(frame.delay_ms, last ? 4000 : 1500) << "quiet times are shortened";
        EXPECT_GE(frame.delay_ms, 20) << "each frame can be seen";
    }
    EXPECT_LT(bytes.size(), 20000u);
    // The last frame shows both panels whole.
    const panel::Picture end = reduced(film.frames.back().shown, 4);
    const auto device = panel::Picture::from_pbm(folder.read("out/end-device.pbm"));
    bool found = false;
    for (int x = 0; x < end.width() && !found; x++) {
        for (int y = 0; y < 20 && !found; y++) found = end.part(x, y, 64, 128) == device;
    }
    EXPECT_TRUE(found);
}

/* ---- the film by itself ---- */

static Png saved(const Folder &folder, const desk::Film &film) {
    film.save(folder.path() + "/film.png");
    return read_png(folder.read("film.png"));
}

TEST(Film, ShowsTheWholeCaption) {
    const std::string caption = "one two three four five six seven nine ten eleven twelve";
    const panel::Picture dark = desk::side_by_side(panel::Picture(128, 66), panel::Picture(64, 128), "");
    const panel::Picture picture = desk::side_by_side(panel::Picture(128, 66), panel::Picture(64, 128), caption);
    EXPECT_EQ(picture.width(), dark.width()) << "all frames are of one size";
    EXPECT_EQ(picture.height(), dark.height());
    EXPECT_EQ(picture.count_lit() - dark.count_lit(), desk::text_picture(caption).count_lit()) << "each word of it";
    const Folder folder;
    desk::Stage stage;
    desk::Film film(stage);
    film.set_caption("Hello");
    EXPECT_EQ(reduced(saved(folder, film).frames.at(0).shown, 4),
              desk::side_by_side(stage.picture(desk::View::layout), stage.picture(desk::View::device), "Hello"));
}

// The clock goes back with a start.
TEST(Film, LastsOverAStart) {
    const Folder folder;
    desk::Stage stage;
    desk::Film film(stage);
    stage.start();
    stage.pass(60000);
    film.set_caption("before");
    stage.start();
    film.set_caption("after");
    stage.pass(700);
    film.set_caption("end");
    const Png png = saved(folder, film);
    ASSERT_EQ(png.frames.size(), 3u);
    EXPECT_EQ(png.frames[0].delay_ms, 1500) << "as long as anything quiet";
    EXPECT_EQ(png.frames[1].delay_ms, 700);
}

TEST(Film, HasAnEnd) {
    desk::Stage stage;
    desk::Film film(stage);
    for (int i = 0; i < 3200; i++) film.set_caption("x");
    EXPECT_LE(film.frames(), 3000u);
    EXPECT_GT(film.frames(), 2000u);
}

// A long wait is watched like everything else.
TEST(Play, FilmsWhatChangesDuringOneWait) {
    const Folder folder;
    EXPECT_EQ(play(folder, "send cd_update 10 MAIN\nwait 12s\n").status, 0);
    const Png film = read_png(folder.read("out/scenario-film.png"));
    ASSERT_EQ(film.problem, "");
    EXPECT_GE(film.frames.size(), 10u) << "the bar grows every second";
}

TEST(Play, ComparesWithExpectedPictures) {
    const Folder folder;
    const std::string scenario = "wait 3s\nexpect seen/start-layout.pbm\nexpect seen/start-device.pbm\n";
    const Outcome missing = play(folder, scenario);
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(contains(missing.errors,
                         "scenario.scenario:2: there is no picture " + folder.path() + "/seen/start-layout.pbm"))
        << missing.errors;
    EXPECT_TRUE(contains(missing.errors, "--update")) << missing.errors;
    EXPECT_TRUE(folder.has("out/start-layout.actual.png"));

    const Outcome update = play(folder, scenario, {"--update"});
    EXPECT_EQ(update.status, 0) << update.errors;
    EXPECT_TRUE(contains(update.output, "wrote " + folder.path() + "/seen/start-device.pbm")) << update.output;
    EXPECT_EQ(play(folder, scenario).status, 0);
    EXPECT_FALSE(contains(play(folder, scenario, {"--update"}).output, "wrote")) << "what is right is left alone";
}

TEST(Play, ComparesBothPanelsWithAName) {
    const Folder folder;
    const std::string scenario = "wait 3s\nexpect seen/start\n";
    const Outcome missing = play(folder, scenario);
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(contains(missing.output, ": 2 NOT as expected\n")) << missing.output;
    for (const char *file : {"start-device", "start-layout"}) {
        const std::string problem =
            "scenario.scenario:2: there is no picture " + folder.path() + "/seen/" + file + ".pbm";
        EXPECT_TRUE(contains(missing.errors, problem)) << missing.errors;
        EXPECT_TRUE(folder.has(std::string("out/") + file + ".actual.png"));
    }
    EXPECT_EQ(play(folder, scenario, {"--update"}).status, 0);
    EXPECT_EQ(panel::Picture::from_pbm(folder.read("seen/start-device.pbm")).width(), 64);
    EXPECT_EQ(panel::Picture::from_pbm(folder.read("seen/start-layout.pbm")).width(), 128);
    EXPECT_EQ(play(folder, scenario).status, 0);
    // Each panel counts; and the two ways to say it mean the same file.
    folder.write("seen/start-layout.pbm", wrong_picture());
    const Outcome wrong = play(folder, scenario + "expect seen/start-device.pbm\n");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_TRUE(contains(wrong.output, ": 1 NOT as expected\n")) << wrong.output;
    EXPECT_TRUE(contains(wrong.errors, "does not show " + folder.path() + "/seen/start-layout.pbm")) << wrong.errors;
    const Outcome refused = display_sim({"play", folder.path() + "/scenario.scenario", "--out", folder.path() + "/out"},
                                        "cd '" + folder.path() +
                                            "' && mkdir -p out && ln -f seen/start-layout.pbm "
                                            "out/start-layout.actual.pbm &&");
    EXPECT_EQ(refused.status, 2) << "neither may be written over: " << refused.errors;
}

/* ---- what a picture's file says to people ---- */

TEST(Play, KeepsTheCommentOfAPictureThatItUpdates) {
    const Folder folder;
    const std::string scenario = "note All new\nwait 3s\nexpect a-device.pbm\nexpect b\n";
    folder.write("a-device.pbm", "P1\n# seen by an eye\n# 1 is a lit pixel of the panel\n#and more\n2 1\n10\n");
    EXPECT_EQ(play(folder, scenario, {"--update"}).status, 0);
    const std::string own = "# 1 is a lit pixel of the panel\n64 128\n";
    const std::string updated = folder.read("a-device.pbm");
    EXPECT_EQ(updated.rfind("P1\n# seen by an eye\n# and more\n" + own, 0), 0u) << updated.substr(0, 100);
    EXPECT_EQ(folder.read("b-device.pbm").rfind("P1\n# All new\n" + own, 0), 0u) << "the note of a new one";
    EXPECT_EQ(play(folder, scenario).status, 0);
    EXPECT_EQ(play(folder, "note Other words\n" + scenario.substr(13), {"--update"}).status, 0);
    EXPECT_EQ(folder.read("a-device.pbm"), updated) << "what is right is left alone";
}

TEST(Play, InventsNoComment) {
    const Folder folder;
    folder.write("a-device.pbm", wrong_picture());
    EXPECT_EQ(play(folder, "wait 3s\nexpect b-device.pbm\nnote New\nexpect a-device.pbm\n", {"--update"}).status, 0);
    const std::string head = "P1\n# 1 is a lit pixel of the panel\n";
    EXPECT_EQ(folder.read("a-device.pbm").rfind(head, 0), 0u) << "it had none";
    EXPECT_EQ(folder.read("b-device.pbm").rfind(head, 0), 0u) << "there was no note yet";
}

/* ---- expected pictures outlive the scenario that is compared with them ---- */

// A wrong picture lies where it expects one.
static const char *const careless = "wait 3s\npicture down\nexpect careless/down-device.pbm\n";

// In its own folder, as people play it: nothing there may change, and nothing is equal to itself.
TEST(Play, SparesTheExpectedPicturesInItsOwnFolder) {
    const Folder folder;
    folder.write("careless.scenario", careless);
    folder.write("careless/down-device.pbm", wrong_picture());
    const auto before = folder.names();
    const Folder temporary;
    const Outcome outcome =
        display_sim({"play", "careless.scenario"}, "cd '" + folder.path() + "' && TMPDIR='" + temporary.path() + "'");
    EXPECT_EQ(outcome.status, 1) << outcome.output;
    EXPECT_TRUE(contains(outcome.errors, "careless.scenario:3: the panel does not show ")) << outcome.errors;
    EXPECT_EQ(folder.names(), before) << "nothing lands beside the scenario unasked";
    EXPECT_EQ(folder.read("careless/down-device.pbm"), wrong_picture());
    // They lie where the report says.
    const auto written = temporary.names();
    ASSERT_EQ(written.size(), 9u) << "four of 'picture', four of 'expect', the film";
    const std::string fresh = temporary.path() + "/" + written[0].substr(0, written[0].find('/'));
    EXPECT_TRUE(contains(outcome.output, " in " + fresh + ": 1 NOT as expected\n")) << outcome.output;
}

TEST(Play, GivesEachRunAFolderOfItsOwn) {
    const Folder folder;
    const std::string scenario = folder.write("twice.scenario", "wait 1s\n");
    const std::string before = "TMPDIR='" + folder.path() + "'";
    EXPECT_EQ(display_sim({"play", scenario}, before).status, 0);
    EXPECT_EQ(display_sim({"play", scenario}, before).status, 0);
    EXPECT_EQ(folder.names().size(), 3u) << "the scenario and two films";
}

// Whatever way --out leads to the expected picture.
TEST(Play, RefusesToWriteOverExpectedPictures) {
    const Folder folder;
    const std::string scenario = folder.write("careless.scenario", careless);
    const std::string expected = folder.write("careless/down-device.pbm", wrong_picture());
    folder.write("hard/other.txt", "");
    folder.write("soft/other.txt", "");
    ASSERT_EQ(std::system(("cd '" + folder.path() + "' && ln -s careless link && ln '" + expected +
                           "' hard/down-device.pbm && ln -s '" + expected + "' soft/down-device.png")
                              .c_str()),
              0);
    const auto before = folder.names();
    const std::string there = "cd '" + folder.path() + "' &&";
    for (const std::string &out :
         {std::string("careless"), folder.path() + "/careless", std::string("link"), std::string("hard/../careless/."),
          std::string("./link/"), std::string("hard"), std::string("soft")}) {
        for (const char *more : {"", "--update"}) {
            std::vector<std::string> words = {"play", scenario, "--out", out};
            if (*more != '\0') words.emplace_back(more);
            const Outcome outcome = display_sim(words, there);
            EXPECT_EQ(outcome.status, 2) << out << more;
            EXPECT_TRUE(contains(outcome.errors, expected + ", which the scenario expects")) << out << outcome.errors;
            EXPECT_EQ(outcome.output, "") << out;
        }
    }
    EXPECT_EQ(folder.names(), before);
    EXPECT_EQ(folder.read("careless/down-device.pbm"), wrong_picture());
}

TEST(Play, RefusesToWriteWhereAPictureIsExpected) {
    const Folder folder;
    const std::string scenario = folder.write("careless.scenario", careless);
    const Outcome outcome = display_sim({"play", scenario, "--out", folder.path() + "/./careless"});
    EXPECT_EQ(outcome.status, 2) << outcome.errors;
    EXPECT_FALSE(folder.has("careless"));
}

// The expected picture leads to one that the scenario takes itself: it is what it was before.
TEST(Play, ComparesWithWhatWasThereBefore) {
    const Folder folder;
    folder.write("careless/note.txt", "");
    ASSERT_EQ(symlink("../out/down-device.pbm", (folder.path() + "/careless/down-device.pbm").c_str()), 0);
    const std::string scenario = folder.write("careless.scenario", careless);
    const Outcome outcome = display_sim({"play", scenario, "--out", folder.path() + "/out"});
    EXPECT_NE(outcome.status, 0) << outcome.output;
}

TEST(Play, UpdatesWhatALinkLeadsTo) {
    const Folder folder;
    const std::string scenario = folder.write("scenario.scenario", "wait 3s\nexpect seen/a-device.pbm\n");
    folder.write("common/a.pbm", wrong_picture());
    folder.write("seen/note.txt", "");
    ASSERT_EQ(symlink("../common/a.pbm", (folder.path() + "/seen/a-device.pbm").c_str()), 0);
    EXPECT_EQ(display_sim({"play", scenario, "--update", "--out", folder.path() + "/out"}).status, 0);
    EXPECT_NE(folder.read("common/a.pbm"), wrong_picture());
    EXPECT_EQ(folder.read("common/a.pbm"), folder.read("seen/a-device.pbm"));
    EXPECT_EQ(display_sim({"play", scenario, "--out", folder.path() + "/out"}).status, 0);
}

TEST(Play, ExpectsOnePictureUnderOneName) {
    const Folder folder;
    const std::string same =
        "wait 3s\nexpect a-device.pbm\nsend chan_bt\nwait 1s\nsend chan_usb\nexpect a-device.pbm\n";
    const Outcome outcome = play(folder, same, {"--update"});
    EXPECT_EQ(outcome.status, 1) << "no picture can be both";
    EXPECT_TRUE(contains(outcome.errors, "scenario.scenario:6: an earlier line expects another picture in "))
        << outcome.errors;
    const Outcome twice = play(folder, "wait 3s\nexpect b-device.pbm\nexpect b-device.pbm\n", {"--update"});
    EXPECT_EQ(twice.status, 0) << twice.errors;
}

/* ---- what else it tells ---- */

TEST(Play, SaysThatNothingWasTested) {
    const Folder folder;
    for (const char *scenario : {"send chan_bt\nwait 1s\npicture a\n", "# nothing at all\n"}) {
        const Outcome outcome = play(folder, scenario);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(contains(outcome.output, ": NOTHING was tested")) << outcome.output;
        EXPECT_FALSE(contains(outcome.output, "as expected")) << outcome.output;
    }
    for (const char *scenario : {"send chan_bt\nwait log chan_bt\n", "wait settled\n"}) {
        const Outcome outcome = play(folder, scenario);
        EXPECT_TRUE(contains(outcome.output, ": as expected\n")) << outcome.output;
    }
}

TEST(Play, ReadsTheStandardInput) {
    const Folder folder;
    const std::string scenario = folder.write("scenario", "\xef\xbb\xbfwait 3s\nexpect seen/a-device.pbm\n");
    const std::string there = "cd '" + folder.path() + "' &&";
    const Outcome update = display_sim({"play", "-", "--update", "--out", "out"}, there, scenario);
    EXPECT_EQ(update.status, 0) << update.errors;
    EXPECT_TRUE(folder.has("seen/a-device.pbm")) << "beside it is the current folder";
    EXPECT_TRUE(folder.has("out/scenario-film.png"));
    EXPECT_EQ(display_sim({"play", "-", "--out", "out"}, there, scenario).status, 0);
    const std::string bad = folder.write("bad", "wait 1s\nsingal -40\n");
    const Outcome outcome = display_sim({"play", "-"}, "", bad);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "standard input:2: 'singal' is no command; did you mean 'signal'?\n");
    EXPECT_EQ(display_sim({"play", "-"}).status, 2) << "an empty one is no scenario";
}

/* ---- what could not be carried out is no result ---- */

// 8 KiB a file are enough for the desk and for no picture. proot unpacks a larger loader before anything else, so that
// the one in the tools' folder takes the limit off again, for itself alone.
static std::string little_room(const Folder &tools) {
    const std::string proot = "#!/bin/sh\nulimit -S -f unlimited\nPATH=${PATH#*:}\nexec proot \"$@\"\n";
    std::filesystem::permissions(tools.write("proot", proot), std::filesystem::perms::owner_all);
    return "export PATH='" + tools.path() + "':\"$PATH\" && ulimit -S -f 16 &&";
}

TEST(Play, TellsNoRoomFromAWrongPicture) {
    const Folder folder;
    const Folder tools;
    const std::string scenario = folder.write("scenario.scenario", "wait 3s\npicture a\nwait settled\n");
    const Outcome outcome = display_sim({"play", scenario, "--out", folder.path() + "/out"}, little_room(tools));
    EXPECT_EQ(outcome.status, 3) << outcome.errors;
    EXPECT_TRUE(contains(outcome.errors, "scenario.scenario:2: can't write " + folder.path() + "/out/a-device.pbm"))
        << outcome.errors;
    EXPECT_TRUE(contains(outcome.output, "NOT carried out")) << outcome.output;
    for (const std::string &name : folder.names()) {
        EXPECT_TRUE(name == "scenario.scenario" || name == "out/scenario-film.png") << "half a file is left: " << name;
    }
}

TEST(Play, KeepsAnExpectedPictureThatItCannotReplace) {
    const Folder folder;
    const Folder tools;
    const std::string scenario = folder.write("scenario.scenario", "wait 3s\nexpect a-device.pbm\n");
    folder.write("a-device.pbm", wrong_picture());
    const Outcome outcome =
        display_sim({"play", scenario, "--update", "--out", folder.path() + "/out"}, little_room(tools));
    EXPECT_EQ(outcome.status, 3) << outcome.errors;
    EXPECT_TRUE(contains(outcome.errors, "scenario.scenario:2: can't write ")) << outcome.errors;
    EXPECT_EQ(folder.read("a-device.pbm"), wrong_picture()) << "whole or not at all";
}

TEST(Play, SaysWhatIsWrongWithItsFolder) {
    const Folder folder;
    const std::string scenario = folder.write("scenario.scenario", "wait 1s\n");
    const Outcome taken = display_sim({"play", scenario, "--out", scenario});
    EXPECT_EQ(taken.status, 3) << taken.errors;
    EXPECT_TRUE(contains(taken.errors, scenario)) << taken.errors;
    const Outcome missing = display_sim({"play", scenario}, "TMPDIR=/nowhere/at/all");
    EXPECT_EQ(missing.status, 3) << missing.errors;
    EXPECT_TRUE(contains(missing.errors, "/nowhere/at/all")) << missing.errors;
}

TEST(Play, SaysThatItsReportIsLost) {
    const Folder folder;
    const std::string scenario = folder.write("scenario.scenario", "wait 1s\n");
    const std::string run = "'" DISPLAY_SIM_BINARY "' play '" + scenario + "' --out '" + folder.path() + "/out'";
    const int end = std::system((run + " >/dev/full 2>'" + folder.path() + "/errors'").c_str());
    EXPECT_EQ(WEXITSTATUS(end), 3);
    EXPECT_TRUE(contains(folder.read("errors"), "No space left on device")) << folder.read("errors");
}

TEST(Play, TellsADaemonThatEndsFromOneThatDoesNotStart) {
    const Folder folder;
    const std::string scenario = folder.write("scenario.scenario", "wait 20h\n");
    const std::vector<std::string> words = {"play", scenario, "--out", folder.path() + "/out"};
    const Outcome ended = display_sim(words, "DESK_RUNNER='timeout -s KILL 5'");
    EXPECT_EQ(ended.status, 1) << ended.errors;
    EXPECT_TRUE(contains(ended.errors, "scenario.scenario:1: ")) << ended.errors;
    EXPECT_TRUE(folder.has("out/scenario-film.png")) << "the film shows how it came to that";
    const Outcome never = display_sim(words, "DESK_DAEMON=/bin/false");
    EXPECT_EQ(never.status, 3) << never.errors;
    EXPECT_TRUE(contains(never.errors, "scenario.scenario:1: ")) << never.errors;
}

TEST(Play, LeavesTheDifferenceBehind) {
    const Folder folder;
    const std::string scenario =
        "wait 3s\nexpect a-device.pbm\nsend M4_ready\nwait 1s\nexpect a-layout.pbm\npicture end\n";
    ASSERT_EQ(play(folder, scenario, {"--update"}).status, 0);
    auto wrong = panel::Picture::from_pbm(folder.read("a-device.pbm"));
    wrong.set(10, 20, !wrong.at(10, 20));
    wrong.set(11, 90, !wrong.at(11, 90));
    wrong.save_pbm(folder.path() + "/a-device.pbm");

    const Outcome outcome = play(folder, scenario);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.errors, "scenario.scenario:2: the panel does not show ")) << outcome.errors;
    EXPECT_TRUE(contains(outcome.errors, "2 pixels differ")) << outcome.errors;
    EXPECT_TRUE(contains(outcome.errors, folder.path() + "/out/a-device.difference.png")) << outcome.errors;
    const auto difference = panel::Picture::from_pbm(folder.read("out/a-device.difference.pbm"));
    EXPECT_EQ(difference.count_lit(), 2);
    EXPECT_TRUE(difference.at(10, 20) && difference.at(11, 90));
    EXPECT_EQ(read_png(folder.read("out/a-device.actual.png")).problem, "");
    EXPECT_TRUE(folder.has("out/end-device.pbm")) << "a wrong picture does not stop the scenario";
    EXPECT_TRUE(contains(outcome.output, "1 NOT as expected")) << outcome.output;
}

TEST(Play, StopsAtAWaitThatIsNotMet) {
    const Folder folder;
    const Outcome outcome = play(folder, "send M4_ready\nwait mode DOIP\npicture never\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.errors, "scenario.scenario:2: the mode row does not show \"DOIP\" within 10 s"))
        << outcome.errors;
    EXPECT_FALSE(folder.has("out/never-device.pbm"));
    EXPECT_TRUE(folder.has("out/scenario-film.png")) << "the film shows how it came to that";
}

TEST(Play, SaysWhatIsWrongWithABadScenario) {
    const Folder folder;
    const Outcome outcome = play(folder, "wait 1s\nsingal -40\n");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, folder.path() + "/scenario.scenario:2: 'singal' is no command; did you mean 'signal'?\n");
    EXPECT_EQ(outcome.output, "") << "nothing is played of a scenario that has a bad line";
    EXPECT_FALSE(folder.has("out"));
}

TEST(Play, TellsABadFileFromABadPicture) {
    const Folder folder;
    EXPECT_EQ(display_sim({"play", folder.path() + "/none.scenario"}).status, 2);
    EXPECT_EQ(display_sim({"play", folder.path()}).status, 2);
    folder.write("a-device.pbm", "no picture");
    const Outcome outcome = play(folder, "expect a-device.pbm\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.errors, "scenario.scenario:1: ")) << outcome.errors;
}

TEST(Play, ExplainsItself) {
    const Outcome help = display_sim({"play", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(contains(help.output, "--update")) << help.output;
    for (const std::vector<std::string> &words : {std::vector<std::string>{"play"},
                                                  {"play", "--speed"},
                                                  {"play", "a", ""},
                                                  {"play", "a", "--out"},
                                                  {"play", "a", "--target", "x"}}) {
        const Outcome outcome = display_sim(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_TRUE(contains(outcome.errors, "usage: display-sim play")) << outcome.errors;
    }
}

TEST(Play, SaysHowToGetTheArmBuild) {
    const Folder folder;
    const std::string scenario = folder.write("scenario.scenario", "wait 1s\n");
    const Outcome outcome = display_sim({"play", scenario, "--target", "armhf"}, "DESK_ARMHF=/nowhere/armhf");
    EXPECT_EQ(outcome.status, 3) << "nothing was played";
    EXPECT_TRUE(contains(outcome.errors, "/nowhere/armhf/status-display")) << outcome.errors;
    EXPECT_TRUE(contains(outcome.errors, "./setup armhf")) << outcome.errors;
}
