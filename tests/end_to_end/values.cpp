#include "values.h"

#include <fcntl.h>
#include <unistd.h>

namespace end_to_end {

template <typename T>
static Value basic(const std::string &name, int type, T content) {
    return {name, false, type == DBUS_TYPE_INT32,
            [type, content](DBusMessageIter *place) { dbus_message_iter_append_basic(place, type, &content); }};
}

static Value string_like(const std::string &name, int type, const std::string &content) {
    return {name, type == DBUS_TYPE_STRING, false, [type, content](DBusMessageIter *place) {
                const char *characters = content.c_str();
                dbus_message_iter_append_basic(place, type, &characters);
            }};
}

Value text(const std::string &content) { return string_like("string", DBUS_TYPE_STRING, content); }
Value number(int32_t content) { return basic("int32", DBUS_TYPE_INT32, content); }

// A container round what `fill` appends.
static Value container(const std::string &name, int type, const char *signature,
                       const std::function<void(DBusMessageIter *)> &fill) {
    const std::string inside = signature != nullptr ? signature : "";
    return {name, false, false, [type, inside, fill](DBusMessageIter *place) {
                DBusMessageIter content;
                dbus_message_iter_open_container(place, type, inside.empty() ? nullptr : inside.c_str(), &content);
                fill(&content);
                dbus_message_iter_close_container(place, &content);
            }};
}

static void append_many_bytes(DBusMessageIter *place) {
    const std::vector<unsigned char> bytes(1 << 20, 0xff);
    const unsigned char *start = bytes.data();
    dbus_message_iter_append_fixed_array(place, DBUS_TYPE_BYTE, &start, static_cast<int>(bytes.size()));
}

static void append_descriptor(DBusMessageIter *place) {
    const int file = open("/dev/null", O_RDWR | O_CLOEXEC);
    dbus_message_iter_append_basic(place, DBUS_TYPE_UNIX_FD, &file);
    close(file);
}

Value descriptor() { return {"descriptor", false, false, append_descriptor}; }

static void append_nothing(DBusMessageIter *) {}

static std::vector<Value> make_basic() {
    return {
        basic<unsigned char>("byte", DBUS_TYPE_BYTE, 's'),
        basic<dbus_bool_t>("boolean", DBUS_TYPE_BOOLEAN, TRUE),
        basic<int16_t>("int16", DBUS_TYPE_INT16, -1),
        basic<uint16_t>("uint16", DBUS_TYPE_UINT16, 0xffff),
        number(INT32_MIN),
        number(115),
        basic<uint32_t>("uint32", DBUS_TYPE_UINT32, 0xffffffff),
        basic<int64_t>("int64", DBUS_TYPE_INT64, INT64_MIN),
        basic<uint64_t>("uint64", DBUS_TYPE_UINT64, UINT64_MAX),
        basic<double>("double", DBUS_TYPE_DOUBLE, 1e308),
        text("string"),
        text(""),
        string_like("object path", DBUS_TYPE_OBJECT_PATH, "/zor/signal"),
        string_like("signature", DBUS_TYPE_SIGNATURE, "a{sv}"),
        descriptor(),
    };
}

static std::vector<Value> make_containers() {
    const Value word = text("chan_usb");
    const Value low = number(7);
    const auto pair = [word, low](DBusMessageIter *place) {
        word.append(place);
        low.append(place);
    };
    const Value variant = container("variant of string", DBUS_TYPE_VARIANT, "s", word.append);
    const Value entry = container("entry", DBUS_TYPE_DICT_ENTRY, nullptr, pair);
    const Value structure = container("struct", DBUS_TYPE_STRUCT, nullptr, pair);
    return {
        variant,
        container("variant of int32", DBUS_TYPE_VARIANT, "i", low.append),
        container("variant of variant", DBUS_TYPE_VARIANT, "v", variant.append),
        container("variant of struct", DBUS_TYPE_VARIANT, "(si)", structure.append),
        structure,
        container("array of strings", DBUS_TYPE_ARRAY, "s", word.append),
        container("empty array", DBUS_TYPE_ARRAY, "s", append_nothing),
        container("array of structs", DBUS_TYPE_ARRAY, "(si)", structure.append),
        container("array of a million bytes", DBUS_TYPE_ARRAY, "y", append_many_bytes),
        container("dictionary", DBUS_TYPE_ARRAY, "{si}", entry.append),
        container("empty dictionary", DBUS_TYPE_ARRAY, "{sv}", append_nothing),
    };
}

const std::vector<Value> &every_value() {
    static const std::vector<Value> values = [] {
        std::vector<Value> all = make_basic();
        for (Value &value : make_containers()) all.push_back(value);
        return all;
    }();
    return values;
}

DBusMessage *display_signal(const std::vector<Value> &arguments) {
    DBusMessage *message = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    DBusMessageIter place;
    dbus_message_iter_init_append(message, &place);
    for (const Value &argument : arguments) argument.append(&place);
    return message;
}

} // namespace end_to_end
