// The files that the daemon reads: unreadable, huge, folders, pipes, and vanishing between open and read.
//
// Whatever happens to a file comes to one of four things, and what must be shown then is one table for all kinds.
#include <filesystem>

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "faults.h"
#include "probes/readers.h"

namespace faults {

enum class Reading {
    missing, // it can't be opened
    nothing, // it opens, and there is nothing in it
    other,   // it says something that it should not
    whole,   // it says what it did
};

// A file in the state in which it counts, and what is shown for each reading.
struct Subject {
    const char *path;
    std::string content; // what it says when the fault meets it
    Shown (*shown)(Reading reading);
};

// The usual state: a station, READY, 12.4 V from the supply, and the same from the jack if it were asked.
static Shown usual() {
    Shown shown;
    shown.view = "views/view_station_signal_4";
    shown.mode = "modes/mode_ready";
    return shown;
}

// A converter that can't be read is no supply; the last reading stays when a file is there and empty.
static Shown without_converter(Reading reading) {
    Shown shown = usual();
    if (reading == Reading::missing || reading == Reading::other) shown.source = "voltage/voltage_from_jack";
    return shown;
}

static Shown without_link(Reading reading) {
    Shown shown = usual();
    if (reading != Reading::whole) shown.view = "start/icon_row";
    return shown;
}

static Shown without_firmware(Reading reading) {
    Shown shown = usual();
    if (reading == Reading::whole) shown.mode = "modes/mode_passthru";
    return shown;
}

static std::vector<Subject> subjects(desk::Box &box) {
    return {
        {IIO_RAW, box.read(IIO_RAW), without_converter},
        {IIO_SCALE, box.read(IIO_SCALE), without_converter},
        {WLAN_LINK_MODE, "1\n", without_link},
        {WLAN_OPERSTATE, "up\n", without_link},
        {FILE_FW_TYPE_RUNNING, "FT_MAINAPP_J2534\n", without_firmware},
    };
}

static void prepare(desk::Box &box) {
    box.set_wifi_link(true);
    box.set_ssid("HomeNet");
    box.set_signal_dbm(-40);
    box.set_jack_ready(true);
    box.set_jack_millivolts(12200);
}

static void begin_usual(Trial &trial) {
    prepare(trial.box());
    trial.shown = usual();
    trial.shown.mode = "start/start_screen";
    trial.begin();
    trial.send("M4_ready");
    trial.desk().advance(600);
    trial.must_log({received("M4_ready")});
    trial.shown = usual();
    trial.must_show();
}

// Removes a file that a fault has put there, of whatever kind.
static void put_back(Trial &trial, const Subject &subject) {
    trial.faults().at_open = FAULT_NONE;
    trial.box().remove(subject.path);
    trial.box().write(subject.path, subject.content);
}

// Afterwards it says again what it did, and that counts at once. A station comes back with its next quality.
static void must_come_back(Trial &trial, const Subject &subject) {
    put_back(trial, subject);
    trial.box().set_signal_dbm(-70);
    trial.shown = subject.shown(Reading::whole);
    trial.shown.view = "views/view_station_signal_2";
    trial.settle();
    trial.must_show();
    trial.must_log({});
    trial.must_hold();
    trial.box().set_firmware_type(""); // its mode would come back over every other one
    trial.must_obey();
}

// `spoil` makes the fault of a file that says what it should, and tells what there is to be read then.
using Spoil = std::function<Reading(Trial &trial, const Subject &subject)>;

static void must_get_by(Random &random, const Spoil &spoil, const desk::Options &options = {}) {
    Trial trial(random, true, options);
    begin_usual(trial);
    const Subject subject = one_of(random, subjects(trial.box()));
    const Reading reading = spoil(trial, subject);
    trial.settle();
    trial.shown = subject.shown(reading);
    trial.must_show();
    trial.must_log({});
    trial.must_hold();
    must_come_back(trial, subject);
}

// ---- The kinds

static void put_link(Trial &trial, const std::string &path, const std::string &target) {
    trial.box().remove(path);
    std::filesystem::create_symlink(target, trial.box().host_path(path));
}

static void put_socket(Trial &trial, const std::string &path) {
    trial.box().remove(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string place = trial.box().folder() + "/socket"; // short enough for an address
    place.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool made = bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    close(listener);
    must(made, "can't make a socket");
    std::filesystem::rename(place, trial.box().host_path(path));
}

// The unit's user can't open a file of mode 0000; root could.
static desk::Options without_rights() {
    desk::Options options;
    if (geteuid() == 0) options.runner = {"/usr/bin/setpriv", "--bounding-set", "-dac_override,-dac_read_search"};
    return options;
}

static Reading make_unreadable(Trial &trial, const Subject &subject) {
    const std::string path = subject.path;
    trial.box().write(path, subject.content);
    fault_control &faults = trial.faults();
    switch (pick(trial.random(), 0, 4)) {
        case 0: chmod(trial.box().host_path(path).c_str(), 0); return Reading::missing;
        case 1: put_link(trial, path, std::filesystem::path(path).filename()); return Reading::missing;
        case 2: put_link(trial, path, "/nowhere"); return Reading::missing;
        case 3: put_socket(trial, path); return Reading::missing;
        default:
            path.copy(faults.path, sizeof(faults.path) - 1);
            faults.read_error = one_of<int>(trial.random(), {EIO, ENODEV, ESTALE, EAGAIN, ENOMEM});
            faults.at_open = FAULT_READ_FAILS;
            return Reading::nothing;
    }
}

static void files_unreadable(Random &random) { must_get_by(random, make_unreadable, without_rights()); }

// A few gigabytes of zeros behind the content take no room here; the daemon must not read them.
static Reading make_huge(Trial &trial, const Subject &subject) {
    const std::string path = subject.path;
    if (pick(trial.random(), 0, 1) == 1) {
        trial.box().write(path, subject.content);
        const long gigabytes = pick(trial.random(), 1, 64);
        must(truncate(trial.box().host_path(path).c_str(), gigabytes << 30) == 0, "can't make a huge file");
        return Reading::whole;
    }
    const char filling = one_of<char>(trial.random(), {'W', '9', '\xff', '='});
    trial.box().write(path, std::string(static_cast<size_t>(pick(trial.random(), 100000, 4000000)), filling));
    return Reading::other;
}

static void files_huge(Random &random) { must_get_by(random, make_huge); }

static void files_are_folders(Random &random) {
    must_get_by(random, [](Trial &trial, const Subject &subject) {
        trial.box().remove(subject.path);
        const std::string place = trial.box().host_path(subject.path);
        std::filesystem::create_directory(place);
        if (pick(trial.random(), 0, 1) == 1) trial.box().write(std::string(subject.path) + "/file", subject.content);
        return Reading::nothing;
    });
}

// Nobody writes to it, somebody has it open and writes nothing, or writes once: then the first reading is whole.
static void files_are_pipes(Random &random) {
    int writer = -1;
    must_get_by(random, [&](Trial &trial, const Subject &subject) {
        make_fifo(trial.box(), subject.path);
        if (pick(trial.random(), 0, 1) == 1) {
            writer = open(trial.box().host_path(subject.path).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        }
        return Reading::nothing;
    });
    if (writer >= 0) close(writer);
}

// Lets the daemon run until that file has been struck once more; the next reading of it is still far away then.
static void run_into_fault(Trial &trial, const Subject &subject) {
    const auto struck = [&] { return __atomic_load_n(&trial.faults().struck, __ATOMIC_SEQ_CST); };
    const uint32_t before = struck();
    for (int64_t passed = 0; struck() == before; passed += 50) {
        must(passed < 10000, std::string(subject.path) + " is not opened any more");
        trial.desk().advance(50);
    }
}

// Struck are openings at random moments: before that the file says what it does.
static Reading make_vanish(Trial &trial, const Subject &subject) {
    fault_control &faults = trial.faults();
    std::string(subject.path).copy(faults.path, sizeof(faults.path) - 1);
    const auto how = one_of<fault_at_open>(trial.random(), {FAULT_GONE_BEFORE_OPEN, FAULT_EMPTY_AFTER_OPEN});
    // A file that is read anew and says what it should would count; so the firmware's file vanishes at once.
    faults.spared = subject.shown == without_firmware ? 0 : static_cast<uint32_t>(pick(trial.random(), 0, 3));
    faults.at_open = how;
    trial.box().write(subject.path, subject.content);
    run_into_fault(trial, subject);
    return Reading::missing; // at the latest with the reading after that one
}

static void files_vanish(Random &random) { must_get_by(random, make_vanish); }

// Between open and read it is removed, or reading is interrupted and slow: what was opened can be read all the same.
static void files_change_under_reading(Random &random) {
    Trial trial(random);
    begin_usual(trial);
    const Subject subject = one_of(random, subjects(trial.box()));
    fault_control &faults = trial.faults();
    std::string(subject.path).copy(faults.path, sizeof(faults.path) - 1);
    const auto how =
        one_of<fault_at_open>(random, {FAULT_EMPTY_AFTER_OPEN, FAULT_REMOVED_AFTER_OPEN, FAULT_READ_INTERRUPTED});
    faults.at_open = how;
    // Put back before each of its readings: it is seen in no other state than the struck one.
    for (int readings = pick(random, 1, 10); readings > 0; readings--) {
        trial.box().write(subject.path, subject.content);
        run_into_fault(trial, subject);
    }
    trial.box().write(subject.path, subject.content);
    trial.desk().advance(20); // drawn, and not read again
    trial.shown = subject.shown(how == FAULT_EMPTY_AFTER_OPEN ? Reading::nothing : Reading::whole);
    trial.must_show();
    trial.must_log({});
    must_come_back(trial, subject);
}

// ---- The identity, which is read when it is to be shown

static void identity(Random &random) {
    const bool production = pick(random, 0, 1) == 1;
    Trial trial(random);
    const char *path = FILE_SERIAL_NUMBER;
    if (production) trial.box().set_production();
    const auto spoil = [&](const char *file) {
        const Subject subject{file, trial.box().read(file), nullptr};
        switch (pick(random, 0, 3)) {
            case 0: trial.box().remove(file); break;
            case 1: put_link(trial, file, "/nowhere"); break;
            case 2: put_link(trial, file, std::filesystem::path(file).filename()); break;
            default: put_socket(trial, file);
        }
    };
    if (production) {
        spoil(FILE_SERIAL_NUMBER);
        spoil(FILE_BLUETOOTH_NAME);
        trial.look = [&] {
            return difference(trial.desk().picture(), expected_picture("start/production_without_identity", true));
        };
        std::vector<Line> lines = start_lines();
        lines.insert(lines.begin(), {LOG_ERR, "start prod interface."});
        trial.begin(lines);
        trial.must_hold();
        trial.send("chan_usb");
        trial.desk().advance(600);
        trial.must_log({received("chan_usb")});
        trial.must_show();
        return;
    }
    trial.begin();
    spoil(path);
    trial.send("p_off");
    trial.settle();
    trial.must_log({received("p_off")});
    trial.shown.view = "modes/power_down_without_serial";
    trial.shown.mode = "modes/mode_power_down";
    trial.shown.volts = "voltage/voltage_none";
    trial.must_show();
    trial.must_hold();
    trial.box().remove(path);
    trial.box().write(path, "QB418T-000123\n");
    trial.send("p_on");
    trial.settle();
    trial.must_log({received("p_on")});
    trial.shown = Shown{};
    trial.shown.mode = "modes/mode_restarting";
    trial.must_show();
    trial.send("p_off");
    trial.settle();
    trial.must_log({received("p_off")});
    trial.shown.view = trial.shown.mode = "modes/mode_power_down";
    trial.shown.volts = "voltage/voltage_none";
    trial.must_show();
    trial.must_hold();
}

const std::vector<Kind> &file_kinds() {
    static const char *const usual_state =
        "a station, READY and 12.4 V are shown; one of the five files that are polled, or that the firmware runs";
    static const std::vector<Kind> kinds = {
        {"files_unreadable", usual_state, "no permission, a link to nowhere or to itself, a socket, or read fails",
         "the table's reading for a missing or an empty file; the file back, it counts again; it obeys",
         files_unreadable},
        {"files_huge", usual_state, "up to 64 GB behind the content, or 4 MB of one letter",
         "the content counts, or the letters as what they are; the file back, it counts again; it obeys", files_huge},
        {"files_are_folders", usual_state, "a folder in the file's place, empty or not",
         "as an empty file; the file back, it counts again; it obeys", files_are_folders},
        {"files_are_pipes", usual_state, "a pipe in the file's place, with a silent writer or without",
         "as an empty file, and nothing waits; the file back, it counts again; it obeys", files_are_pipes},
        {"files_vanish", usual_state, "at a random reading the file vanishes before or after its opening",
         "as a missing file from then on; the file back, it counts again; it obeys", files_vanish},
        {"files_change_under_reading", usual_state,
         "up to ten times it is cut to nothing or removed between open and read, or reading is interrupted and slow",
         "as an empty file, or its whole content; it obeys", files_change_under_reading},
        {"identity_missing", "the normal or the production screen",
         "no identity files, links to nowhere or to themselves, sockets",
         "\"-\" or \"ERROR\" in the name's place; the file back, the next power-down shows it", identity},
    };
    return kinds;
}

} // namespace faults
