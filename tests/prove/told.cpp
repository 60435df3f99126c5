// Exactly what it is told, whatever it went through before.
#include "tests/prove/told.h"

#include "panel/drawing.h"

namespace prove {

// Not the measured row: minimum and maximum are of the whole run.
static desk::Picture rows_of(const desk::Picture &all) {
    desk::Picture rows(all.width(), 32);
    for (int y = 0; y < 16; y++) {
        for (int x = 0; x < all.width(); x++) {
            rows.set(x, y, all.at(x, y));
            rows.set(x, 16 + y, all.at(x, 50 + y));
        }
    }
    return rows;
}

// libdbus keeps some messages that were released to use them again. So many at once fill that store, or else a message
// that is never released would be missing there and not be counted as one more.
static void fill_the_store_of_messages(desk::Desk &desk) {
    desk.bus().send_message(client::signal_of("nothing", {}).get(), 40);
    desk.send_and_settle("nothing");
}

desk::Picture told(desk::Desk &desk) {
    fill_the_store_of_messages(desk);
    desk.box().write("/rodata/serial_number", "QB-1\n");
    desk.box().write("/tmp/fw_type_running", "FT_BOOT\n");
    desk.box().remove("/tmp/bada");
    desk.box().write("/sys/bus/iio/devices/iio:device0/in_voltage0_raw", "1000");
    for (const char *word : {"p_on", "REC_OFF", "clear_msg", "chan_timeout", "M4_none", "chan_bt", "M4_ready"}) {
        desk.send_and_settle(word);
    }
    desk.advance(2600);
    return rows_of(desk.picture());
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

static int boxes_until_full(desk::Desk &desk) {
    const int before = desk.log().count("USB_update");
    for (int i = 0; i < 400; i++) desk.bus().send("USB_update");
    desk.clock().raise(2000);
    if (desk.wait_for_exit() != 128 + 6) throw desk::Error("400 boxes over one another did not fill its pool");
    return desk.log().count("USB_update") - before;
}

void must_have_the_room_of_a_fresh_one(desk::Desk &desk) {
    desk::Desk fresh;
    fresh.start();
    told(fresh);
    told(desk);
    const int room = boxes_until_full(desk);
    const int wanted = boxes_until_full(fresh);
    if (room == wanted) return;
    throw desk::Error("LVGL's pool has room for " + std::to_string(room) + " more boxes, in a fresh one for " +
                      std::to_string(wanted));
}

} // namespace prove
