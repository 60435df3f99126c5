// Display messages made in memory: what the bus would deliver, without a bus.
//
// A message is a signal "Display" with the command word as its first argument and any arguments behind it,
// of the right type or of a wrong one. send_command() hands one to the dispatch as the listener does.
#pragma once

#include <dbus/dbus.h>
#include <stdint.h>

#include <string>

/// One D-Bus argument: the types that commands take, and one of each other type to try wrong ones with.
struct Argument {
    /// A string argument. (Both spellings, so that a literal does not become a number.)
    Argument(const char *value) : code("s"), text(value) {}
    Argument(const std::string &value) : code("s"), text(value) {}
    Argument(int32_t value) : code("i"), number(value) {}

    /// A harmless argument whose D-Bus signature is `signature`, one of ARGUMENT_SIGNATURES.
    static Argument of_signature(const char *signature);

    std::string code;
    std::string text;
    int32_t number = 0;
};

/// Every basic type of D-Bus, and containers: arrays (empty too), variants, structs, dictionaries.
extern const char *const ARGUMENT_SIGNATURES[];
extern const int ARGUMENT_SIGNATURE_COUNT;

/// Puts the argument behind those that the message has.
void append_argument(DBusMessage *message, const Argument &argument);

/// A message that is being read, its iterator on the first argument.
class Message {
public:
    explicit Message(const char *word);
    ~Message();
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    Message &with(const Argument &argument);

    /// An iterator on the first argument. Valid while the message lives.
    DBusMessageIter args();

private:
    DBusMessage *message;
};

/// Dispatches `word` with the arguments behind it; the message is gone when this returns, as on the bus.
template <typename... Arguments>
void send_command(const std::string &word, const Arguments &...arguments);

/// Dispatches a message as the listener does: its first argument as the command, the iterator still on it.
void dispatch_message(Message &message);

template <typename... Arguments>
void send_command(const std::string &word, const Arguments &...arguments) {
    Message message(word.c_str());
    (message.with(Argument(arguments)), ...);
    dispatch_message(message);
}
