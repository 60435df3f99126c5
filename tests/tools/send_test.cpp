// displayctl send, over a private bus: what arrives there, and what is refused before it gets there.
#include <gtest/gtest.h>

#include "support.h"
#include "client/vocabulary.h"

using namespace client;
using namespace tools_test;

// A received signal as text: "s:cd_update i:120 s:M4".
static std::string arguments_of(DBusMessage *message) {
    std::string text;
    DBusMessageIter position;
    if (!dbus_message_iter_init(message, &position)) return text;
    do {
        const int type = dbus_message_iter_get_arg_type(&position);
        text += (text.empty() ? "" : " ") + std::string(1, char(type)) + ":";
        if (type == DBUS_TYPE_STRING) {
            const char *value;
            dbus_message_iter_get_basic(&position, &value);
            text += value;
        } else if (type == DBUS_TYPE_INT32) {
            dbus_int32_t value;
            dbus_message_iter_get_basic(&position, &value);
            text += std::to_string(value);
        }
    } while (dbus_message_iter_next(&position));
    return text;
}

static std::string next_arguments(PrivateBus *bus) {
    DBusMessage *message = bus->next_signal();
    if (message == nullptr) return "(nothing came)";
    const std::string text = arguments_of(message);
    dbus_message_unref(message);
    return text;
}

// Everything sent before a mark has arrived when the mark has.
static void expect_nothing_sent(PrivateBus *bus) {
    displayctl({"send", "--bus", bus->address(), "--force", "mark"});
    EXPECT_EQ(next_arguments(bus), "s:mark");
}

class Send : public testing::Test {
protected:
    Result send(Words arguments) {
        arguments.insert(arguments.begin(), {"send", "--bus", bus.address()});
        return displayctl(arguments);
    }
    PrivateBus bus;
};

TEST_F(Send, EachWordArrivesWithItsTypes) {
    for (const Word &word : vocabulary()) {
        Words command{word.word};
        std::string wanted = "s:" + word.word;
        for (const Argument &argument : word.arguments) {
            command.push_back(argument.type == 'i' ? "120" : "some text");
            wanted += std::string(" ") + argument.type + ":" + command.back();
        }
        const Result result = send(command);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output + result.errors, "");
        EXPECT_EQ(next_arguments(&bus), wanted);
    }
}

TEST_F(Send, TheSignalIsTheDisplays) {
    ASSERT_EQ(send({"chan_bt"}).status, 0);
    DBusMessage *message = bus.next_signal();
    ASSERT_NE(message, nullptr);
    EXPECT_TRUE(dbus_message_is_signal(message, "zor.signal.Type", "Display"));
    EXPECT_STREQ(dbus_message_get_path(message), "/zor/signal");
    EXPECT_EQ(dbus_message_get_destination(message), nullptr);
    dbus_message_unref(message);
}

TEST_F(Send, GoesToTheSystemBusWithoutAnAddress) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    const Result result = displayctl({"send", "chan_bt"});
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(next_arguments(&bus), "s:chan_bt");
}

TEST_F(Send, AllIntegersOf32BitsAreSent) {
    for (const char *seconds : {"0", "-1", "2147483647", "-2147483648"}) {
        EXPECT_EQ(send({"--", "cd_update", seconds, "M4"}).status, 0);
        EXPECT_EQ(next_arguments(&bus), std::string("s:cd_update i:") + seconds + " s:M4");
    }
}

TEST_F(Send, TextIsSentAsItIs) {
    for (const char *code : {"", " ", "WIFI17", "Größe \"€\"", "i:5", "two\nlines"}) {
        EXPECT_EQ(send({"Error_Code", code}).status, 0);
        EXPECT_EQ(next_arguments(&bus), std::string("s:Error_Code s:") + code);
    }
}

