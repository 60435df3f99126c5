// Tools that print nothing, garbage, endless lines or many lines, that fail, are missing or die. The daemon
// lives and answers chan_usb with the right picture.
#include <filesystem>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "golden.h"
#include "support.h"

namespace end_to_end {

struct Behaviour {
    const char *name;
    const char *script; // behind the first line
};

static const Behaviour behaviours[] = {
    {"prints nothing", "exit 0"},
    {"fails in silence", "exit 1"},
    {"fails loudly", "echo 'signal ssid 12000' >&2; exit 255"},
    {"is killed", "kill -9 $$"},
    {"aborts", "kill -6 $$"},
    {"prints garbage", "head -c 100000 /bin/sh"},
    {"prints zeros", "head -c 100000 /proc/self/mem 2>/dev/null; printf 'signal\\0ssid\\0%s\\0\\0' 12"},
    {"prints an endless line", "printf 'signal: ssid '; head -c 2000000 /bin/sh | tr '\\n\\0' 'WW'"},
    {"prints an endless word", "printf 'signal: '; printf 'ssid '; yes W | head -n 500000 | tr -d '\\n'"},
    {"prints many lines", "yes 'ssid signal: 12000 dBm' | head -n 50000"},
    {"prints many newlines", "yes '' | head -n 50000"},
    {"prints broken letters", "printf 'ssid signal: \\360\\237\\303\\377\\n'"},
    {"cuts a letter at the limit",
     "printf 'ssid '; for i in 1 2 3 4 5 6 7 8 9; do printf '\\303\\251\\342\\202\\254"
     "\\303\\251\\360\\237\\224\\247'; done; echo"},
    {"prints formats", "printf '%s\\n' 'ssid %n%s%n signal: %n%s'"},
    {"prints no number", "echo 'ssid nan signal: nan'; echo nan"},
    {"prints infinity", "echo 'ssid inf signal: inf'; echo -inf"},
    {"prints too large a number", "echo 'signal: -99999999999999999999 ssid'; echo 1e999999"},
    {"prints the smallest number", "echo 'signal: -2147483648 ssid'; echo -0.0000001"},
    {"prints a negative voltage", "echo 'signal: 0x10 ssid'; echo -12000"},
};

class HostileTools : public DaemonTest {
protected:
    void misbehave(const Behaviour &behaviour) {
        for (const char *tool : {"iw", "wl", "vcicp"}) {
            box().write_script(std::string("/usr/local/bin/") + tool,
                               std::string("#!/bin/sh\n") + behaviour.script + "\n");
        }
    }

    void expect_still_answers() {
        command("clear_msg");
        command("chan_usb");
        EXPECT_EQ(shown_view(desk()), "usb");
    }

    void prepare_asking_all() {
        prepare_layout();
        box().set_wifi_link(true);
        box().remove_converter();
        box().set_jack_ready(true);
    }
};

TEST_F(HostileTools, NormalScreen) {
    prepare_asking_all();
    start();
    for (const Behaviour &behaviour : behaviours) {
        SCOPED_TRACE(behaviour.name);
        misbehave(behaviour);
        desk().advance(2100);
        command("chan_sta");
    }
    expect_still_answers();
}

TEST_F(HostileTools, DebugPanel) {
    prepare_layout();
    box().set_wifi_debug();
    start();
    for (const Behaviour &behaviour : behaviours) {
        SCOPED_TRACE(behaviour.name);
        misbehave(behaviour);
        desk().advance(1100);
    }
    expect_still_answers();
}

TEST_F(HostileTools, ProductionStart) {
    for (const Behaviour &behaviour : behaviours) {
        SCOPED_TRACE(behaviour.name);
        prepare_layout();
        box().set_production();
        misbehave(behaviour);
        start();
        run_until(50);
        EXPECT_EQ(desk().picture(), golden(true, "start/production"));
        EXPECT_TRUE(desk().alive());
    }
}

TEST_F(HostileTools, MissingAndForbiddenTools) {
    prepare_asking_all();
    for (const char *tool : {"iw", "wl", "vcicp"}) box().remove(std::string("/usr/local/bin/") + tool);
    start();
    run_until(4100);
    for (const char *tool : {"iw", "wl", "vcicp"}) box().write(std::string("/usr/local/bin/") + tool, "text");
    run_until(8100);
    EXPECT_EQ(shown_view(desk()), "nothing") << "a link without a name is no station";
    EXPECT_EQ(desk().picture().part(0, 15, 128, 34), golden(true, "voltage/voltage_none").part(0, 15, 128, 34));
    expect_still_answers();
}

// What this process has open; whoever started it may have left more to all of us than the three streams.
static std::set<std::string> own_files() {
    std::set<std::string> files;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the folder's own descriptor is
        files.insert(std::filesystem::read_symlink(entry.path(), gone).string());
    }
    return files;
}

