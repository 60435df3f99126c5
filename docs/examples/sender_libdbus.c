/* A service that tells the display what it does, with libdbus. */
#include <stdio.h>
#include <stdlib.h>

#include <dbus/dbus.h>

static DBusConnection *connect_to_bus(void) {
    DBusError error;
    dbus_error_init(&error);
    DBusConnection *bus = dbus_bus_get(DBUS_BUS_SYSTEM, &error);
    if (bus == NULL) {
        fprintf(stderr, "no system bus: %s\n", error.message);
        exit(1);
    }
    /* Without this libdbus ends the whole process when the bus goes away. */
    dbus_connection_set_exit_on_disconnect(bus, FALSE);
    return bus;
}

/* The word and its arguments: pairs of a type and a pointer to the value, then DBUS_TYPE_INVALID. */
static void tell_display(DBusConnection *bus, int first_type, ...) {
    DBusMessage *signal = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    va_list arguments;
    va_start(arguments, first_type);
    if (signal == NULL || !dbus_message_append_args_valist(signal, first_type, arguments) ||
        !dbus_connection_send(bus, signal, NULL)) {
        fprintf(stderr, "out of memory\n");
        exit(1);
    }
    va_end(arguments);
    dbus_message_unref(signal);
    /* What the bus can't take at once lies in this process until then. */
    dbus_connection_flush(bus);
}

int main(void) {
    DBusConnection *bus = connect_to_bus();
    const char *const channel = "chan_bt", *const ready = "M4_ready", *const update = "cd_update",
                      *const type = "GATEWAY";
    const dbus_int32_t seconds = 120;
    tell_display(bus, DBUS_TYPE_STRING, &channel, DBUS_TYPE_INVALID);
    tell_display(bus, DBUS_TYPE_STRING, &ready, DBUS_TYPE_INVALID);
    tell_display(bus, DBUS_TYPE_STRING, &update, DBUS_TYPE_INT32, &seconds, DBUS_TYPE_STRING, &type, DBUS_TYPE_INVALID);
    dbus_connection_unref(bus);
    return 0;
}
