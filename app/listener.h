// The listener on the system bus: connects, subscribes to "Display" signals and hands each command on.
#pragma once

#include <dbus/dbus.h>

/// Connects to the system bus, asks for the name and subscribes. Ends the process with status 1 when there
/// is no bus or the match rule is refused; a name that someone else owns is only logged.
DBusConnection *listener_connect();

/// Moves waiting bytes without blocking and handles at most one message.
/// Returns whether a message, of whatever kind, was taken.
bool listener_poll(DBusConnection *connection);
