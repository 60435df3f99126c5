// Voltage and shell commands from outside: what is run, exactly how and how often, and what the panel says
// then.
#include "golden.h"
#include "support.h"

namespace end_to_end {

static const char *const jack_command = "vcicp vjack";

class Probes : public DaemonTest {
protected:
    void SetUp() override { prepare_layout(); }

    int jack_calls() { return box().count_calls(jack_command); }

    // The measurement area, without the rules.
    panel::Picture measurement() { return desk().picture().part(0, 15, 128, 34); }
    panel::Picture golden_measurement(const std::string &name) { return golden(true, name).part(0, 15, 128, 34); }
    // The source icon's place.
    panel::Picture source() { return desk().picture().part(0, 50, 18, 16); }
    panel::Picture golden_source(const std::string &name) { return golden(true, name).part(0, 50, 18, 16); }

    void show_from_jack(const std::vector<std::string> &replies) {
        box().remove_converter();
        box().set_jack_ready(true);
        box().set_jack_millivolts(replies);
    }
};

// ---- Counting the jack command

TEST_F(Probes, JackIsLeftAloneWhileTheSupplyIsThere) {
    box().set_jack_ready(true);
    start();
    run_until(10000);
    EXPECT_EQ(jack_calls(), 0);
}

TEST_F(Probes, JackIsNeverAskedWithoutTheReadyFile) {
    box().remove_converter();
    start();
    run_until(10000);
    EXPECT_EQ(jack_calls(), 0);
    EXPECT_EQ(measurement(), golden_measurement("voltage/voltage_none"));
}

TEST_F(Probes, JackIsAskedOnceARun) {
    show_from_jack({"11500"});
    start();
    run_until(450);
    EXPECT_EQ(jack_calls(), 0);
    run_until(550);
    EXPECT_EQ(jack_calls(), 1);
    run_until(2050);
    EXPECT_EQ(jack_calls(), 4);
    EXPECT_EQ(measurement(), golden_measurement("voltage/voltage_from_jack"));
    EXPECT_EQ(source(), golden_source("voltage/voltage_from_jack"));
}

TEST_F(Probes, ReadyFileIsLookedAtEachRun) {
    show_from_jack({"11500"});
    box().set_jack_ready(false);
    start();
    run_until(600);
    box().set_jack_ready(true);
    run_until(1600);
    EXPECT_EQ(jack_calls(), 2);
    box().set_jack_ready(false);
    run_until(3600);
    EXPECT_EQ(jack_calls(), 2);
    EXPECT_EQ(measurement(), golden_measurement("voltage/voltage_from_jack")) << "the labels keep what they showed";
}

TEST_F(Probes, TooHighAReadingIsAskedForOnceMore) {
    show_from_jack({"150000", "11500"});
    start();
    run_until(600);
    EXPECT_EQ(jack_calls(), 2);
    EXPECT_EQ(measurement(), golden_measurement("voltage/voltage_from_jack"));
    run_until(1100);
    EXPECT_EQ(jack_calls(), 3);
}

TEST_F(Probes, SecondHighReadingIsTaken) {
    show_from_jack({"150000"});
    start();
    run_until(600);
    EXPECT_EQ(jack_calls(), 2);
    EXPECT_EQ(measurement(), golden_measurement("edges/voltage_three_digits"));
}

TEST_F(Probes, NinetyNineIsNotTooHigh) {
    show_from_jack({"98700"});
    start();
    run_until(600);
    EXPECT_EQ(jack_calls(), 1);
}

TEST_F(Probes, ProductionAsksTheJackOnceAtTheStart) {
    box().set_production();
    box().remove_converter();
    box().set_jack_ready(true);
    start();
    EXPECT_EQ(box().calls(), std::vector<std::string>{jack_command});
    run_until(10000);
    EXPECT_EQ(jack_calls(), 1) << "the meter is paused";
    command("Reboot");
    command("clear_msg");
    run_until(13000);
    EXPECT_GT(jack_calls(), 1) << "closing a box has resumed it";
    EXPECT_EQ(desk().picture(), golden(true, "start/production"));
}

TEST_F(Probes, ProductionStartsWithoutTheTool) {
    box().set_production();
    box().remove("/usr/local/bin/vcicp");
    start();
    run_until(50);
    EXPECT_EQ(desk().picture(), golden(true, "start/production"));
}

// ---- The voltage shown

TEST_F(Probes, EachSourceHasItsIcon) {
    box().set_jack_ready(true);
    box().set_jack_millivolts(11500);
    start();
    run_until(600);
    EXPECT_EQ(source(), golden_source("start/icon_row"));
    box().set_supply_volts(3.0);
    run_until(1100);
    EXPECT_EQ(source(), golden_source("voltage/voltage_from_jack"));
    box().set_supply_volts(12.4);
    run_until(1600);
    EXPECT_EQ(source(), golden_source("start/icon_row"));
}

// 12.0 after 12.x equals the whole volts written last; they stay the memory while nothing is written.
TEST_F(Probes, WholeVoltsHideForAsLongAsTheyLast) {
    box().set_supply_volts(12.4);
    start();
    run_until(600);
    const panel::Picture shown = measurement();
    box().set_supply_volts(12.0);
    for (int64_t moment : {1100, 1600, 2100}) {
        run_until(moment);
        EXPECT_EQ(measurement().part(0, 0, 73, 34), golden_measurement("voltage/voltage_none").part(0, 0, 73, 34))
            << moment;
    }
    box().set_supply_volts(12.4);
    run_until(2600);
    EXPECT_EQ(measurement().part(0, 0, 73, 34), shown.part(0, 0, 73, 34));
}

TEST_F(Probes, HalfAConverterFallsBackToTheJack) {
    box().set_jack_ready(true);
    box().set_jack_millivolts(11500);
    box().remove("/sys/bus/iio/devices/iio:device0/in_voltage_scale");
    start();
    run_until(600);
    EXPECT_EQ(measurement(), golden_measurement("voltage/voltage_from_jack"));
    box().set_supply_volts(12.4);
    box().remove("/sys/bus/iio/devices/iio:device0/in_voltage0_raw");
    run_until(1100);
    EXPECT_EQ(measurement(), golden_measurement("voltage/voltage_from_jack"));
}

TEST_F(Probes, FirmwareUpdatePausesTheMeter) {
    show_from_jack({"11500"});
    start();
    run_until(600);
    EXPECT_EQ(jack_calls(), 1);
    command("cd_update");
    desk().advance(5000);
    EXPECT_EQ(jack_calls(), 1) << "paused although no box was opened";
    command("clear_msg");
    desk().advance(2000);
    EXPECT_EQ(jack_calls(), 1) << "with no box up there is nothing to close";
    command("Reboot");
    command("clear_msg");
    EXPECT_GT(jack_calls(), 1);
}

TEST_F(Probes, MeterRunsBesideTheCoprocessorUpdate) {
    show_from_jack({"11500"});
    start();
    run_until(600);
    command("M4_update");
    desk().advance(2000);
    EXPECT_GE(jack_calls(), 5);
}

// ---- The shell commands, word for word

class ShellCommands : public Probes {
protected:
    // From here on each grep and awk of a pipeline notes its arguments.
    void watch(const std::string &tool) {
        box().write_script("/usr/local/bin/" + tool,
                           "#!/bin/sh\nfor word; do printf '[%s]' \"$word\"; done >>/desk/state/" + tool +
                               "-words\necho >>/desk/state/" + tool + "-words\nexec /usr/bin/" + tool + " \"$@\"\n");
    }
    std::string words(const std::string &tool) { return box().read("/desk/state/" + tool + "-words"); }