TEST_F(Send, ALongerSpellingIsSentWithANote) {
    const Result result = send({"Check_Ignition"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.errors.find("'Check_Ignition' begins with 'Check_Igni'"), std::string::npos);
    EXPECT_EQ(next_arguments(&bus), "s:Check_Ignition");
}

TEST_F(Send, AMisspeltWordIsCorrectedAndNotSent) {
    const Result result = send({"chan_but"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "displayctl: unknown word 'chan_but': did you mean 'chan_bt'?\n");
    expect_nothing_sent(&bus);
}

TEST_F(Send, WhatDoesNotFitIsNotSent) {
    const struct {
        Words words;
        const char *said;
    } cases[] = {
        {{"no_such_word"}, "'displayctl words' lists"},
        {{}, "which word?"},
        {{""}, "unknown word ''"},
        {{"chan_bt", "5"}, "chan_bt takes no argument"},
        {{"Error_Code"}, "takes 1 argument (CODE), but none was given"},
        {{"Error_Code", "a", "b"}, "but 2 were given"},
        {{"cd_update", "5"}, "takes 2 arguments (SECONDS TYPE), but 1 was given"},
        {{"cd_update", "M4", "5"}, "'M4' can't be the seconds"},
        {{"cd_update", "", "M4"}, "whole number"},
        {{"cd_update", "1.5", "M4"}, "whole number"},
        {{"cd_update", "5 ", "M4"}, "whole number"},
        {{"cd_update", "i:5", "M4"}, "whole number"},
        {{"cd_update", "2147483648", "M4"}, "from -2147483648 to 2147483647"},
        {{"--", "cd_update", "-2147483649", "M4"}, "from -2147483648 to 2147483647"},
        {{"cd_update", "-5", "M4"}, "put '--' before"},
        {{"cd_update", "5", "\xff"}, "the type of cd_update is not valid UTF-8"},
        {{"Error_Code", "cut \xe2\x82"}, "UTF-8"},
        {{"chan_bt\xff"}, "UTF-8"},
        {{"--force", "word", "i:many"}, "write 's:i:many'"},
        {{"--force", "\xff"}, "UTF-8"},
        {{"--force", "word", "s:\xff"}, "UTF-8"},
        {{"--loud", "chan_bt"}, "unknown option '--loud'"},
        {{"--bus", "", "chan_bt"}, "--bus needs an address"},
    };
    for (const auto &one : cases) {
        const Result result = send(one.words);
        EXPECT_EQ(result.status, 2) << one.said;
        EXPECT_NE(result.errors.find(one.said), std::string::npos) << result.errors;
        EXPECT_EQ(result.output, "");
    }
    expect_nothing_sent(&bus);
}

TEST_F(Send, ForceSendsAnything) {
    EXPECT_EQ(send({"--force", "no_such_word"}).status, 0);
    EXPECT_EQ(next_arguments(&bus), "s:no_such_word");
    EXPECT_EQ(send({"--force", "cd_update", "120", "i:5", "s:i:5", "s:"}).status, 0);
    EXPECT_EQ(next_arguments(&bus), "s:cd_update s:120 i:5 s:i:5 s:");
    EXPECT_EQ(send({"--force", "", "i:-7"}).status, 0);
    EXPECT_EQ(next_arguments(&bus), "s: i:-7");
}

// ---- --wait ----

TEST_F(Send, WaitWarnsWhenNobodyListens) {
    bus.stop_listening();
    const Result result = send({"--wait", "chan_bt"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.errors.find("warning: nobody listens"), std::string::npos) << result.errors;
}

// Somebody listens for display commands on the bus here and owns no name, as a display that could not take it.
TEST_F(Send, WaitTellsOfAListenerWithoutTheName) {
    const Result result = send({"--wait", "chan_bt"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors.find("nobody listens"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("listens for display commands, but none owns the name zor.signal.sink"),
              std::string::npos)
        << result.errors;
    EXPECT_EQ(next_arguments(&bus), "s:chan_bt");
}

// As the system's bus does to everyone but root.
TEST(SendOnAStrictBus, WaitSaysOnlyWhatIsKnown) {
    PrivateBus bus(
        "<deny send_destination=\"org.freedesktop.DBus\" "
        "send_interface=\"org.freedesktop.DBus.Debug.Stats\"/>");
    const Result result = displayctl({"send", "--wait", "--bus", bus.address(), "chan_bt"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors.find("nobody listens"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("no program on this bus owns the name zor.signal.sink"), std::string::npos);
    EXPECT_NE(result.errors.find("is not known"), std::string::npos) << result.errors;
    EXPECT_EQ(next_arguments(&bus), "s:chan_bt");
}

// libdbus itself ends a process that has lost the system's bus, and says nothing.
enum class Road { by_address, as_system_bus };
constexpr Road both_roads[] = {Road::by_address, Road::as_system_bus};

static Result send_over(Road road, const std::string &address, const Words &arguments) {
    Words words{"send"};
    if (road == Road::by_address) words.insert(words.end(), {"--bus", address});
    words.insert(words.end(), arguments.begin(), arguments.end());
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    const Result result = displayctl(words);
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    return result;
}

TEST_F(Send, ABusThatGoesAwayWithTheMessageIsAFailure) {
    for (const Road road : both_roads) {
        const LeavingBus leaving(bus.address(), LeavingBus::Moment::after_hello);
        const Result result = send_over(road, leaving.address(), {"chan_bt"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find("the bus went away before it had the message"), std::string::npos)
            << result.errors;
    }
    expect_nothing_sent(&bus);
}

TEST_F(Send, ABusThatGoesAwayDuringTheWaitIsAFailure) {
    for (const Road road : both_roads) {
        const LeavingBus leaving(bus.address(), LeavingBus::Moment::at_question);
        const Result result = send_over(road, leaving.address(), {"--wait", "chan_bt"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find("the bus did not answer"), std::string::npos) << result.errors;
        EXPECT_EQ(result.errors.find("listens"), std::string::npos) << result.errors;
        EXPECT_EQ(next_arguments(&bus), "s:chan_bt");
    }
}

TEST_F(Send, WaitIsSilentWhenTheDisplayListens) {
    bus.own_display_name();
    const Result result = send({"--wait", "chan_bt"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(next_arguments(&bus), "s:chan_bt");
}

TEST(SendWithoutBus, SaysWhatToDo) {
    for (const char *address : {"unix:path=/nonexistent/socket", "nonsense", "tcp:"}) {
        const Result result = displayctl({"send", "--bus", address, "chan_bt"});
        EXPECT_EQ(result.status, 1) << address;
        EXPECT_NE(result.errors.find("give an address such as"), std::string::npos) << result.errors;
    }
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/socket", 1);
    const Result result = displayctl({"send", "chan_bt"});
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("can't reach the system bus"), std::string::npos) << result.errors;
}

// ---- The program itself ----

TEST(Program, HelpAndVersion) {
    const Words calls[] = {{"--help"}, {"-h"}, {"send", "--help"}, {"words", "-h"}, {"view", "--help"}};
    for (const Words &words : calls) {
        const Result result = displayctl(words);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output.rfind("Usage: displayctl", 0), 0u);
        EXPECT_NE(result.output.find("Exit status: 0"), std::string::npos);
        EXPECT_EQ(result.errors, "");
    }
    EXPECT_EQ(displayctl({"--version"}).output, "displayctl " PROJECT_VERSION "\n");
}

TEST(Program, UnknownCommandsAreUsageErrors) {
    EXPECT_EQ(displayctl({}).status, 2);
    const Result result = displayctl({"show"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.errors.find("unknown command 'show'"), std::string::npos);
}

TEST(Program, AFullDiskIsAFailure) {
    Words command{"/bin/sh", "-c", "exec \"$@\" > /dev/full", "sh"};
    for (const std::string &word : displayctl_command({"words"})) command.push_back(word);
    const Result result = run(command);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("can't write standard output"), std::string::npos) << result.errors;
}
