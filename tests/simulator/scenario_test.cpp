// The language: what each command takes, what it is told for mistakes, and what it does to the box.
#include <fstream>
#include <regex>

#include <gtest/gtest.h>

#include "client/vocabulary.h"
#include "simulator/scenario/controls.h"
#include "simulator/scenario/expected_picture.h"
#include "simulator/scenario/scenario.h"
#include "simulator/scenario/stage.h"

#include "support.h"

using namespace simulator_test;

static desk::Action parsed(const std::string &line) {
    const auto action = desk::parse_action(line);
    EXPECT_TRUE(action) << line;
    return action.value_or(desk::Action{});
}

static std::string problem_of(const std::string &line) {
    try {
        desk::parse_action(line);
    } catch (const desk::ScenarioError &problem) {
        return problem.what();
    }
    return "no problem";
}

TEST(Scenario, PassesOverCommentsAndEmptyLines) {
    for (const char *line : {"", "   ", "\t", "# start", "   # send chan_bt", "\r"}) {
        EXPECT_FALSE(desk::parse_action(line)) << line;
    }
}

TEST(Scenario, TakesEveryWordOfTheVocabulary) {
    for (const auto &word : client::vocabulary()) {
        std::string line = "send " + word.word;
        for (const auto &argument : word.arguments) line += argument.type == 'i' ? " 120" : " TEXT";
        const desk::Action action = parsed(line);
        EXPECT_EQ(action.text, word.word);
        ASSERT_EQ(action.arguments.size(), word.arguments.size()) << line;
        for (size_t i = 0; i < word.arguments.size(); i++) {
            const bool whole_number = std::holds_alternative<int32_t>(action.arguments[i]);
            EXPECT_EQ(whole_number, word.arguments[i].type == 'i') << line;
        }
    }
}

TEST(Scenario, GivesArgumentsTheirTypes) {
    const desk::Action action = parsed("send cd_update -5 \"MAIN FW\"");
    EXPECT_EQ(std::get<int32_t>(action.arguments.at(0)), -5);
    EXPECT_EQ(std::get<std::string>(action.arguments.at(1)), "MAIN FW");
    // The last ones may be left out, as a sender may.
    EXPECT_EQ(parsed("send cd_update 60").arguments.size(), 1u);
    EXPECT_EQ(parsed("send Error_Code").arguments.size(), 0u);
    // The display goes by the beginning of a word.
    EXPECT_EQ(parsed("send Check_Ignition").text, "Check_Ignition");
}

TEST(Scenario, ReadsQuotes) {
    EXPECT_EQ(parsed("ssid \"Our  net\"").text, "Our  net");
    EXPECT_EQ(parsed("ssid \"\"").text, "");
    EXPECT_EQ(parsed("ssid \"a\\\"b\\\\c\\nd\"").text, "a\"b\\c\nd");
    EXPECT_EQ(parsed("ssid it's#1").text, "it's#1");
    EXPECT_EQ(parsed("\tssid   Workshop \r").text, "Workshop");
}

TEST(Scenario, QuotesWhatItReads) {
    for (const char *word : {"", "plain", "two words", "\"", "back\\slash", "two\nlines", "tab\there"}) {
        EXPECT_EQ(parsed("ssid " + desk::quoted(word)).text, word);
    }
}

TEST(Scenario, KeepsMeasuresWithinTheirLimits) {
    for (const desk::Control &control : desk::controls()) {
        const auto *measure = std::get_if<desk::Measure>(&control.kind);
        if (measure == nullptr) continue;
        const auto line = [&](double number) { return control.name + (" " + std::to_string(number)); };
        for (const auto &[limit, beyond] : {std::pair{measure->lowest, -1}, {measure->highest, 1}}) {
            EXPECT_EQ(problem_of(line(limit)), "no problem") << line(limit);
            EXPECT_TRUE(contains(problem_of(line(limit + beyond)), "is out of range")) << line(limit + beyond);
        }
    }
    // The limits belong to what they limit.
    for (const char *line : {"supply 0", "supply 1000", "jack 0", "jack 1000000", "signal -10000"}) {
        EXPECT_EQ(problem_of(line), "no problem") << line;
    }
}

