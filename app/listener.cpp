// Polled by the main loop, one message a pass at most.
#include "app/listener.h"

#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

#include "app/dispatch.h"
#include "app/display_state.h"
#include "app/log_text.h"
#include "app/signal_names.h"

// As many as one message of the system bus may carry. Reached, nothing more is read until messages are released.
constexpr long MOST_DESCRIPTORS = 16;

static DBusConnection *connect_to_bus(DBusError *error) {
    DBusConnection *connection = dbus_bus_get(DBUS_BUS_SYSTEM, error);
    if (dbus_error_is_set(error)) {
        syslog(LOG_ERR, "Connection Error (%s)\n", error->message);
        dbus_error_free(error);
    }
    if (connection == nullptr) exit(1);
    // Without this libdbus would end the process by itself when the bus goes away.
    dbus_connection_set_exit_on_disconnect(connection, FALSE);
    return connection;
}

// Whether the name is ours does not matter: the signals arrive through the match rule.
static void request_name(DBusConnection *connection, DBusError *error) {
    const int reply = dbus_bus_request_name(connection, DISPLAY_BUS_NAME, DBUS_NAME_FLAG_REPLACE_EXISTING, error);
    if (!dbus_error_is_set(error)) return;
    syslog(LOG_ERR, "Name Error (%s,%d)\n", error->message, reply);
    dbus_error_free(error);
}

static void subscribe(DBusConnection *connection, DBusError *error) {
    char rule[64];
    snprintf(rule, sizeof rule, "type='signal',interface='%s'", SIGNAL_INTERFACE);
    dbus_bus_add_match(connection, rule, error);
    dbus_connection_flush(connection);
    if (dbus_error_is_set(error)) {
        syslog(LOG_ERR, "Match Error (%s)\n", error->message);
        exit(1);
    }
}

static void note_backlog(DBusConnection *, DBusDispatchStatus status, void *) {
    display_state.bus_backlog = status != DBUS_DISPATCH_COMPLETE;
}

DBusConnection *listener_connect() {
    syslog(LOG_INFO, "Listening for signals\n");
    DBusError error;
    dbus_error_init(&error);
    DBusConnection *connection = connect_to_bus(&error);
    request_name(connection, &error);
    subscribe(connection, &error);
    dbus_connection_set_dispatch_status_function(connection, note_backlog, nullptr, nullptr);
    note_backlog(connection, dbus_connection_get_dispatch_status(connection), nullptr);
    // Not before: the replies that the set-up waits for must be read whatever lies in front of them.
    dbus_connection_set_max_received_unix_fds(connection, MOST_DESCRIPTORS);
    syslog(LOG_INFO, "Match rule sent\n");
    return connection;
}

static void handle_message(DBusMessage *message) {
    if (!dbus_message_is_signal(message, SIGNAL_INTERFACE, SIGNAL_MEMBER)) return;
    DBusMessageIter args;
    if (!dbus_message_iter_init(message, &args)) {
        syslog(LOG_ERR, "Message Has No Parameters\n");
        return;
    }
    if (dbus_message_iter_get_arg_type(&args) != DBUS_TYPE_STRING) {
        syslog(LOG_ERR, "Argument is not string!\n");
        return;
    }
    const char *command;
    dbus_message_iter_get_basic(&args, &command);
    syslog(LOG_INFO, "Got Signal with value %.*s\n", logged_length(command), command);
    dispatch(command, &args);
}

// A read takes up many messages, a pass handles one. What libdbus holds already is therefore handled first, so that
// a burst waits in the bus: here it would pile up, with the file descriptors that signals may carry, until the limit
// of open files makes libdbus close the connection for good. Nothing is written after the set-up. When memory is
// short (DBUS_DISPATCH_NEED_MEMORY) what has been read is tried again and no more is added to it.
//
// Asking for the status costs a quarter of a quiet pass, so it is asked for after a message, and libdbus tells when it
// changes otherwise.
bool listener_poll(DBusConnection *connection) {
    if (!display_state.bus_backlog) dbus_connection_read_write(connection, 0);
    DBusMessage *message = dbus_connection_pop_message(connection);
    if (message == nullptr) return false;
    handle_message(message);
    dbus_message_unref(message);
    note_backlog(connection, dbus_connection_get_dispatch_status(connection), nullptr);
    return true;
}
