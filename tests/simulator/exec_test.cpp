// `display-sim exec` and what CI servers get of it: somebody's program in the box beside the display.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include "panel/picture.h"
#include "simulator/scenario/play.h"

#include "support.h"

using namespace simulator_test;
namespace fs = std::filesystem;

static const std::string examples = TEST_SOURCE_DIR "/docs/examples";

// In that folder, as people do it.
static Outcome exec(const Folder &folder, std::vector<std::string> words, const std::string &before = "") {
    words.insert(words.begin(), {"exec", "--out", folder.path() + "/out"});
    return display_sim(words, "cd '" + folder.path() + "' && " + (before.empty() ? "" : before + " &&"));
}

static std::string script(const Folder &folder, const std::string &name, const std::string &text) {
    const std::string path = folder.write(name, "#!/bin/sh\n" + text);
    fs::permissions(path, fs::perms::owner_all);
    return "./" + name;
}

static const char *const tell =
    "tell() { dbus-send --system --type=signal /zor/signal zor.signal.Type.Display "
    "\"string:$1\"; }\n";

class ExampleOfTheManual : public testing::TestWithParam<std::string> {};

TEST_P(ExampleOfTheManual, ShowsWhatItsScenarioSays) {
    const Folder folder;
    for (const std::string &name : {std::string("gateway.scenario"), GetParam()}) {
        fs::copy_file(examples + "/" + name, folder.file(name));
    }
    const Outcome outcome = exec(folder, {"--scenario", "gateway.scenario", "--", "./" + GetParam()});
    EXPECT_EQ(outcome.status, 0) << outcome.errors << outcome.output;
    EXPECT_TRUE(contains(outcome.output, ": as expected\n")) << outcome.output;
    EXPECT_TRUE(folder.has("out/gateway-film.png"));
    const std::string log = folder.read("out/gateway-log.txt");
    for (const char *line : {"Got Signal with value chan_bt\n", "fw type is: GATEWAY\n", "value M4_done\n"}) {
        EXPECT_TRUE(contains(log, line)) << log;
    }
    const auto updating = panel::Picture::from_pbm(folder.read("out/updating-layout.pbm"));
    const auto done = panel::Picture::from_pbm(folder.read("out/done-layout.pbm"));
    EXPECT_GT(updating.count_different(done), 500) << "one with the progress, one with the icons";
}

INSTANTIATE_TEST_SUITE_P(Of, ExampleOfTheManual, testing::Values("gateway.sh", "gateway.py"),
                         [](const auto &information) { return information.param.substr(8); });

TEST(Exec, TheManualShowsItsExample) {
    const std::string manual = read_file(TEST_SOURCE_DIR "/docs/exec.md");
    const std::string scenario = read_file(examples + "/gateway.scenario");
    const std::string begin = scenario.substr(0, scenario.find("note It updates"));
    std::string indented;
    for (size_t at = 0; at < begin.size();) {
        const size_t end = begin.find('\n', at) + 1;
        indented += "    " + begin.substr(at, end - at);
        at = end;
    }
    EXPECT_TRUE(contains(manual, indented)) << indented;
}

