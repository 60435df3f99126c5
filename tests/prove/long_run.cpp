// Long runs of the real daemon at the desk, in stepped time:
//
//   long_run soak MINUTES     so many minutes of the display's time with traffic, over each wrap of its clock; memory,
//                             descriptors and children must not grow
//   long_run flood SIGNALS    so many signals at once, most of them of a wrong shape, with files that come and go;
//                             afterwards it does exactly what it is told
//
// One line of progress each tenth of the run, then "ok", or a sentence and status 1.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <dbus/dbus.h>

#include "panel/drawing.h"
#include "simulator/desk/desk.h"
#include "holding.h"
#include "random.h"

namespace {

// ---- What the daemon holds

// Pages that the allocator takes up late; a leak of one message in an hour would be more over the whole run.
constexpr long spare_kb = 64;

void must_not_have_grown(const Holding &before, const Holding &now) {
    if (now.private_kb <= before.private_kb + spare_kb && now.descriptors <= before.descriptors && now.children == 0) {
        return;
    }
    throw desk::Error("it has grown: " + in_words(now) + "; after a tenth of the run it had " + in_words(before));
}

void tell(int tenth, desk::Desk &desk, const Holding &holding) {
    std::printf("%3d %%  %8.1f s of its time  %s\n", tenth * 10, static_cast<double>(desk.clock().now_us()) / 1e6,
                in_words(holding).c_str());
    std::fflush(stdout);
}

// ---- Traffic

// Boxes over boxes are kept by design until the pool is full, so what opens one is closed again.
const std::vector<std::vector<std::string>> &usual_traffic() {
    static const std::vector<std::vector<std::string>> all = {
        {"chan_usb"},
        {"chan_bt"},
        {"chan_ap"},
        {"chan_sta"},
        {"chan_vpn"},
        {"chan_timeout"},
        {"M4_COMM"},
        {"M4_ready"},
        {"M4_J2534"},
        {"M4_none"},
        {"REC_ON"},
        {"REC_OFF"},
        {"DoIP_on"},
        {"DoIP_off"},
        {"rj45_pt_enable"},
        {"rj45_pt_disable"},
        {"p_off"},
        {"p_on"},
        {"Reboot", "clear_msg"},
        {"Check_Igni", "clear_msg"},
        {"Req_reboot", "clear_msg"},
    };
    return all;
}

void change_a_file(Random &random, desk::Box &box) {
    switch (pick(random, 0, 5)) {
        case 0: box.write("/rodata/serial_number", "QB-" + std::to_string(pick(random, 0, 99999)) + "\n"); break;
        case 1: box.write("/tmp/fw_type_running", pick(random, 0, 1) ? "FT_MAINAPP_J2534\n" : "FT_BOOT\n"); break;
        case 2: box.remove("/tmp/fw_type_running"); break;
        case 3: box.write("/tmp/bada", ""); break;
        case 4: box.remove("/tmp/bada"); break;
        default: box.write("/sys/bus/iio/devices/iio:device0/in_voltage0_raw", std::to_string(pick(random, 0, 1200)));
    }
}

void some_traffic(Random &random, desk::Desk &desk) {
    for (const std::string &word : one_of(random, usual_traffic())) {
        desk.bus().send(word, {});
        desk.advance(40);
    }
    if (pick(random, 0, 9) == 0) {
        desk.bus().send("cd_update", {desk::Argument(static_cast<int32_t>(5)), desk::Argument("SOAK")});
        desk.advance(5400);
        desk.bus().send("M4_done", {});
        desk.advance(40);
    }
    if (pick(random, 0, 9) == 0) {
        desk.bus().send("Error_Code", {desk::Argument("E" + std::to_string(pick(random, 0, 999)))});
        desk.advance(700);
        desk.bus().send("clear_msg", {});
        desk.advance(40);
    }
}

// ---- Exactly what it is told

// Out of whatever state: nothing open, one channel, one mode.
desk::Picture told(desk::Desk &desk) {
    desk.box().write("/tmp/fw_type_running", "FT_BOOT\n");
    desk.box().remove("/tmp/bada");
    desk.box().write("/sys/bus/iio/devices/iio:device0/in_voltage0_raw", "1000");
    for (const char *word : {"p_on", "clear_msg", "chan_timeout", "M4_none", "chan_bt", "M4_ready"}) {
        desk.bus().send(word, {});
        desk.advance(600);
    }
    desk.advance(2600);
    // Not the measured row: minimum and maximum are of the whole run.
    const desk::Picture all = desk.picture();
    desk::Picture rows(all.width(), 32);
    for (int y = 0; y < 16; y++) {
        for (int x = 0; x < all.width(); x++) {
            rows.set(x, y, all.at(x, y));
            rows.set(x, 16 + y, all.at(x, 50 + y));
        }
    }
    return rows;
}

void must_do_what_it_is_told(desk::Desk &desk) {
    desk::Desk fresh;
    fresh.start();
    const desk::Picture shown = told(desk);
    const desk::Picture wanted = told(fresh);
    if (shown == wanted) return;
    throw desk::Error("it does not show what a fresh one shows after the same commands:\n" +
                      panel::drawn(shown, panel::Marks::half_blocks) + "a fresh one:\n" +
                      panel::drawn(wanted, panel::Marks::half_blocks));
}

// ---- The runs

void soak(long minutes) {
    Random random(1);
    desk::Options options;
    options.origin_us = desk::Clock::origin_before_wrap(30 * 60 * 1000L); // and again every 71.6 minutes
    desk::Desk desk(options);
    desk.start();
    Holding first;
    int told_tenths = 0;
    const int64_t end_us = minutes * 60 * 1000000L;
    while (desk.clock().now_us() < end_us) {
        some_traffic(random, desk);
        change_a_file(random, desk.box());
        desk.advance(10000);
        if (first.private_kb == 0 && desk.clock().now_us() >= end_us / 10) first = holding_of(desk.daemon_pid());
        const int tenth = static_cast<int>(desk.clock().now_us() * 10 / end_us);
        if (tenth > told_tenths) tell(told_tenths = tenth, desk, holding_of(desk.daemon_pid()));
    }
    must_not_have_grown(first, holding_of(desk.daemon_pid()));
    must_do_what_it_is_told(desk);
}

DBusMessage *shaped_message(Random &random) {
    DBusMessage *message = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    DBusMessageIter to;
    dbus_message_iter_init_append(message, &to);
    static const std::vector<std::string> words = {
        "Error_Codes", "chan_bt", "M4_ready", "", "nothing", "cd_updat", "chan_usb with more behind it", "REC_ON"};
    if (pick(random, 0, 9) > 0) {
        const char *word = one_of(random, words).c_str();
        // "Error_Codes" would open a box; with a number first it is no string.
        if (std::string(word) == "Error_Codes") word = "error";
        dbus_message_iter_append_basic(&to, DBUS_TYPE_STRING, &word);
    }
    for (int i = pick(random, 0, 3); i > 0; i--) {
        const int32_t number = pick(random, -5, 70000);
        const double real = number;
        DBusMessageIter inside;
        switch (pick(random, 0, 3)) {
            case 0: dbus_message_iter_append_basic(&to, DBUS_TYPE_INT32, &number); break;
            case 1: dbus_message_iter_append_basic(&to, DBUS_TYPE_DOUBLE, &real); break;
            case 2:
                dbus_message_iter_open_container(&to, DBUS_TYPE_ARRAY, "d", &inside);
                for (int n = pick(random, 0, 20); n > 0; n--) {
                    dbus_message_iter_append_basic(&inside, DBUS_TYPE_DOUBLE, &real);
                }
                dbus_message_iter_close_container(&to, &inside);
                break;
            default:
                dbus_message_iter_open_container(&to, DBUS_TYPE_VARIANT, "i", &inside);
                dbus_message_iter_append_basic(&inside, DBUS_TYPE_INT32, &number);
                dbus_message_iter_close_container(&to, &inside);
        }
    }
    return message;
}

void flood(long signals) {
    Random random(2);
    desk::Desk desk;
    desk.start();
    desk.advance(2000);
    Holding first;
    constexpr long burst = 1000;
    long sent = 0;
    int told_tenths = 0;
    while (sent < signals) {
        for (long i = 0; i < burst; i++, sent++) {
            DBusMessage *message = shaped_message(random);
            desk.bus().send_message(message);
            dbus_message_unref(message);
        }
        change_a_file(random, desk.box());
        desk.advance(burst + 100);
        if (first.private_kb == 0 && sent >= signals / 10) first = holding_of(desk.daemon_pid());
        const int tenth = static_cast<int>(sent * 10 / signals);
        if (tenth > told_tenths) tell(told_tenths = tenth, desk, holding_of(desk.daemon_pid()));
    }
    must_not_have_grown(first, holding_of(desk.daemon_pid()));
    must_do_what_it_is_told(desk);
}

} // namespace

int main(int argc, char **argv) try {
    const std::string kind = argc == 3 ? argv[1] : "";
    if (kind == "soak") {
        soak(std::atol(argv[2]));
    } else if (kind == "flood") {
        flood(std::atol(argv[2]));
    } else {
        throw desk::Error("say 'soak MINUTES' or 'flood SIGNALS'");
    }
    std::puts("ok");
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "long_run: %s\n", problem.what());
    return 1;
}