TEST(Scenario, ReadsTimesToWait) {
    EXPECT_DOUBLE_EQ(parsed("wait 500ms").number, 500);
    EXPECT_DOUBLE_EQ(parsed("wait 2s").number, 2000);
    EXPECT_DOUBLE_EQ(parsed("wait 1.5s").number, 1500);
    EXPECT_DOUBLE_EQ(parsed("wait 5m").number, 300000);
    EXPECT_DOUBLE_EQ(parsed("wait 0.5min").number, 30000);
    EXPECT_DOUBLE_EQ(parsed("wait 2h").number, 7200000);
    EXPECT_DOUBLE_EQ(parsed("wait 1ms").number, 1);
    EXPECT_DOUBLE_EQ(parsed("wait 24h").number, 86400000);
    EXPECT_EQ(parsed("wait log Got Signal  with value p_on").text, "Got Signal  with value p_on");
    EXPECT_EQ(parsed("wait \t log \t  Got  it ").text, "Got  it");
    EXPECT_EQ(parsed("wait mode DOIP ETHERNET").text, "DOIP ETHERNET");
    EXPECT_EQ(parsed("note one \"two\" # three").text, "one \"two\" # three");
    for (const char *bad :
         {"wait 0ms", "wait 0.9ms", "wait -1s", "wait 5", "wait 5 m", "wait 5d", "wait 5M", "wait 5minutes",
          "wait 90000s", "wait 25h", "wait infs", "wait nans", "wait s", "wait soon"}) {
        EXPECT_TRUE(contains(problem_of(bad), "500ms, 2s or 5m") || contains(problem_of(bad), "'wait' takes TIME"))
            << bad << ": " << problem_of(bad);
    }
}

TEST(Scenario, SaysWhatWasMeant) {
    const std::vector<std::pair<const char *, const char *>> mistakes = {
        {"singal -40", "'singal' is no command; did you mean 'signal'?"},
        {"strat", "'strat' is no command; did you mean 'start'?"},
        {"Send chan_bt", "'Send' is no command; did you mean 'send'?"},
        {"chan_bt", "'chan_bt' is no command; did you mean 'send chan_bt'?"},
        {"send chan_but", "'chan_but' is no display command; did you mean 'chan_bt'?"},
        {"send m4_ready", "'m4_ready' is no display command; did you mean 'M4_ready'?"},
        {"send", "'send' takes WORD [ARGUMENTS...], not nothing"},
        {"supply lots", "'supply' takes VOLTS|none, not lots"},
        {"supply", "'supply' takes VOLTS|none, not nothing"},
        {"supply 12 13", "'supply' takes VOLTS|none, not 12 13"},
        {"supply nan", "'supply' takes VOLTS|none, not nan"},
        {"supply 2000", "'supply 2000' is out of range: 0 to 1000"},
        {"jack 12.5", "'jack' takes MILLIVOLTS|none, not 12.5"},
        {"signal -1e9", "'signal -1e9' is out of range: -10000 to 10000"},
        {"wifi on", "'wifi' takes up|down, not on"},
        {"warranty-lock up", "'warranty-lock' takes on|off, not up"},
        {"ssid Our net", "'ssid' takes NAME, not Our net"},
        {"serial", "'serial' takes TEXT|none, not nothing"},
        {"start later", "'start' takes [normal|debug|production] [bare], not later"},
        {"start bare debug", "'start' takes [normal|debug|production] [bare], not bare debug"},
        {"wait log", "'wait' takes TIME | log TEXT | mode TEXT | settled, not log"},
        {"wait settled now", "'wait' takes TIME | log TEXT | mode TEXT | settled, not settled now"},
        {"picture ../etc", "a picture's name is made of letters, digits, '-' and '_', not ../etc"},
        {"picture \"\"", "a picture's name is made of letters, digits, '-' and '_', not \"\""},
        {"expect a.pbm", "'expect' takes a NAME, or a file NAME-device.pbm or NAME-layout.pbm, not a.pbm"},
        {"expect a/", "'expect' takes a NAME, or a file NAME-device.pbm or NAME-layout.pbm, not a/"},
        {"expect a b", "'expect' takes NAME|FILE, not a b"},
        {"ssid \"open", "a quote is opened and not closed"},
        {"ssid \"a\"b", "a blank is missing after the closing quote"},
        {"ssid \"\\t\"", "'\\t' means nothing inside quotes; there are \\\", \\\\ and \\n"},
    };
    for (const auto &[line, text] : mistakes) EXPECT_EQ(problem_of(line), text) << line;
    // Where nothing is near, all are named.
    for (const char *line : {"zz", "is", "purple", "photograph"}) {
        EXPECT_TRUE(contains(problem_of(line), "is no command; there are start, send, ")) << problem_of(line);
    }
}

