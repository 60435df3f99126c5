// Long runs of the real daemon at the desk, in stepped time:
//
//   long_run soak MINUTES     so many minutes of the display's time with traffic, over each wrap of its clock, and with a
//                             clock that somebody sets; memory, descriptors and children must not grow, and not one block
//                             may be held that was not held in the same state before
//   long_run flood SIGNALS    so many signals, 20,000 at once, most of them of a wrong shape, with files that come and go;
//                             each must be taken, in order, one a pass
//
// After both it does exactly what it is told. One line of progress each tenth of the run, then "ok", or a sentence and
// status 1.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <dbus/dbus.h>

#include "simulator/desk/desk.h"
#include "tests/prove/counted_desk.h"
#include "tests/prove/random.h"
#include "tests/prove/told.h"

namespace prove {

static void tell(int tenth, CountedDesk &counted) {
    std::printf("%3d %%  %8.1f s of its time  %s\n", tenth * 10,
                static_cast<double>(counted.desk().clock().now_us()) / 1e6, in_words(counted.counted()).c_str());
    std::fflush(stdout);
}

// ---- Traffic

// Boxes over boxes are kept by design until the pool is full, so what opens one is closed again.
static const std::vector<std::vector<std::string>> &usual_traffic() {
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

static void change_a_file(Random &random, desk::Box &box) {
    switch (pick(random, 0, 5)) {
        case 0: box.write("/rodata/serial_number", "QB-" + std::to_string(pick(random, 0, 99999)) + "\n"); break;
        case 1: box.write("/tmp/fw_type_running", pick(random, 0, 1) ? "FT_MAINAPP_J2534\n" : "FT_BOOT\n"); break;
        case 2: box.remove("/tmp/fw_type_running"); break;
        case 3: box.write("/tmp/bada", ""); break;
        case 4: box.remove("/tmp/bada"); break;
        default: box.write("/sys/bus/iio/devices/iio:device0/in_voltage0_raw", std::to_string(pick(random, 0, 1200)));
    }
}

static void some_traffic(Random &random, desk::Desk &desk) {
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

// ---- The runs

// Somebody sets the clock: by a tick, by what a task waits, by hours, by years.
static void set_the_clock(Random &random, desk::Clock &clock) {
    static const std::vector<int64_t> ms = {
        1, 20, 500, 3000, 3600 * 1000L, 24 * 3600 * 1000L, 10 * 365 * 24 * 3600 * 1000L};
    clock.set_by(one_of(random, ms) * (pick(random, 0, 1) ? 1000 : -1000));
}

static void soak(long minutes) {
    Random random(1);
    desk::Options options;
    options.origin_us = desk::Clock::origin_before_wrap(30 * 60 * 1000L); // and again every 71.6 minutes
    CountedDesk counted(options);
    desk::Desk &desk = counted.desk();
    desk.start();
    std::optional<Counted> first;
    int told_tenths = 0;
    const int64_t end_us = minutes * 60 * 1000000L;
    while (desk.clock().now_us() < end_us) {
        some_traffic(random, desk);
        change_a_file(random, desk.box());
        desk.advance(10000);
        if (pick(random, 0, 49) == 0) set_the_clock(random, desk.clock());
        desk.log().clear();
        const int tenth = static_cast<int>(desk.clock().now_us() * 10 / end_us);
        if (tenth == told_tenths) continue;
        told(desk);
        if (!first) first = counted.counted();
        tell(told_tenths = tenth, counted);
    }
    must_hold_the_same_blocks(*first, counted.counted());
    must_do_what_it_is_told(desk);
    must_have_the_room_of_a_fresh_one(desk);
}

// With its number behind the word, which is no part of it, so that the log tells each from the others. "": it has no word.
static DBusMessage *shaped_message(Random &random, long number, std::string &word) {
    DBusMessage *message = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    DBusMessageIter to;
    dbus_message_iter_init_append(message, &to);
    // None that opens a box: those stay.
    static const std::vector<std::string> words = {
        "error", "chan_bt", "M4_ready", "", "nothing", "cd_updat", "chan_usb with more behind it", "REC_ON"};
    word.clear();
    if (pick(random, 0, 9) > 0) {
        word = one_of(random, words) + " " + std::to_string(number);
        const char *text = word.c_str();
        dbus_message_iter_append_basic(&to, DBUS_TYPE_STRING, &text);
    }
    for (int i = pick(random, 0, 3); i > 0; i--) {
        const int32_t whole = pick(random, -5, 70000);
        const double real = whole;
        DBusMessageIter inside;
        switch (pick(random, 0, 3)) {
            case 0: dbus_message_iter_append_basic(&to, DBUS_TYPE_INT32, &whole); break;
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
                dbus_message_iter_append_basic(&inside, DBUS_TYPE_INT32, &whole);
                dbus_message_iter_close_container(&to, &inside);
        }
    }
    return message;
}

// The words that it has logged since it was asked last. It stands still.
static void take_words(desk::LogSocket &log, std::vector<std::string> &taken) {
    static const std::string begin = "Got Signal with value ";
    for (const desk::LogLine &line : log.lines()) {
        if (line.text.rfind(begin, 0) == 0)
            taken.push_back(line.text.substr(begin.size(), line.text.size() - begin.size() - 1));
    }
    log.clear();
}

static void must_have_taken(const std::vector<std::string> &sent, const std::vector<std::string> &taken) {
    for (size_t i = 0; i < sent.size(); i++) {
        if (i < taken.size() && taken[i] == sent[i]) continue;
        throw desk::Error("after " + std::to_string(i) + " of " + std::to_string(sent.size()) + " came \"" +
                          (i < taken.size() ? taken[i] : "nothing") + "\" and not \"" + sent[i] + "\"");
    }
    if (taken.size() > sent.size()) throw desk::Error("more was taken than had been sent: \"" + taken.back() + "\"");
}

// Until the last of `sent` has been taken: as many passes as there are messages, and a few in which the bus was late.
static void let_take(desk::Desk &desk, Random &random, const std::vector<std::string> &sent, long messages) {
    constexpr int step = 100;
    std::vector<std::string> taken;
    for (long passes = 0; taken.size() < sent.size(); passes += step) {
        if (passes > 2 * messages) break;
        // The bus must write on while the daemon reads, and stepped passes are quicker than it.
        for (int part = 0; part < 10; part++) {
            desk.bus().catch_up();
            desk.advance(step / 10);
        }
        const size_t before = taken.size();
        take_words(desk.log(), taken);
        if (taken.size() - before > step) {
            throw desk::Error(std::to_string(taken.size() - before) + " signals were taken in " + std::to_string(step) +
                              " passes");
        }
        if (passes % 1000 == 0) change_a_file(random, desk.box());
    }
    must_have_taken(sent, taken);
}

static void flood(long signals) {
    Random random(2);
    CountedDesk counted;
    desk::Desk &desk = counted.desk();
    desk.start();
    desk.advance(2000);
    told(desk);
    std::optional<Counted> first;
    constexpr long burst = 20000;
    int told_tenths = 0;
    for (long sent = 0; sent < signals;) {
        std::vector<std::string> words;
        std::vector<DBusMessage *> messages;
        for (long i = 0; i < burst; i++, sent++) {
            std::string word;
            messages.push_back(shaped_message(random, sent, word));
            if (!word.empty()) words.push_back(word);
        }
        desk.log().clear();
        desk.bus().send_messages(messages);
        for (DBusMessage *message : messages) dbus_message_unref(message);
        let_take(desk, random, words, burst);
        const int tenth = static_cast<int>(sent * 10 / signals);
        if (tenth == told_tenths) continue;
        told(desk);
        if (!first) first = counted.counted();
        tell(told_tenths = tenth, counted);
    }
    must_hold_the_same_blocks(*first, counted.counted());
    must_do_what_it_is_told(desk);
    must_have_the_room_of_a_fresh_one(desk);
}

} // namespace prove

int main(int argc, char **argv) try {
    const std::string kind = argc == 3 ? argv[1] : "";
    if (kind == "soak") {
        prove::soak(std::atol(argv[2]));
    } else if (kind == "flood") {
        prove::flood(std::atol(argv[2]));
    } else {
        throw desk::Error("say 'soak MINUTES' or 'flood SIGNALS'");
    }
    std::puts("ok");
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "long_run: %s\n", problem.what());
    return 1;
}
