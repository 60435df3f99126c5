// One value of every D-Bus type, for arguments that nobody asked for.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <dbus/dbus.h>

namespace end_to_end {

struct Value {
    std::string name;
    bool is_string = false;
    bool is_int32 = false;
    std::function<void(DBusMessageIter *)> append;
};

// Basic types at their limits, arrays (also empty and large), structs, dictionaries, variants in variants, a
// file descriptor.
const std::vector<Value> &every_value();

// A Display signal with these arguments; the caller unreferences it.
DBusMessage *display_signal(const std::vector<Value> &arguments);
Value text(const std::string &content);
Value number(int32_t content);
Value descriptor(); // of an open file

} // namespace end_to_end