    void SetUp() override {
        Probes::SetUp();
        box().set_ssid("HomeNet");
        box().set_signal_dbm(-55);
        watch("grep");
        watch("awk");
    }
};

TEST_F(ShellCommands, DebugPanel) {
    box().set_wifi_debug();
    start();
    run_until(450);
    EXPECT_TRUE(box().calls().empty());
    run_until(550);
    EXPECT_EQ(box().calls(), (std::vector<std::string>{"iw dev wlan0 link", "wl noise"}));
    EXPECT_EQ(words("grep"), "[signal]\n");
    EXPECT_EQ(words("awk"), "[{print $2}]\n");
    run_until(2050);
    EXPECT_EQ(box().count_calls("iw dev wlan0 link"), 4);
    EXPECT_EQ(box().count_calls("wl noise"), 4);
    EXPECT_EQ(measurement(), golden_measurement("start/wifi_debug"));
}

TEST_F(ShellCommands, DebugPanelMeasuresNoVoltage) {
    box().set_wifi_debug();
    show_from_jack({"11500"});
    start();
    command("Reboot");
    command("clear_msg");
    desk().advance(3000);
    EXPECT_EQ(jack_calls(), 0) << "there is no meter to resume";
}

TEST_F(ShellCommands, Station) {
    box().set_wifi_link(true);
    start();
    run_until(2100);
    EXPECT_EQ(box().calls(), (std::vector<std::string>{"iw wlan0 info", "iw dev wlan0 link"}));
    EXPECT_EQ(words("grep"), "[ssid]\n[signal]\n");
    EXPECT_EQ(words("awk"), "[{$1=\"\"; print substr($0,2)}]\n[{print $2}]\n");
}

} // namespace end_to_end
