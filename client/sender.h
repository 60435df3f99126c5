// The road of a display command onto the bus: connect, emit the signal, and make sure that the bus has it. Every
// function throws std::runtime_error, with advice, when it can't do its work.
#pragma once

#include <memory>
#include <string>

#include <dbus/dbus.h>

#include "client/message.h"

namespace client {

/// Closes and releases a private connection.
struct CloseConnection {
    void operator()(DBusConnection *connection) const;
};
using Connection = std::unique_ptr<DBusConnection, CloseConnection>;

struct UnrefMessage {
    void operator()(DBusMessage *message) const;
};
using MessageRef = std::unique_ptr<DBusMessage, UnrefMessage>;

/// A DBusError that frees itself.
struct BusError {
    BusError() { dbus_error_init(&error); }
    ~BusError() { dbus_error_free(&error); }
    BusError(const BusError &) = delete;
    BusError &operator=(const BusError &) = delete;
    bool is_set() const { return dbus_error_is_set(&error); }
    std::string text() const { return error.message != nullptr ? error.message : "no reason given"; }
    DBusError error;
};

/// A registered connection to the bus at `address`, or to the system bus when it is empty.
Connection connect_to_bus(const std::string &address);

/// The signal of a display command, not sent yet. Throws when a string is not UTF-8.
MessageRef signal_of(const std::string &word, const std::vector<Value> &arguments);

/// Emits the signal and hands it to the socket.
void emit(DBusConnection *connection, const Message &message);

/// What the bus tells about whoever may receive a display command.
enum class Listening {
    named,   ///< the display's name has an owner
    unnamed, ///< somebody asked for display commands, but nobody has the name
    nobody,
    unknown, ///< nobody has the name, and this bus does not tell who asked for what
};

/// Returns when the bus has dealt with what was emitted. Whether the bus policy let the signal through can't be
/// learnt: the bus drops a forbidden one without a word.
Listening wait_until_taken(DBusConnection *connection);

} // namespace client
