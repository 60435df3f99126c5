// Files that are no proper files: pipes, folders, binary garbage, endless lines, in the place of each file
// that the daemon reads or looks for. It neither blocks nor dies, and answers chan_usb with the right
// picture.
#include <filesystem>
#include <functional>

#include <sys/stat.h>

#include "golden.h"
#include "support.h"

namespace end_to_end {

namespace fs = std::filesystem;

static const char *const files_read[] = {
    "/rodata/serial_number",
    "/rodata/bluetooth_name",
    "/tmp/fw_type_running",
    "/sys/class/net/wlan0/link_mode",
    "/sys/class/net/wlan0/operstate",
    "/sys/bus/iio/devices/iio:device0/in_voltage0_raw",
    "/sys/bus/iio/devices/iio:device0/in_voltage_scale",
};

struct Oddity {
    const char *name;
    std::function<void(desk::Box &, const std::string &path)> make;
};

static std::string garbage(size_t length) {
    std::string bytes;
    uint32_t state = 12345;
    for (size_t i = 0; i < length; i++) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

static void make_pipe(desk::Box &box, const std::string &path) {
    box.remove(path);
    ASSERT_EQ(mkfifo(box.host_path(path).c_str(), 0666), 0);
}

static void make_folder(desk::Box &box, const std::string &path) {
    box.remove(path);
    fs::create_directories(box.host_path(path));
}

static Oddity content(const char *name, const std::string &bytes) {
    return {name, [bytes](desk::Box &box, const std::string &path) { box.write(path, bytes); }};
}

static const std::vector<Oddity> &oddities() {
    static const std::vector<Oddity> all = {
        {"pipe", make_pipe},
        {"folder", make_folder},
        {"link to itself",
         [](desk::Box &box, const std::string &path) {
             box.remove(path);
             fs::create_symlink(fs::path(path).filename(), box.host_path(path));
         }},
        content("nothing", ""),
        content("one newline", "\n"),
        content("zeros", std::string(1000, '\0')),
        content("garbage", garbage(4096)),
        content("megabytes of garbage", garbage(4 << 20)),
        content("a line without end", std::string(4 << 20, 'W')),
        content("blanks without end", std::string(1 << 20, ' ')),
        content("newlines without end", std::string(1 << 20, '\n')),
        content("broken letters", "\xf0\x9f\xf0\x9f\xe2\x82\xc3\xff\xfe=\xc3"),
        content("a cut letter at every limit", std::string(120, 'x') + "\xe2\x82\xac\xe2\x82\xac\xe2\x82\xac\xe2\x82"),
        content("formats", "%n%s%99999d=%n%s\n"),
        content("numbers beyond all", "1e999999 -1e999999 nan inf 99999999999999999999"),
        content("not a number", "nan\n"),
        content("infinity", "-inf\n"),
        content("the largest", "3.4e38\n"),
    };
    return all;
}

class HostileFiles : public DaemonTest {
protected:
    void expect_still_answers() {
        command("p_on"); // power-down would show the serial number
        command("clear_msg");
        command("chan_usb");
        EXPECT_EQ(shown_view(desk()), "usb");
    }

    void make_everywhere(const Oddity &oddity) {
        for (const char *path : files_read) oddity.make(box(), path);
    }
};

TEST_F(HostileFiles, NormalScreenStartsOnThem) {
    for (const Oddity &oddity : oddities()) {
        SCOPED_TRACE(oddity.name);
        prepare_layout();
        box().set_jack_ready(true);
        make_everywhere(oddity);
        start();
        run_until(4600);
        command("p_off");
        expect_still_answers();
    }
}

TEST_F(HostileFiles, ProductionScreenStartsOnThem) {
    for (const Oddity &oddity : oddities()) {
        SCOPED_TRACE(oddity.name);
        prepare_layout();
        box().set_production();
        make_everywhere(oddity);
        start();
        command("Reboot");
        command("clear_msg");
        run_until(4600);
        EXPECT_TRUE(desk().alive());
        const panel::Picture fixed_rows = desk().picture().part(0, 26, 128, 40);
        EXPECT_EQ(fixed_rows, golden(true, "start/production").part(0, 26, 128, 40)) << "HW and FW rows";
    }
}

TEST_F(HostileFiles, TheyTurnOddWhileRunning) {
    prepare_layout();
    box().set_jack_ready(true);
    box().set_wifi_link(true);
    box().set_ssid("HomeNet");
    box().set_signal_dbm(-40);
    start();
    run_until(2100);
    for (const Oddity &oddity : oddities()) {
        SCOPED_TRACE(oddity.name);
        for (const char *path : files_read) {
            oddity.make(box(), path);
            desk().advance(500);
        }
        command("p_off");
        command("p_on");
    }
    expect_still_answers();
}

// One file at a time, the others in order: an odd one must not hide behind an earlier refusal.
TEST_F(HostileFiles, EachAloneInAHealthyBox) {
    for (const char *path : files_read) {
        SCOPED_TRACE(path);
        prepare_layout();
        box().set_wifi_link(true);
        box().set_ssid("HomeNet");
        box().set_signal_dbm(-40);
        box().set_jack_ready(true);
        start();
        for (const Oddity &oddity : oddities()) {
            SCOPED_TRACE(oddity.name);
            oddity.make(box(), path);
            desk().advance(2000);
            command("p_off");
            command("p_on");
        }
        expect_still_answers();
    }
}

// Their existence is all that counts, whatever they are.
TEST_F(HostileFiles, FlagsMayBeAnything) {
    const char *const flags[] = {"/rodata/wlock", "/userdata/configs/no_ap", "/tmp/bada",
                                 "/tmp/.app_rcv_command_ready"};
    for (const Oddity &oddity : oddities()) {
        SCOPED_TRACE(oddity.name);
        prepare_layout();
        box().remove_converter();
        for (const char *flag : flags) oddity.make(box(), flag);
        start();
        run_until(2600);
        const bool exists = std::string(oddity.name) != "link to itself";
        EXPECT_EQ(shown_view(desk()), exists ? "icons without hotspot" : "icons");
        EXPECT_EQ(shown_mode(desk()), exists ? "AUTOCHECK..." : "NO WARRANTY");
        EXPECT_EQ(box().count_calls("vcicp vjack") > 0, exists);
    }
}

TEST_F(HostileFiles, StartFlagsMayBeFolders) {
    prepare_layout();
    make_folder(box(), "/usr/local/bin/zor-destroy-hwtest.sh");
    start();
    run_until(50);
    EXPECT_EQ(desk().picture(), golden(true, "start/production"));
    prepare_layout();
    make_pipe(box(), "/userdata/debug_wlan0");
    start();
    run_until(600);
    EXPECT_EQ(box().count_calls("wl noise"), 1);
}

TEST_F(HostileFiles, SerialNumberIsCutAtItsFirstNewline) {
    prepare_layout();
    box().write("/rodata/serial_number", "QB418T-000123\nSECOND LINE\n");
    start();
    command("p_off");
    EXPECT_EQ(desk().picture(), golden(true, "modes/mode_power_down"));
}

TEST_F(HostileFiles, EmptyBox) {
    desk::Options options;
    options.contents = desk::Contents::bare;
    prepare_layout(options);
    start();
    command("M4_COMM");
    EXPECT_EQ(shown_mode(desk()), "NO WARRANTY");
    expect_still_answers();
}

} // namespace end_to_end
