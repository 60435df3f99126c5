#include "display.h"

#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "app/listener.h"
#include "component/model.h"
#include "component/widgets.h"
#include "probes/readers.h"

static void must(bool holds, const char *what) {
    if (holds) return;
    fprintf(stderr, "%s\n", what);
    abort();
}

Display::Display() {
    SetUp();
    remove_steering_files();
    answer_commands([](const std::string &) { return ""; });
    listener_bus = {};
}

Display::~Display() {
    while (listener_poll(connection)) {
    }
    must(listener_bus.alive == 0, "a message was not released");
    must(open_pipes == 0, "a tool's pipe was not closed");
    must(null_pcloses == 0, "a pipe that was never opened was closed");
    TearDown();
}

void Display::start(Start start) {
    if (start == Start::wifi_debug) write_file(FLAG_WIFI_DEBUG, "");
    if (start == Start::production) {
        build_production_screen();
    } else {
        build_status_screen();
    }
    connection = listener_connect();
}

void Display::receive(DBusMessage *message) {
    listener_bus.receive(message);
    pass(1);
}

void Display::pass(int ms) {
    for (int i = 0; i < ms; i++) {
        run_for(1);
        listener_poll(connection);
    }
    // A log that grows for ever is the test's, not the daemon's.
    log_lines.clear();
    shell_commands.clear();
}

// ---- Messages

// What libdbus lets through: UTF-8 without NUL.
static std::string any_text(FuzzedDataProvider &bytes, size_t longest) {
    std::string text = bytes.ConsumeRandomLengthString(longest);
    text = text.substr(0, text.find('\0'));
    return dbus_validate_utf8(text.c_str(), nullptr) ? text : std::to_string(text.size());
}

static void append_any(FuzzedDataProvider &bytes, DBusMessageIter &to, int depth);

static void append_inside(FuzzedDataProvider &bytes, DBusMessageIter &to, int type, const char *signature, int depth) {
    DBusMessageIter inside;
    dbus_message_iter_open_container(&to, type, signature, &inside);
    if (type == DBUS_TYPE_ARRAY) {
        for (int i = bytes.ConsumeIntegralInRange(0, 5); i > 0; i--) {
            const std::string text = any_text(bytes, 40);
            const char *pointer = text.c_str();
            dbus_message_iter_append_basic(&inside, DBUS_TYPE_STRING, &pointer);
        }
    } else if (type == DBUS_TYPE_VARIANT) {
        const auto number = bytes.ConsumeIntegral<int32_t>();
        dbus_message_iter_append_basic(&inside, DBUS_TYPE_INT32, &number);
    } else {
        do append_any(bytes, inside, depth + 1);
        while (bytes.ConsumeBool() && bytes.remaining_bytes() > 0);
    }
    dbus_message_iter_close_container(&to, &inside);
}

static void append_any(FuzzedDataProvider &bytes, DBusMessageIter &to, int depth) {
    static const int basic[] = {DBUS_TYPE_BYTE,   DBUS_TYPE_BOOLEAN, DBUS_TYPE_INT16,  DBUS_TYPE_UINT16,
                                DBUS_TYPE_INT32,  DBUS_TYPE_UINT32,  DBUS_TYPE_INT64,  DBUS_TYPE_UINT64,
                                DBUS_TYPE_DOUBLE, DBUS_TYPE_STRING,  DBUS_TYPE_STRING, DBUS_TYPE_STRING};
    switch (bytes.ConsumeIntegralInRange(0, depth < 8 ? 7 : 4)) {
        case 5: return append_inside(bytes, to, DBUS_TYPE_ARRAY, "s", depth);
        case 6: return append_inside(bytes, to, DBUS_TYPE_VARIANT, "i", depth);
        case 7: return append_inside(bytes, to, DBUS_TYPE_STRUCT, nullptr, depth);
        default: break;
    }
    const int type = bytes.PickValueInArray(basic);
    if (type == DBUS_TYPE_STRING) {
        const std::string text = any_text(bytes, 2000);
        const char *pointer = text.c_str();
        dbus_message_iter_append_basic(&to, type, &pointer);
        return;
    }
    DBusBasicValue value{};
    value.u64 = bytes.ConsumeIntegral<uint64_t>();
    if (type == DBUS_TYPE_BOOLEAN) value.bool_val = value.u64 & 1;
    dbus_message_iter_append_basic(&to, type, &value);
}

// As it came over the wire: whatever libdbus takes for a message.
static DBusMessage *from_the_wire(FuzzedDataProvider &bytes) {
    const std::string wire = bytes.ConsumeRandomLengthString(4000);
    return dbus_message_demarshal(wire.data(), static_cast<int>(wire.size()), nullptr);
}

DBusMessage *any_message(FuzzedDataProvider &bytes) {
    if (bytes.ConsumeIntegralInRange(0, 9) == 0) {
        if (DBusMessage *message = from_the_wire(bytes)) return message;
    }
    const bool known = bytes.ConsumeIntegralInRange(0, 9) > 0;
    DBusMessage *message = dbus_message_new_signal("/zor/signal", known ? "zor.signal.Type" : "other.Type",
                                                   bytes.ConsumeIntegralInRange(0, 19) > 0 ? "Display" : "Other");
    dbus_message_set_serial(message, 1);
    DBusMessageIter to;
    dbus_message_iter_init_append(message, &to);
    if (bytes.ConsumeIntegralInRange(0, 9) > 0) {
        std::string word = ALL_WORDS[bytes.ConsumeIntegralInRange<size_t>(0, ALL_WORDS.size() - 1)];
        if (bytes.ConsumeIntegralInRange(0, 9) == 0) word += any_text(bytes, 200);
        const char *pointer = word.c_str();
        dbus_message_iter_append_basic(&to, DBUS_TYPE_STRING, &pointer);
    }
    for (int i = bytes.ConsumeIntegralInRange(0, 4); i > 0; i--) append_any(bytes, to, 0);
    return message;
}
