// What a display like this costs before it does anything: the daemon is measured beside these. FLOOR says how much is in:
//
//   1  a loop that sleeps a millisecond
//   2  and looks for messages of the bus
//   3  and drives LVGL: an empty screen, and as many tasks with nothing to do as the daemon has
//   4  and shows the text of each signal in a label
#include <stdio.h>
#include <syslog.h>
#include <unistd.h>

#include <initializer_list>

#include <dbus/dbus.h>

#include "app/signal_names.h"
#if FLOOR >= 3
#include "lvgl.h"
#include "port/display_port.h"
#endif

#if FLOOR >= 2
static DBusConnection *connect_to_bus() {
    DBusConnection *connection = dbus_bus_get(DBUS_BUS_SYSTEM, nullptr);
    if (connection == nullptr) _exit(1);
    dbus_bus_request_name(connection, DISPLAY_BUS_NAME, DBUS_NAME_FLAG_REPLACE_EXISTING, nullptr);
    char rule[64];
    snprintf(rule, sizeof rule, "type='signal',interface='%s'", SIGNAL_INTERFACE);
    dbus_bus_add_match(connection, rule, nullptr);
    dbus_connection_flush(connection);
    return connection;
}

static void take_message(DBusConnection *connection) {
    dbus_connection_read_write(connection, 0);
    DBusMessage *message = dbus_connection_pop_message(connection);
    if (message == nullptr) return;
#if FLOOR >= 4
    const char *text = nullptr;
    if (dbus_message_is_signal(message, SIGNAL_INTERFACE, SIGNAL_MEMBER) &&
        dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID)) {
        syslog(LOG_INFO, "Got Signal with value %s\n", text);
        lv_label_set_text(lv_obj_get_child(lv_scr_act(), nullptr), text);
    }
#endif
    dbus_message_unref(message);
}
#endif

#if FLOOR >= 3
static void create_screen() {
    display_port_init();
    lv_disp_load_scr(lv_obj_create(nullptr, nullptr));
#if FLOOR >= 4
    lv_obj_set_pos(lv_label_create(lv_scr_act(), nullptr), 0, 50);
#endif
    const auto nothing = [](lv_task_t *) {};
    for (const uint32_t period : {100, 500, 500, 2000}) lv_task_create(nothing, period, LV_TASK_PRIO_MID, nullptr);
    lv_task_set_prio(lv_task_create(nothing, 1000, LV_TASK_PRIO_MID, nullptr), LV_TASK_PRIO_OFF);
}
#endif

int main() {
    openlog("Display", LOG_PID | LOG_CONS | LOG_NDELAY, LOG_LOCAL1);
#if FLOOR >= 3
    create_screen();
#endif
#if FLOOR >= 2
    DBusConnection *connection = connect_to_bus();
#endif
    syslog(LOG_INFO, "Match rule sent\n"); // what the desk waits for
    for (;;) {
#if FLOOR >= 3
        lv_task_handler();
#endif
#if FLOOR >= 2
        take_message(connection);
#endif
        usleep(1000);
    }
}