TEST(Scenario, ChecksArgumentsOfWords) {
    EXPECT_TRUE(contains(problem_of("send cd_update soon MAIN"), "'soon' can't be the seconds of cd_update"));
    EXPECT_TRUE(contains(problem_of("send cd_update 2147483648 MAIN"), "2147483648"));
    EXPECT_TRUE(contains(problem_of("send chan_bt now"), "chan_bt takes no argument"));
    EXPECT_TRUE(contains(problem_of("send Error_Code a b"), "Error_Code takes 1 argument"));
    EXPECT_TRUE(contains(problem_of("send Error_Code \xff"), "UTF-8"));
}

TEST(Scenario, NamesFileAndLine) {
    const std::string text = "# a scenario\n\nwait 1s\nsingal -40\nnonsense\n";
    try {
        desk::parse_scenario(text, "fade.scenario");
        FAIL() << "line 4 is no command";
    } catch (const desk::ScenarioError &problem) {
        EXPECT_STREQ(problem.what(), "fade.scenario:4: 'singal' is no command; did you mean 'signal'?");
    }
    const auto lines = desk::parse_scenario("# a\nnote hello\n\n  wait 1s  ", "x");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 2);
    EXPECT_EQ(lines[1].number, 4);
    EXPECT_EQ(lines[1].text, "wait 1s");
}

TEST(Scenario, PassesOverAByteOrderMark) {
    const auto lines = desk::parse_scenario("\xef\xbb\xbfwait 1s\n# a comment\nnote \xef\xbb\xbf\n", "x");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "wait 1s");
    EXPECT_EQ(lines[1].action.text, "\xef\xbb\xbf") << "elsewhere it is a character like any other";
    EXPECT_TRUE(desk::parse_scenario("\xef\xbb\xbf", "x").empty());
}

TEST(Scenario, RefusesTwoPicturesOfOneName) {
    try {
        desk::parse_scenario("picture a\npicture b\nwait 1s\n picture  \"a\" \n", "twice.scenario");
        FAIL() << "the second picture would replace the first";
    } catch (const desk::ScenarioError &problem) {
        EXPECT_STREQ(problem.what(), "twice.scenario:4: line 1 takes a picture 'a' already");
    }
    EXPECT_EQ(desk::parse_scenario("picture a\npicture A\nnote a\nnote a\n", "x").size(), 4u);
    EXPECT_EQ(desk::parse_scenario("expect a-device.pbm\nexpect a-device.pbm\n", "x").size(), 2u)
        << "a panel may come back to what it showed";
}

TEST(Scenario, KnowsWhatTestsSomething) {
    for (const char *line : {"expect a-device.pbm", "expect b/a", "wait log on", "wait mode 5m", "wait settled"}) {
        EXPECT_TRUE(desk::tests_something(parsed(line))) << line;
    }
    for (const char *line : {"wait 5m", "picture a", "note expect", "send chan_bt", "start", "supply 12"}) {
        EXPECT_FALSE(desk::tests_something(parsed(line))) << line;
    }
}

TEST(Scenario, ExpectsOnePanelOrBoth) {
    const auto files = [](const char *line) {
        std::vector<std::string> names;
        for (const desk::ExpectedFile &file : desk::expected_files(parsed(line))) {
            names.push_back(std::string(desk::name_of(file.view)) + " " + file.name);
        }
        return names;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(files("expect a/b-c"), (Names{"device a/b-c-device.pbm", "layout a/b-c-layout.pbm"}));
    EXPECT_EQ(files("expect ../a/b-layout.pbm"), Names{"layout ../a/b-layout.pbm"});
    EXPECT_EQ(files("expect layout-device.pbm"), Names{"device layout-device.pbm"});
    EXPECT_EQ(files("picture a"), Names{});
}

TEST(Scenario, SurvivesAnyBytes) {
    std::string bytes;
    uint32_t state = 7;
    for (int i = 0; i < 200000; i++) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>(state >> 24);
        if (i % 29 == 0) bytes += "\nsend ";
    }
    EXPECT_THROW(desk::parse_scenario(bytes, "noise"), desk::ScenarioError);
    EXPECT_THROW(desk::parse_action(std::string(100000, 'x')), desk::ScenarioError);
    EXPECT_THROW(desk::parse_action("send " + std::string(100000, 'x')), desk::ScenarioError);
}

