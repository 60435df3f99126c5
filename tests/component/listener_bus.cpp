// The bus that is not there.
// The __wrap_ functions stand in for libdbus's through the linker's --wrap, see tests/CMakeLists.txt.
#include "listener_bus.h"

#include <stdlib.h>

#include <algorithm>

ListenerBus listener_bus;

static char connection_stand_in;
static DBusConnection *const the_connection = reinterpret_cast<DBusConnection *>(&connection_stand_in);

static void note(const std::string &call) { listener_bus.calls.push_back(call); }

static DBusDispatchStatus status_now() {
    if (listener_bus.memory_is_short) return DBUS_DISPATCH_NEED_MEMORY;
    return listener_bus.queue.empty() ? DBUS_DISPATCH_COMPLETE : DBUS_DISPATCH_DATA_REMAINS;
}

void ListenerBus::receive(DBusMessage *message) {
    static dbus_int32_t slot = -1;
    if (slot == -1 && !dbus_message_allocate_data_slot(&slot)) abort();
    const auto released = [](void *counter) { --*static_cast<int *>(counter); };
    if (!dbus_message_set_data(message, slot, &alive, released)) abort();
    alive++;
    socket.push_back(message);
}

extern "C" {

DBusConnection *__wrap_dbus_bus_get(DBusBusType type, DBusError *);
DBusConnection *__wrap_dbus_bus_get(DBusBusType type, DBusError *) {
    note(type == DBUS_BUS_SYSTEM ? "get the system bus" : "get another bus");
    return the_connection;
}

void __wrap_dbus_connection_set_exit_on_disconnect(DBusConnection *, dbus_bool_t exits);
void __wrap_dbus_connection_set_exit_on_disconnect(DBusConnection *, dbus_bool_t exits) {
    note(exits ? "exit on disconnect" : "stay on disconnect");
}

int __wrap_dbus_bus_request_name(DBusConnection *, const char *name, unsigned flags, DBusError *);
int __wrap_dbus_bus_request_name(DBusConnection *, const char *name, unsigned flags, DBusError *) {
    note(std::string("name ") + name + " with flags " + std::to_string(flags));
    return DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER;
}

void __wrap_dbus_bus_add_match(DBusConnection *, const char *rule, DBusError *);
void __wrap_dbus_bus_add_match(DBusConnection *, const char *rule, DBusError *) { note(std::string("match ") + rule); }

void __wrap_dbus_connection_flush(DBusConnection *);
void __wrap_dbus_connection_flush(DBusConnection *) { note("flush"); }

void __wrap_dbus_connection_set_max_received_unix_fds(DBusConnection *, long most);
void __wrap_dbus_connection_set_max_received_unix_fds(DBusConnection *, long most) {
    note("descriptors " + std::to_string(most));
}

void __wrap_dbus_connection_set_dispatch_status_function(DBusConnection *, DBusDispatchStatusFunction tell, void *,
                                                         DBusFreeFunction);
void __wrap_dbus_connection_set_dispatch_status_function(DBusConnection *, DBusDispatchStatusFunction tell, void *,
                                                         DBusFreeFunction) {
    listener_bus.tell_status = tell;
}

DBusDispatchStatus __wrap_dbus_connection_get_dispatch_status(DBusConnection *);
DBusDispatchStatus __wrap_dbus_connection_get_dispatch_status(DBusConnection *) {
    listener_bus.status_asked++;
    return status_now();
}
dbus_bool_t __wrap_dbus_connection_read_write(DBusConnection *, int timeout);
dbus_bool_t __wrap_dbus_connection_read_write(DBusConnection *, int timeout) {
    note("read " + std::to_string(timeout));
    ListenerBus &bus = listener_bus;
    for (size_t i = 0; i < bus.messages_a_read && !bus.socket.empty(); i++) {
        bus.queue.push_back(bus.socket.front());
        bus.socket.pop_front();
    }
    bus.most_queued = std::max(bus.most_queued, bus.queue.size());
    return TRUE;
}

DBusMessage *__wrap_dbus_connection_pop_message(DBusConnection *);
DBusMessage *__wrap_dbus_connection_pop_message(DBusConnection *) {
    note("pop");
    ListenerBus &bus = listener_bus;
    const DBusDispatchStatus status = status_now(); // before the message is taken, and told afterwards
    DBusMessage *message = nullptr;
    if (!bus.queue.empty() && !bus.memory_is_short) {
        message = bus.queue.front();
        bus.queue.pop_front();
    }
    if (status != bus.told && bus.tell_status != nullptr) bus.tell_status(the_connection, status, nullptr);
    bus.told = status;
    return message;
}
}