TEST(Exec, EndsWithTheProgramAndAsIt) {
    const Folder folder;
    const Outcome well = exec(folder, {script(folder, "fine", std::string(tell) + "tell chan_usb\n")});
    EXPECT_EQ(well.status, 0) << well.errors;
    EXPECT_TRUE(contains(well.output, "the program ended with status 0\n")) << well.output;
    EXPECT_TRUE(contains(folder.read("out/fine-log.txt"), "Got Signal with value chan_usb\n"))
        << "also what was sent last";
    const Outcome failed = exec(folder, {script(folder, "fails", "echo to stdout; echo to stderr >&2; exit 3\n")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(contains(failed.output, "to stdout\n")) << failed.output;
    EXPECT_TRUE(contains(failed.errors, "to stderr\n")) << failed.errors;
    EXPECT_TRUE(contains(failed.errors, "display-sim: ./fails ended with status 3\n")) << failed.errors;
    const Outcome killed = exec(folder, {script(folder, "dies", "kill -SEGV $$\n")});
    EXPECT_EQ(killed.status, 1);
    EXPECT_TRUE(contains(killed.errors, "display-sim: ./dies was ended by a signal: ")) << killed.errors;
}

TEST(Exec, ProgramLivesInTheBox) {
    const Folder folder;
    const std::string program = script(folder, "look",
                                       "cat /rodata/serial_number >serial\n"
                                       "touch /tmp/bada /userdata/configs/no_ap\n"
                                       "pwd >place\n"
                                       "echo \"$WORD $1\" >words\n"
                                       "cat \"$2\" >given\n");
    const Folder elsewhere;
    const std::string given = elsewhere.write("given", "an argument's file\n");
    for (const char *sandbox : {"", "export DESK_SANDBOX=proot"}) {
        const std::string before = std::string("export WORD=kept") + (*sandbox != '\0' ? "; " : "") + sandbox;
        const Outcome outcome = exec(folder, {program, "one two", given}, before);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(folder.read("serial"), "QB418T-000123\n");
        EXPECT_EQ(folder.read("place"), fs::canonical(folder.path()).string() + "\n");
        EXPECT_EQ(folder.read("words"), "kept one two\n");
        EXPECT_EQ(folder.read("given"), "an argument's file\n");
        for (const char *name : {"serial", "place", "words", "given"}) fs::remove(folder.file(name));
    }
    EXPECT_FALSE(fs::exists("/tmp/bada")) << "not the host's";
}

TEST(Exec, IsAskedToEndWithTheScenario) {
    const Folder folder;
    const std::string scenario = folder.write("short.scenario", "send chan_bt\nwait log ready\n");
    const std::string service = script(folder, "service",
                                       std::string(tell) +
                                           "trap 'echo asked >ended; exit 0' TERM\ntell M4_ready\n"
                                           "while :; do sleep 0.1; done\n");
    const Outcome outcome = exec(folder, {"--scenario", scenario, "--", service});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(folder.read("ended"), "asked\n");
    const std::string stubborn = script(folder, "stubborn", "trap '' TERM\nwhile :; do sleep 0.1; done\n");
    const std::string only = folder.write("only.scenario", "wait 1s\n");
    EXPECT_EQ(exec(folder, {"--scenario", only, "--", stubborn}).status, 0) << "ended all the same";
}

// Each start sets the display's clock back; the program's goes on.
TEST(Exec, KeepsTheProgramsTimeAfterARestartToo) {
    const Folder folder;
    const std::string scenario = folder.write("twice.scenario", "start\nwait 1s\nstart\nwait 2s\n");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(exec(folder, {"--scenario", scenario, "--", "sleep", "60"}).status, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2900));
}

TEST(Exec, TellsWhatIsNotAsExpected) {
    const Folder folder;
    const std::string service = script(folder, "service", std::string(tell) + "tell M4_ready\nsleep 20\n");
    const std::string scenario = folder.write("wrong.scenario", "start\nwait mode PASSTHRU\n");
    const Outcome outcome = exec(folder, {"--scenario", scenario, "--junit", "result.xml", "--", service});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.errors, "wrong.scenario:2: the mode row does not show \"PASSTHRU\""))
        << outcome.errors;
    const std::string junit = folder.read("result.xml");
    EXPECT_TRUE(contains(junit, "<testsuite name=\"display-sim\" tests=\"1\" failures=\"1\" errors=\"0\"")) << junit;
    EXPECT_TRUE(contains(junit, "<failure message=\"")) << junit;
}

TEST(Exec, SaysWhatCanNotBe) {
    const Folder folder;
    EXPECT_EQ(exec(folder, {}).status, 2);
    EXPECT_EQ(exec(folder, {"--frame", "true"}).status, 2);
    EXPECT_EQ(exec(folder, {"--", ""}).status, 2);
    const Outcome none = exec(folder, {"./nothing"});
    EXPECT_EQ(none.status, 3);
    EXPECT_TRUE(contains(none.errors, "there is no program ")) << none.errors;
    const std::string empty = folder.write("empty.scenario", "start\nstart bare\n");
    const Outcome bare = exec(folder, {"--scenario", empty, "--", "true"});
    EXPECT_EQ(bare.status, 2);
    EXPECT_TRUE(contains(bare.errors, "line 2 makes an empty box while the program runs")) << bare.errors;
}

/* ---- several scenarios ---- */

TEST(Play, PlaysSeveralAndSumsThemUp) {
    const Folder folder;
    const std::string good = folder.write("good.scenario", "start\nwait log Match\nwait settled\n");
    const std::string wrong = folder.write("wrong.scenario", "start\nexpect none\n");
    const std::string bad = folder.write("bad.scenario", "jump\n");
    const Outcome outcome = display_sim(
        {"play", good, wrong, bad, "--out", folder.path() + "/out", "--junit", folder.path() + "/result.xml"});
    EXPECT_EQ(outcome.status, 2) << "the worst";
    EXPECT_TRUE(contains(outcome.output, "\n3 scenarios, 1 as expected\n")) << outcome.output;
    EXPECT_TRUE(folder.has("out/good/good-film.png"));
    EXPECT_TRUE(folder.has("out/wrong/none-device.actual.png"));
    const std::string junit = folder.read("result.xml");
    EXPECT_TRUE(contains(junit, "tests=\"3\" failures=\"1\" errors=\"1\"")) << junit;
    const Outcome twice = display_sim({"play", good, folder.write("more/good.scenario", "start\n")});
    EXPECT_EQ(twice.status, 2);
    EXPECT_EQ(twice.errors, "display-sim: two scenarios are called good; play them one by one\n");
}

TEST(Junit, IsXmlWhateverWasSaid) {
    const Folder folder;
    desk::PlayResult result;
    result.name = "a<b>&\"c";
    result.status = desk::play_broken;
    result.seconds = 1.5;
    result.problems = {"it said \x01\x1b[0m <&> \"x\"", "and more"};
    desk::save_junit(folder.file("result.xml"), {result});
    EXPECT_EQ(folder.read("result.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<testsuite name=\"display-sim\" tests=\"1\" failures=\"0\" errors=\"1\" time=\"1.500\">\n"
              "  <testcase classname=\"display-sim\" name=\"a&lt;b>&amp;&quot;c\" time=\"1.500\">\n"
              "    <error message=\"it said ??[0m &lt;&amp;> &quot;x&quot;\">it said ??[0m &lt;&amp;> &quot;x&quot;\n"
              "and more\n</error>\n"
              "  </testcase>\n</testsuite>\n");
}
