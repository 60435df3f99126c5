/* A service that tells the display what it does, with sd-bus. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <systemd/sd-bus.h>

static void check(int result, const char *what) {
    if (result >= 0) return;
    fprintf(stderr, "%s: %s\n", what, strerror(-result));
    exit(1);
}

int main(void) {
    sd_bus *bus = NULL;
    check(sd_bus_open_system(&bus), "no system bus");
    check(sd_bus_emit_signal(bus, "/zor/signal", "zor.signal.Type", "Display", "s", "chan_bt"), "chan_bt");
    check(sd_bus_emit_signal(bus, "/zor/signal", "zor.signal.Type", "Display", "s", "M4_ready"), "M4_ready");
    check(sd_bus_emit_signal(bus, "/zor/signal", "zor.signal.Type", "Display", "sis", "cd_update", 120, "GATEWAY"),
          "cd_update");
    /* Writes out what still lies in this process, and closes. */
    sd_bus_flush_close_unref(bus);
    return 0;
}
