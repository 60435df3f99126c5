#include "other_bus.h"

#include <fstream>

#include "simulator/desk/bus_configuration.h"
#include "simulator/desk/error.h"

namespace end_to_end {

// NULL as long as nobody listens: the socket's file is there a moment before its listener.
static DBusConnection *try_to_connect(const std::string &address) {
    DBusConnection *connection = dbus_connection_open_private(address.c_str(), nullptr);
    if (connection == nullptr) return nullptr;
    dbus_connection_set_exit_on_disconnect(connection, FALSE);
    if (!dbus_bus_register(connection, nullptr)) throw desk::Error("the other bus turns the test away");
    return connection;
}

OtherBus::OtherBus(desk::Box &box, const std::string &policy, const std::string &limits) {
    const std::string config = box.host_path("/tmp/other-bus.conf");
    address_ = "unix:path=" + box.host_path("/tmp/other-bus");
    std::ofstream(config) << desk::bus_configuration(address_, policy, limits);
    process_.start({"dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + config}, desk::Streams{});
    const auto connected = [&] {
        connection_ = try_to_connect(address_);
        return connection_ != nullptr || !process_.alive();
    };
    if (!desk::wait_until(connected) || connection_ == nullptr) throw desk::Error("the other bus does not start");
}

OtherBus::~OtherBus() {
    if (connection_ != nullptr) {
        dbus_connection_close(connection_);
        dbus_connection_unref(connection_);
    }
}

void OtherBus::send(const char *word) {
    DBusMessage *signal = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    dbus_message_append_args(signal, DBUS_TYPE_STRING, &word, DBUS_TYPE_INVALID);
    dbus_connection_send(connection_, signal, nullptr);
    dbus_message_unref(signal);
    // The bus delivers in order: its answer to a later question proves that the signal has gone out.
    dbus_bus_name_has_owner(connection_, "org.freedesktop.DBus", nullptr);
}

} // namespace end_to_end