// The panel, the bus and the log are nobody else's.
TEST_F(HostileTools, NothingIsInherited) {
    prepare_asking_all();
    for (const char *tool : {"iw", "vcicp"}) {
        const std::string path = std::string("/usr/local/bin/") + tool;
        box().write_script(path,
                           "#!/bin/sh\n"
                           "for file in /proc/$$/fd/*; do\n"
                           "    readlink $file >>/tmp/open-" +
                               std::string(tool) +
                               "\n"
                               "done\n"
                               ": >/tmp/done-" +
                               std::string(tool) + "\n");
    }
    start();
    run_until(4100);
    for (const char *tool : {"iw", "vcicp"}) {
        ASSERT_TRUE(box().exists(std::string("/tmp/done-") + tool)) << tool;
        std::istringstream files(box().read(std::string("/tmp/open-") + tool));
        for (std::string file; std::getline(files, file);) {
            EXPECT_EQ(file.find("fb0"), std::string::npos) << tool << " has " << file;
            EXPECT_TRUE(file.find("socket:") != 0 || own_files().count(file) > 0) << tool << " has " << file;
        }
    }
}

// The loop waits for a tool; what arrives meanwhile is handled afterwards.
TEST_F(HostileTools, SlowTool) {
    prepare_asking_all();
    box().set_ssid("HomeNet");
    box().set_signal_dbm(-40);
    box().set_tool_delay("iw", 300);
    start();
    run_until(2100);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
    expect_still_answers();
}

// How the manual says that a tool that hangs is recognised, and that ending it is enough.
TEST_F(HostileTools, DisplayStandsStillWhileAToolHangs) {
    prepare_asking_all();
    const std::string hang = box().host_path("/tmp/hang");
    ASSERT_EQ(mkfifo(hang.c_str(), 0666), 0);
    box().write_script("/usr/local/bin/vcicp", "#!/bin/sh\n[ ! -e /tmp/hang ] || read line </tmp/hang\necho 12000\n");
    start();
    run_until(400);
    const panel::Picture before = desk().picture();
    desk().clock().raise(3000);
    int tool = -1;
    ASSERT_TRUE(desk::wait_until([&] { return (tool = open(hang.c_str(), O_WRONLY | O_NONBLOCK)) != -1; }));
    desk().bus().send("chan_usb");
    box().remove("/tmp/hang");
    EXPECT_EQ(desk().picture(), before) << "the activity icon too";
    EXPECT_EQ(desk().log().count("chan_usb"), 0) << "it waits in the bus";
    EXPECT_FALSE(desk().clock().stands_still()) << "the loop is not at its sleep";
    close(tool); // the tool's end
    EXPECT_TRUE(desk().log().wait_for("chan_usb"));
    desk().advance(1000);
    EXPECT_EQ(shown_view(desk()), "usb");
    EXPECT_NE(desk().picture(), before);
}

TEST_F(HostileTools, LastLineWins) {
    prepare_asking_all();
    box().write_script("/usr/local/bin/iw",
                       "#!/bin/sh\ncase \"$*\" in\n*info) printf 'ssid First\\nssid HomeNet\\n';;\n"
                       "*link) printf 'signal: -93 dBm\\nsignal: -40 dBm\\n';;\nesac\n");
    box().write_script("/usr/local/bin/vcicp", "#!/bin/sh\necho 9000\necho 11500\n");
    start();
    run_until(2600);
    EXPECT_EQ(shown_view(desk()), "station, signal 4");
    EXPECT_EQ(desk().picture().part(0, 15, 128, 34), golden(true, "voltage/voltage_from_jack").part(0, 15, 128, 34));
}

} // namespace end_to_end
