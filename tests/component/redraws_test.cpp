// What each command and each task draws, in pixels, and how many of these become others than they were. LVGL draws
// rectangles, so more is drawn than changes. What draws and changes nothing stands in the table, with its reason.
//
// benchmarks/cost makes its table of the rows that are recorded here.
#include <map>

#include "messages.h"
#include "probes/readers.h"
#include "support.h"
#include "widgets.h"

namespace {

using Words = std::vector<std::string>;

void send(const std::string &line) {
    if (line == "Error_Code E12") return send_command("Error_Code", "E12");
    if (line == "Error_Code WIFI12") return send_command("Error_Code", "WIFI12");
    if (line == "Error_Code CWIFI12") return send_command("Error_Code", "CWIFI12");
    if (line == "cd_update 120 MAIN_FW") return send_command("cd_update", 120, "MAIN_FW");
    send_command(line);
}

void supply(int raw) { write_file(IIO_RAW, std::to_string(raw) + "\n"); }

void station(const std::string &name, const std::string &dbm) {
    write_file(WLAN_LINK_MODE, "1\n");
    write_file(WLAN_OPERSTATE, "up\n");
    answer_commands([name, dbm](const std::string &command) {
        return (command.find("ssid") != std::string::npos ? name : dbm) + "\n";
    });
}

void jack(const std::string &millivolts) {
    supply(0);
    write_file(FLAG_VCI_READY, "");
    answer_commands([millivolts](const std::string &) { return millivolts + "\n"; });
}

// What the line is about; what was done before, and has come to rest; what is done; how long is looked.
struct Row {
    std::string name;
    std::string after;
    std::function<void()> before;
    std::function<void()> step;
    uint32_t ms;
};

struct Pixels {
    uint32_t drawn;
    uint32_t changed;
};

class Redraws : public ComponentTest {
protected:
    // A supply of 12.4 V, and no station.
    Pixels measure(const Row &row) {
        remove_steering_files();
        remove_file(FLAG_ACTIVITY_ALT);
        remove_file(FLAG_VCI_READY);
        write_file(FILE_SERIAL_NUMBER, "QB-77\n");
        write_file(IIO_SCALE, "1.0\n");
        supply(920);
        answer_commands([](const std::string &) { return ""; });
        build_status_screen();
        run_for(6000);
        row.before();
        run_for(6000);
        forget_redraws();
        row.step();
        run_for(row.ms);
        draw_now();
        return {redrawn_pixels(), changed_pixels()};
    }
};

constexpr uint32_t COMMAND_MS = 700; // the mode line has followed

Row command(const std::string &line, const Words &before = {}) {
    std::string after;
    for (const std::string &word : before) after += (after.empty() ? "" : ", ") + word;
    const auto send_all = [before] {
        for (const std::string &word : before) {
            send(word);
            run_for(COMMAND_MS);
        }
    };
    return {line, after, send_all, [line] { send(line); }, COMMAND_MS};
}

// With the station HomeNet at -60 dBm.
Row command_at_station(const std::string &line) {
    return {line, "a station", [] { station("HomeNet", "-60"); }, [line] { send(line); }, COMMAND_MS};
}

std::vector<Row> rows() {
    const auto nothing = [] {};
    const auto home = [] { station("HomeNet", "-60"); };
    std::vector<Row> all;
    for (const char *line : {"Error_Code E12", "Reboot", "Req_reboot", "Check_Igni", "USB_update", "USB_done",
                             "cd_update 120 MAIN_FW", "chan_usb", "chan_bt", "chan_ap", "chan_vpn", "M4_COMM",
                             "M4_ready", "M4_J2534", "REC_ON", "rj45_pt_enable", "DoIP_on", "p_off", "p_on"}) {
        all.push_back(command(line));
        all.push_back(command(line, {line}));
    }
    for (const char *line : {"M4_none", "REC_OFF", "rj45_pt_disable", "DoIP_off"}) {
        all.push_back(command(line, {"DoIP_on"}));
        all.push_back(command(line, {"M4_ready"}));
    }
    for (const char *line : {"M4_update", "M4_done", "M4_error", "clear_msg"}) {
        all.push_back(command(line, {"cd_update 120 MAIN_FW"}));
    }
    all.push_back(command("clear_msg"));
    all.push_back(command("Error_Code CWIFI12", {"Error_Code WIFI12"}));
    all.push_back(command("chan_timeout"));
    all.push_back(command("chan_timeout", {"chan_bt"}));
    all.push_back(command("chan_sta"));
    all.push_back(command_at_station("chan_sta"));
    all.push_back(command_at_station("chan_timeout"));

    constexpr uint32_t refresh_ms = 2000;
    all.push_back({"connectivity refresh", "no station", nothing, nothing, refresh_ms});
    all.push_back({"connectivity refresh, a station comes", "no station", nothing, home, refresh_ms});
    all.push_back({"connectivity refresh", "a station", home, nothing, refresh_ms});
    all.push_back(
        {"connectivity refresh, 1 dB less", "a station", home, [] { station("HomeNet", "-61"); }, refresh_ms});
    all.push_back(
        {"connectivity refresh, 20 dB less", "a station", home, [] { station("HomeNet", "-80"); }, refresh_ms});
    all.push_back({"meter, 12.4 V as before", "the supply", nothing, nothing, 500});
    all.push_back({"meter, 0.1 V more", "the supply", nothing, [] { supply(930); }, 500});
    all.push_back({"meter, 12.3 V as before", "the jack", [] { jack("12100"); }, nothing, 500});
    all.push_back({"meter, 0.1 V more", "the jack", [] { jack("12100"); }, [] { jack("12200"); }, 500});
    all.push_back({"meter, the jack instead", "the supply", nothing, [] { jack("12100"); }, 500});
    all.push_back({"mode line, as before", "", nothing, nothing, 500});
    all.push_back({"icon, beyond the edge of 64 pixels", "", nothing, nothing, 6000});
    all.push_back(
        {"a second of a firmware bar", "cd_update 120 MAIN_FW", [] { send("cd_update 120 MAIN_FW"); }, nothing, 1000});
    return all;
}

constexpr char BOX_AGAIN[] = "whoever shows a box closes the one that is up and builds it anew, be it the same";
constexpr char FORCED[] = "a command that forces the row has it built anew, be it the same";

// By the line and what was before it. All of these are asked for: what is built anew is a new object to LVGL.
const std::map<std::string, std::string> DRAWN_FOR_NOTHING = {
    {"Error_Code E12, after Error_Code E12", BOX_AGAIN},
    {"Reboot, after Reboot", BOX_AGAIN},
    {"Req_reboot, after Req_reboot", BOX_AGAIN},
    {"Check_Igni, after Check_Igni", BOX_AGAIN},
    {"USB_update, after USB_update", "each one is a further box, above what is shown"},
    {"USB_done, after USB_done", "each one is a further box, above what is shown"},
    {"chan_sta, after a station", FORCED},
    {"chan_timeout, after a station", FORCED},
    {"connectivity refresh, 1 dB less, after a station", "the row follows the percentage, not the icon"},
};

} // namespace

TEST_F(Redraws, OnlyWhereAPixelChangesOrForAReason) {
    size_t needless = 0;
    int number = 0;
    for (const Row &row : rows()) {
        const Pixels found = measure(row);
        const std::string figures = std::to_string(found.drawn) + "|" + std::to_string(found.changed);
        char key[16];
        snprintf(key, sizeof key, "row_%03d", number++);
        RecordProperty(key, row.name + "|" + row.after + "|" + figures);
        if (found.drawn == 0 || found.changed > 0) continue;
        needless++;
        const std::string which = row.name + ", after " + row.after;
        EXPECT_EQ(DRAWN_FOR_NOTHING.count(which), 1u) << which << ": draws " << found.drawn << " pixels, changes none";
    }
    EXPECT_EQ(needless, DRAWN_FOR_NOTHING.size()) << "a line of the list draws no more, or is no row";
}
