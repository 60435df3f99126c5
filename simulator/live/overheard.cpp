// A connection of its own: the desk's throws away what it did not ask for.
#include "simulator/live/overheard.h"

#include "app/signal_names.h"
#include "simulator/desk/error.h"

namespace desk {

void Ear::Close::operator()(DBusConnection *connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

// By member, not by interface: whoever asks the bus which rules there are must find the display's alone.
static std::string match_rule() { return std::string("type='signal',member='") + SIGNAL_MEMBER + "'"; }

Ear::Ear(const std::string &bus_address) {
    DBusError problem;
    dbus_error_init(&problem);
    connection_.reset(dbus_connection_open_private(bus_address.c_str(), &problem));
    if (connection_) {
        dbus_connection_set_exit_on_disconnect(connection_.get(), FALSE);
        if (dbus_bus_register(connection_.get(), &problem)) {
            dbus_bus_add_match(connection_.get(), match_rule().c_str(), &problem);
        }
    }
    if (!dbus_error_is_set(&problem)) return;
    const std::string text = problem.message;
    dbus_error_free(&problem);
    throw desk::Error("can't listen to the desk's bus: " + text);
}

// Strings and integers as they are, anything else by its type's letter.
static std::string text_of(DBusMessage *message) {
    std::string text;
    DBusMessageIter place;
    if (!dbus_message_iter_init(message, &place)) return "(no word)";
    do {
        const int type = dbus_message_iter_get_arg_type(&place);
        if (!text.empty()) text += ' ';
        if (type == DBUS_TYPE_STRING) {
            const char *value = nullptr;
            dbus_message_iter_get_basic(&place, &value);
            text += *value != '\0' ? value : "\"\"";
        } else if (type == DBUS_TYPE_INT32) {
            dbus_int32_t value = 0;
            dbus_message_iter_get_basic(&place, &value);
            text += std::to_string(value);
        } else {
            text += std::string("(") + static_cast<char>(type) + ")";
        }
    } while (dbus_message_iter_next(&place));
    return text;
}

// At most so many at once, for a flood must not hold the view.
static constexpr int most_at_once = 500;

std::vector<Overheard> Ear::commands() {
    std::vector<Overheard> heard;
    DBusConnection *const connection = connection_.get();
    for (int i = 0; i < most_at_once; i++) {
        if (dbus_connection_get_dispatch_status(connection) != DBUS_DISPATCH_DATA_REMAINS) {
            dbus_connection_read_write(connection, 0);
        }
        DBusMessage *message = dbus_connection_pop_message(connection);
        if (message == nullptr) break;
        if (dbus_message_is_signal(message, SIGNAL_INTERFACE, SIGNAL_MEMBER)) {
            const char *const sender = dbus_message_get_sender(message);
            heard.push_back({text_of(message), sender != nullptr ? sender : "?"});
        }
        dbus_message_unref(message);
    }
    return heard;
}

} // namespace desk
