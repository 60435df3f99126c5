// The status display: log, display, screen, bus, and a loop that never ends.
//
// One thread does everything. All periodic work is LVGL tasks; the loop drives them, takes at most one
// message a pass and sleeps a millisecond. No options, no configuration, no clean shutdown.
#include <syslog.h>
#include <unistd.h>

#include "app/display_state.h"
#include "app/listener.h"
#include "lvgl.h"
#include "port/display_port.h"
#include "probes/readers.h"
#include "screen/production_screen.h"
#include "screen/status_screen.h"

static void create_screen() {
    lv_disp_load_scr(lv_obj_create(nullptr, nullptr));
    if (file_exists(FLAG_PRODUCTION_TEST)) {
        production_screen_create();
    } else {
        status_screen_create();
    }
}

[[noreturn]] static void run(DBusConnection *connection) {
    for (;;) {
        lv_task_handler();
        // Any message will do, the bus's own included: the lock file has no message of its own.
        if (listener_poll(connection)) display_state.no_warranty = !file_exists(FLAG_WARRANTY_LOCK);
        usleep(1000);
    }
}

int main() {
    openlog("Display", LOG_PID | LOG_CONS | LOG_NDELAY, LOG_LOCAL1);
    display_port_init();
    create_screen();
    run(listener_connect());
}
