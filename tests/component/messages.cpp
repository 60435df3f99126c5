#include "messages.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <vector>

#include "app/dispatch.h"

const char *const ARGUMENT_SIGNATURES[] = {
    "y", "b", "n",  "q",  "i",  "u",  "x",  "t",  "d",    "s",   "o",
    "g", "h", "as", "ai", "ay", "a0", "vs", "vi", "(is)", "(s)", "a{si}",
};
const int ARGUMENT_SIGNATURE_COUNT = sizeof(ARGUMENT_SIGNATURES) / sizeof(ARGUMENT_SIGNATURES[0]);

// libdbus reports nothing but "no memory" here, and there is always some.
static void must(bool done) {
    if (!done) abort();
}

static void append_string(DBusMessageIter *to, const char *text) {
    must(dbus_message_iter_append_basic(to, DBUS_TYPE_STRING, &text));
}

static void append_int(DBusMessageIter *to, int32_t number) {
    must(dbus_message_iter_append_basic(to, DBUS_TYPE_INT32, &number));
}

static void append_file_descriptor(DBusMessageIter *to) {
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    must(file >= 0);
    must(dbus_message_iter_append_basic(to, DBUS_TYPE_UNIX_FD, &file));
    close(file);
}

// A word-like value for the text types and a small one for the numbers; large enough for the widest.
static void append_basic(DBusMessageIter *to, char type, const Argument &argument) {
    if (type == DBUS_TYPE_UNIX_FD) return append_file_descriptor(to);
    const char *text = argument.text.c_str();
    DBusBasicValue value = {};
    switch (type) {
        case DBUS_TYPE_STRING:
        case DBUS_TYPE_OBJECT_PATH:
        case DBUS_TYPE_SIGNATURE: value.str = const_cast<char *>(text); break;
        case DBUS_TYPE_DOUBLE: value.dbl = argument.number; break;
        case DBUS_TYPE_BOOLEAN: value.bool_val = argument.number != 0; break;
        case DBUS_TYPE_INT32: value.i32 = argument.number; break;
        default: value.u64 = static_cast<uint64_t>(argument.number); break;
    }
    must(dbus_message_iter_append_basic(to, type, &value));
}

static void append_array(DBusMessageIter *to, const std::string &element) {
    DBusMessageIter inside;
    must(dbus_message_iter_open_container(to, DBUS_TYPE_ARRAY, element == "0" ? "s" : element.c_str(), &inside));
    if (element == "s") append_string(&inside, "WIFI01");
    if (element == "i") append_int(&inside, 7);
    if (element == "y") append_basic(&inside, DBUS_TYPE_BYTE, Argument(65));
    if (element[0] == '{') {
        DBusMessageIter entry;
        must(dbus_message_iter_open_container(&inside, DBUS_TYPE_DICT_ENTRY, nullptr, &entry));
        append_string(&entry, "WIFI01");
        append_int(&entry, 7);
        must(dbus_message_iter_close_container(&inside, &entry));
    }
    must(dbus_message_iter_close_container(to, &inside));
}

static void append_variant(DBusMessageIter *to, char type) {
    const char signature[] = {type, '\0'};
    DBusMessageIter inside;
    must(dbus_message_iter_open_container(to, DBUS_TYPE_VARIANT, signature, &inside));
    type == DBUS_TYPE_STRING ? append_string(&inside, "WIFI01") : append_int(&inside, 7);
    must(dbus_message_iter_close_container(to, &inside));
}

static void append_struct(DBusMessageIter *to, const std::string &fields) {
    DBusMessageIter inside;
    must(dbus_message_iter_open_container(to, DBUS_TYPE_STRUCT, nullptr, &inside));
    for (char type : fields) {
        if (type == DBUS_TYPE_INT32) append_int(&inside, 7);
        if (type == DBUS_TYPE_STRING) append_string(&inside, "WIFI01");
    }
    must(dbus_message_iter_close_container(to, &inside));
}

Argument Argument::of_signature(const char *signature) {
    Argument argument(7);
    argument.code = signature;
    argument.text = argument.code == "o" ? "/WIFI01" : argument.code == "g" ? "s" : "WIFI01";
    return argument;
}

Message::Message(const char *word) : message(dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display")) {
    must(message != nullptr);
    with(word);
}

Message::~Message() { dbus_message_unref(message); }

void append_argument(DBusMessage *message, const Argument &argument) {
    DBusMessageIter end;
    dbus_message_iter_init_append(message, &end);
    switch (argument.code[0]) {
        case 'a': append_array(&end, argument.code.substr(1)); break;
        case 'v': append_variant(&end, argument.code[1]); break;
        case '(': append_struct(&end, argument.code); break;
        default: append_basic(&end, argument.code[0], argument); break;
    }
}

Message &Message::with(const Argument &argument) {
    append_argument(message, argument);
    return *this;
}

DBusMessageIter Message::args() {
    DBusMessageIter first;
    must(dbus_message_iter_init(message, &first));
    return first;
}

void dispatch_message(Message &message) {
    DBusMessageIter args = message.args();
    const char *command;
    dbus_message_iter_get_basic(&args, &command);
    dispatch(command, &args);
}