// Each line's effect, seen where the daemon looks.
TEST(Scenario, ChangesTheBox) {
    desk::Stage stage;
    const auto content = [&](const char *path) { return stage.box().read(path); };
    perform(stage, "serial SN-1");
    EXPECT_EQ(content("/rodata/serial_number"), "SN-1\n");
    perform(stage, "serial none");
    EXPECT_FALSE(stage.box().exists("/rodata/serial_number"));
    perform(stage, "bluetooth BT-1");
    EXPECT_EQ(content("/rodata/bluetooth_name"), "name=BT-1\n");
    perform(stage, "bluetooth none");
    EXPECT_FALSE(stage.box().exists("/rodata/bluetooth_name"));
    perform(stage, "warranty-lock off");
    EXPECT_FALSE(stage.box().exists("/rodata/wlock"));
    perform(stage, "hotspot off");
    EXPECT_TRUE(stage.box().exists("/userdata/configs/no_ap"));
    perform(stage, "hotspot on");
    EXPECT_FALSE(stage.box().exists("/userdata/configs/no_ap"));
    perform(stage, "activity-alt on");
    EXPECT_TRUE(stage.box().exists("/tmp/bada"));
    perform(stage, "firmware-type FT_MAINAPP_J2534");
    EXPECT_EQ(content("/tmp/fw_type_running"), "FT_MAINAPP_J2534\n");
    perform(stage, "firmware-type \"\"");
    EXPECT_FALSE(stage.box().exists("/tmp/fw_type_running")) << "an empty line is another thing than no type";
    perform(stage, "serial \"\"");
    EXPECT_EQ(content("/rodata/serial_number"), "\n");
    perform(stage, "firmware-type FT_MAIN");
    perform(stage, "firmware-type none");
    EXPECT_FALSE(stage.box().exists("/tmp/fw_type_running"));
    perform(stage, "jack-ready on");
    EXPECT_TRUE(stage.box().exists("/tmp/.app_rcv_command_ready"));
    const std::string converter = "/sys/bus/iio/devices/iio:device0/";
    perform(stage, "supply 10.114"); // 0.2 V are added, and 7.29 parts of 96.39 are measured
    EXPECT_NEAR(std::stod(content((converter + "in_voltage0_raw").c_str())), 749.8, 0.1);
    EXPECT_EQ(std::stod(content((converter + "in_voltage_scale").c_str())), 1.0);
    perform(stage, "supply none");
    EXPECT_FALSE(stage.box().exists(converter + "in_voltage0_raw"));
    EXPECT_FALSE(stage.box().exists(converter + "in_voltage_scale"));
    perform(stage, "wifi up");
    EXPECT_EQ(content("/sys/class/net/wlan0/operstate"), "up\n");
    EXPECT_FALSE(stage.started()) << "these lines only prepare the box";
}

TEST(Scenario, NoteBeforeTheStartStartsNothing) {
    desk::Stage stage;
    perform(stage, "note Nothing runs yet");
    EXPECT_FALSE(stage.started());
}

TEST(Scenario, StandsInItsManual) {
    std::string table = "| command | takes | does |\n|---|---|---|\n";
    for (const desk::Command &command : desk::scenario_commands()) {
        const std::string arguments = std::regex_replace(command.arguments, std::regex("\\|"), "\\|");
        table += "| `" + command.name + "` | `" + arguments + "` | " + command.meaning + " |\n";
    }
    const std::string manual = TEST_SOURCE_DIR "/docs/scenarios.md";
    const std::string page = read_file(manual);
    const size_t begin = page.find("| command |");
    ASSERT_NE(begin, std::string::npos);
    const size_t end = page.find("\n\n", begin) + 1;
    if (page.substr(begin, end - begin) == table) return;
    const std::string renewed = TEST_BINARY_DIR "/scenarios.md";
    std::ofstream(renewed) << page.substr(0, begin) << table << page.substr(end);
    FAIL() << "its table differs from the commands; this renews it: cp " << renewed << " " << manual;
}
