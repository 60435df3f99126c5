// A connection of its own: the desk's throws away what it did not ask for.
#include "simulator/scenario/overheard.h"

#include <optional>

#include "app/signal_names.h"
#include "simulator/desk/error.h"
#include "simulator/scenario/scenario.h"

namespace desk {

// By member, not by interface: whoever asks the bus which rules there are must find the display's alone.
static std::string match_rule() { return std::string("type='signal',member='") + SIGNAL_MEMBER + "'"; }

// After a start with an empty box, or when the bus was killed, there is a new one.
void BusListener::follow(Bus &bus) {
    const bool listens =
        connection_ && address_ == bus.address() && dbus_connection_get_is_connected(connection_.get());
    if (listens || bus.ended()) return;
    address_ = bus.address();
    connection_ = connect_to(address_);
    client::BusError problem;
    dbus_bus_add_match(connection_.get(), match_rule().c_str(), &problem.error);
    if (problem.is_set()) throw Error("can't listen to the desk's bus: " + problem.text());
}

// Whether that line sends exactly these.
static bool says(const std::string &line, const std::vector<Argument> &values) {
    try {
        const std::optional<Action> action = parse_action(line);
        std::vector<Argument> sent = {Argument(action->text)};
        sent.insert(sent.end(), action->arguments.begin(), action->arguments.end());
        return sent == values;
    } catch (const ScenarioError &) {
        return false;
    }
}

// Strings and integers as they are, anything else by its type's letter.
static Overheard taken_apart(DBusMessage *message, const std::string &sender) {
    std::string text;
    std::string line = "send";
    std::vector<Argument> values;
    DBusMessageIter place;
    if (!dbus_message_iter_init(message, &place)) return {"(no word)", sender, ""};
    bool odd = false;
    do {
        const int type = dbus_message_iter_get_arg_type(&place);
        if (!text.empty()) text += ' ';
        if (type == DBUS_TYPE_STRING) {
            const char *value = nullptr;
            dbus_message_iter_get_basic(&place, &value);
            text += *value != '\0' ? value : "\"\"";
            line += " " + quoted(value);
            values.emplace_back(std::string(value));
        } else if (type == DBUS_TYPE_INT32) {
            dbus_int32_t value = 0;
            dbus_message_iter_get_basic(&place, &value);
            text += std::to_string(value);
            line += " " + std::to_string(value);
            values.emplace_back(value);
        } else {
            text += std::string("(") + static_cast<char>(type) + ")";
            odd = true;
        }
    } while (dbus_message_iter_next(&place));
    return {text, sender, !odd && says(line, values) ? line : ""};
}

// At most so many at once, for a flood must not hold the view.
static constexpr int most_at_once = 500;

std::vector<Overheard> BusListener::commands(Bus &bus) {
    std::vector<Overheard> heard;
    follow(bus);
    if (!connection_) return heard;
    DBusConnection *const connection = connection_.get();
    for (int i = 0; i < most_at_once; i++) {
        if (dbus_connection_get_dispatch_status(connection) != DBUS_DISPATCH_DATA_REMAINS) {
            dbus_connection_read_write(connection, 0);
        }
        DBusMessage *message = dbus_connection_pop_message(connection);
        if (message == nullptr) break;
        if (dbus_message_is_signal(message, SIGNAL_INTERFACE, SIGNAL_MEMBER)) {
            const char *const sender = dbus_message_get_sender(message);
            heard.push_back(taken_apart(message, sender != nullptr ? sender : "?"));
        }
        dbus_message_unref(message);
    }
    return heard;
}

} // namespace desk
