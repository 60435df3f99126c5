#include "client/sender.h"

#include <stdexcept>

#include "app/signal_names.h"

namespace client {

void UnrefMessage::operator()(DBusMessage *message) const { dbus_message_unref(message); }

void CloseConnection::operator()(DBusConnection *connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

// ---- Connecting ----

static Connection open_system_bus() {
    BusError error;
    Connection connection(dbus_bus_get_private(DBUS_BUS_SYSTEM, &error.error));
    if (connection) return connection;
    throw std::runtime_error("can't reach the system bus (" + error.text() +
                             "): start it, or name another bus with --bus ADDRESS");
}

static Connection open_address(const std::string &address) {
    BusError error;
    Connection connection(dbus_connection_open_private(address.c_str(), &error.error));
    if (connection && dbus_bus_register(connection.get(), &error.error)) return connection;
    throw std::runtime_error("can't reach a bus at '" + address + "' (" + error.text() +
                             "): give an address such as unix:path=/run/dbus/system_bus_socket");
}

Connection connect_to_bus(const std::string &address) {
    Connection connection = address.empty() ? open_system_bus() : open_address(address);
    // Otherwise libdbus would end the process without a word when the bus goes away.
    dbus_connection_set_exit_on_disconnect(connection.get(), FALSE);
    return connection;
}

// ---- Sending ----

static void require_memory(dbus_bool_t granted) {
    if (!granted) throw std::runtime_error("out of memory: shorten the arguments");
}

static void append(DBusMessageIter *end, const Value &value) {
    if (const auto *number = std::get_if<int32_t>(&value)) {
        const dbus_int32_t on_bus = *number;
        require_memory(dbus_message_iter_append_basic(end, DBUS_TYPE_INT32, &on_bus));
    } else {
        const char *text = std::get<std::string>(value).c_str();
        // libdbus ends the whole process over text that isn't UTF-8.
        if (!dbus_validate_utf8(text, nullptr)) throw std::runtime_error("a string on the bus must be UTF-8");
        require_memory(dbus_message_iter_append_basic(end, DBUS_TYPE_STRING, &text));
    }
}

MessageRef signal_of(const std::string &word, const std::vector<Value> &arguments) {
    MessageRef signal(dbus_message_new_signal(SIGNAL_PATH, SIGNAL_INTERFACE, SIGNAL_MEMBER));
    require_memory(signal != nullptr);
    DBusMessageIter end;
    dbus_message_iter_init_append(signal.get(), &end);
    append(&end, word);
    for (const Value &value : arguments) append(&end, value);
    return signal;
}

void emit(DBusConnection *connection, const Message &message) {
    const MessageRef signal = signal_of(message.word, message.arguments);
    require_memory(dbus_connection_send(connection, signal.get(), nullptr));
    dbus_connection_flush(connection);
    if (!dbus_connection_get_is_connected(connection)) {
        throw std::runtime_error("the bus went away before it had the message: send it again when the bus is back");
    }
}

// ---- Making sure ----

// All strings in there, whatever it is made of: the rules of a connection are arrays in a dictionary.
static bool contains_rule(DBusMessageIter *place) {
    for (; dbus_message_iter_get_arg_type(place) != DBUS_TYPE_INVALID; dbus_message_iter_next(place)) {
        const int type = dbus_message_iter_get_arg_type(place);
        if (type == DBUS_TYPE_STRING) {
            const char *text = nullptr;
            dbus_message_iter_get_basic(place, &text);
            if (std::string(text).find(std::string("interface='") + SIGNAL_INTERFACE + "'") != std::string::npos) {
                return true;
            }
        } else if (type == DBUS_TYPE_ARRAY || type == DBUS_TYPE_DICT_ENTRY) {
            DBusMessageIter inner;
            dbus_message_iter_recurse(place, &inner);
            if (contains_rule(&inner)) return true;
        }
    }
    return false;
}

// A display that could not take its name listens all the same: it shows in the list of match rules, which a bus
// gives to its owner and to root alone, and not every bus has.
static Listening ask_for_rules(DBusConnection *connection) {
    const MessageRef question(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                           "org.freedesktop.DBus.Debug.Stats", "GetAllMatchRules"));
    require_memory(question != nullptr);
    BusError error;
    const MessageRef rules(
        dbus_connection_send_with_reply_and_block(connection, question.get(), DBUS_TIMEOUT_USE_DEFAULT, &error.error));
    DBusMessageIter all;
    if (!rules || !dbus_message_iter_init(rules.get(), &all)) return Listening::unknown;
    return contains_rule(&all) ? Listening::unnamed : Listening::nobody;
}

Listening wait_until_taken(DBusConnection *connection) {
    // The bus works through the messages of a connection in order, so its answer comes after the signal.
    BusError error;
    const bool owned = dbus_bus_name_has_owner(connection, DISPLAY_BUS_NAME, &error.error);
    if (dbus_error_is_set(&error.error)) {
        throw std::runtime_error("the bus did not answer (" + error.text() + "): it may not have taken the message");
    }
    return owned ? Listening::named : ask_for_rules(connection);
}

} // namespace client
