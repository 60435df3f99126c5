// Signals that no well-meaning sender emits: arguments of every type in every place, huge and tricky texts,
// floods. Afterwards the daemon lives and answers chan_usb with the right picture.
#include <algorithm>

#include "golden.h"
#include "support.h"
#include "values.h"

namespace end_to_end {

class HostileMessages : public DaemonTest {
protected:
    void SetUp() override {
        prepare_layout();
        start();
        run_until(600);
    }

    void send(const std::vector<Value> &arguments) {
        DBusMessage *message = display_signal(arguments);
        desk().bus().send_message(message);
        dbus_message_unref(message);
        settle();
    }

    // `message` so many times in a row; it is gone afterwards.
    void send_often(DBusMessage *message, int times) {
        desk().bus().send_message(message, times);
        dbus_message_unref(message);
    }

    // Stepped passes are quicker than the bus, which must write on what a socket does not hold at once: a few hundred
    // messages.
    void take_flood(int64_t ms) {
        for (int64_t passed = 0; passed < ms; passed += 10) {
            desk().bus().catch_up();
            desk().advance(10);
        }
    }

    // A pass reads a few kilobytes, so a large message takes hundreds of them; a word sent behind it tells.
    void settle() {
        const std::string line = received("behind it");
        const int before = desk().log().count(line);
        desk().bus().send("behind it");
        ASSERT_TRUE(desk().advance_until([&] { return desk().log().count(line) > before; }, 3000));
        desk().advance(20);
    }

    // The lines since `first`, without those of settle().
    std::vector<std::string> lines_since(size_t first) {
        std::vector<std::string> lines = log_texts(first);
        lines.erase(std::remove(lines.begin(), lines.end(), received("behind it")), lines.end());
        return lines;
    }

    void expect_still_answers() {
        command("clear_msg");
        command("chan_usb");
        EXPECT_EQ(shown_view(desk()), "usb");
        EXPECT_FALSE(overlay_shown(desk()));
    }

    // Does not wait for the command's own log line: the log takes no megabytes.
    void give(const std::string &word, const std::vector<desk::Argument> &further = {}) {
        desk().bus().send(word, further);
        settle();
    }
    void raise_error(const std::string &code) { give("Error_Code", {code}); }
};

// ---- Types

TEST_F(HostileMessages, EveryTypeAsFirstArgument) {
    for (const Value &value : every_value()) {
        SCOPED_TRACE(value.name);
        const size_t before = log_size();
        send({value, text("more"), number(1)});
        if (value.is_string) continue;
        EXPECT_EQ(lines_since(before), std::vector<std::string>{"Argument is not string!\n"});
    }
    expect_still_answers();
}

TEST_F(HostileMessages, EveryTypeAsErrorCode) {
    const panel::Picture before = desk().picture();
    for (const Value &value : every_value()) {
        SCOPED_TRACE(value.name);
        if (value.is_string) continue;
        const size_t lines = log_size();
        send({text("Error_Code"), value, text("A12")});
        EXPECT_EQ(lines_since(lines),
                  (std::vector<std::string>{received("Error_Code"), "not alone my friend... Error_Code\n"}));
        EXPECT_FALSE(overlay_shown(desk()));
    }
    EXPECT_EQ(desk().picture().part(0, 0, 105, 66), before.part(0, 0, 105, 66)) << "nothing half done";
    expect_still_answers();
}

TEST_F(HostileMessages, EveryTypeAsFirmwareDuration) {
    for (const Value &value : every_value()) {
        SCOPED_TRACE(value.name);
        if (value.is_int32) continue;
        const size_t lines = log_size();
        send({text("cd_update"), value, text("TYPE")});
        EXPECT_EQ(lines_since(lines), std::vector<std::string>{received("cd_update")});
        EXPECT_FALSE(overlay_shown(desk()));
    }
    expect_still_answers();
}

TEST_F(HostileMessages, EveryTypeAsFirmwareType) {
    for (const Value &value : every_value()) {
        SCOPED_TRACE(value.name);
        if (value.is_string) continue;
        const size_t lines = log_size();
        send({text("cd_update"), number(9), value});
        EXPECT_EQ(lines_since(lines), (std::vector<std::string>{received("cd_update"), "time to 100/100 is: 9\n"}));
        EXPECT_FALSE(overlay_shown(desk()));
    }
    expect_still_answers();
}

TEST_F(HostileMessages, EveryTypeBehindWordsThatTakeNone) {
    for (const Value &value : every_value()) {
        SCOPED_TRACE(value.name);
        send({text("chan_bt"), value, value, value});
        EXPECT_EQ(shown_view(desk()), "bluetooth");
        send({text("chan_vpn"), value});
        EXPECT_EQ(shown_view(desk()), "vpn");
    }
    expect_still_answers();
}

// ---- Texts

TEST_F(HostileMessages, MegabytesOfText) {
    const std::string huge(1 << 20, 'M');
    for (const std::string &begin : {std::string("chan_bt"), std::string("unknown"), std::string("Error_Code")}) {
        give(begin + huge);
    }
    raise_error(huge);
    EXPECT_TRUE(overlay_shown(desk()));
    raise_error("WIFI" + huge);
    EXPECT_TRUE(overlay_shown(desk()));
    give("clear_msg");
    give("cd_update", {10, huge});
    desk().advance(1500);
    give("cd_update", {10, "short again"});
    desk().advance(1500);
    EXPECT_TRUE(overlay_shown(desk()));
    expect_still_answers();
}

// The log's socket refuses a line of 300 kB, and LOG_CONS would write it all to the console, in step with it.
TEST_F(HostileMessages, HugeTextsAreLoggedInPart) {
    const std::string euro = "\xe2\x82\xac";
    std::string many;
    for (int i = 0; i < 100000; i++) many += euro;
    for (const std::string begin : {"Error_Code", "Error_Code.", "Error_Code.."}) {
        const size_t before = log_size();
        give(begin + many);
        const std::string part = begin + many.substr(0, (4096 - begin.size()) / 3 * 3);
        EXPECT_EQ(lines_since(before),
                  (std::vector<std::string>{received(part), "not alone my friend... " + part + "\n"}));
    }
    EXPECT_EQ(box().read(desk::console), "");
    expect_still_answers();
}

TEST_F(HostileMessages, FourKilobytesAreLoggedWhole) {
    const std::string w(4093, 'w');
    for (const std::string &word : {w + "ww", w + "www", w + "\xe2\x82\xac"}) {
        const size_t before = log_size();
        give(word);
        EXPECT_EQ(lines_since(before), std::vector<std::string>{received(word)});
    }
    const size_t before = log_size();
    give(w + "wwww");
    EXPECT_EQ(lines_since(before), std::vector<std::string>{received(w + "www")});
}

TEST_F(HostileMessages, FormatsAreLoggedAsTheyAre) {
    for (const char *word : {"%n%s%s%s%s", "%99999d", "%", "%%", "%m", "\n\n\n", "a\tb\x01\x7f"}) {
        const size_t before = log_size();
        desk().send_and_settle(word, {}, 5);
        EXPECT_EQ(log_texts(before), std::vector<std::string>{received(word)});
        raise_error(word);
        EXPECT_TRUE(overlay_shown(desk()));
        command("clear_msg");
        const size_t lines = log_size();
        desk().send_and_settle("cd_update", {5, word}, 200);
        EXPECT_EQ(log_texts(lines).back(), "fw type is: " + std::string(word) + "\n");
        command("clear_msg");
    }
}

TEST_F(HostileMessages, NewlinesWithoutEnd) {
    raise_error(std::string(100000, '\n'));
    EXPECT_TRUE(overlay_shown(desk()));
    give("clear_msg");
    give("cd_update", {10, std::string(100000, '\n')});
    desk().advance(1500);
    expect_still_answers();
}

// Letters of two, three and four bytes laid over every cut in the code and the type.
TEST_F(HostileMessages, CutsInsideLetters) {
    for (const std::string &letter :
         {std::string("\xc3\xa9"), std::string("\xe2\x82\xac"), std::string("\xf0\x9f\x94\xa7")}) {
        for (size_t filler = 110; filler <= 128; filler++) {
            const std::string code = std::string(filler, 'x') + letter + letter + letter;
            raise_error(code);
            EXPECT_TRUE(overlay_shown(desk()));
            give("clear_msg"); // cd_update would leave the error box on the screen for good
            give("cd_update", {10, code});
            give("clear_msg");
        }
    }
    give("M4_update");
    give("clear_msg");
}

TEST_F(HostileMessages, StationNamesCutInsideLetters) {
    box().set_wifi_link(true);
    box().set_signal_dbm(-40);
    const std::string letters[] = {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x94\xa7"};
    for (const std::string &letter : letters) {
        for (size_t filler = 6; filler <= 12; filler++) {
            box().set_ssid(std::string(filler, 'i') + letter + letter);
            desk().send_and_settle("chan_sta", {}, 2100);
            desk().send_and_settle("chan_sta", {}, 20);
            const panel::Picture with_letters = desk().picture().part(0, 0, 128, 14);
            box().set_ssid(std::string(std::min<size_t>(filler, 11), 'i'));
            desk().send_and_settle("chan_sta", {}, 2100);
            desk().send_and_settle("chan_sta", {}, 20);
            EXPECT_EQ(desk().picture().part(0, 0, 128, 14), with_letters) << filler << " letters, then " << letter;
        }
    }
    expect_still_answers();
}

// ---- Floods

TEST_F(HostileMessages, FloodOfCommands) {
    const char *const words[] = {"chan_usb", "chan_bt", "chan_vpn",   "Reboot",    "REC_ON",   "M4_COMM",
                                 "p_off",    "p_on",    "Check_Igni", "clear_msg", "M4_ready", "nonsense"};
    std::vector<std::string> expected;
    for (int i = 0; i < 2000; i++) {
        desk().bus().send(words[i % 12]);
        expected.push_back(received(words[i % 12]));
    }
    const size_t before = log_size();
    take_flood(1000);
    EXPECT_EQ(log_size(), before + 1000) << "one a pass";
    take_flood(1010);
    EXPECT_EQ(log_texts(before), expected) << "all of them, in their order";
    expect_still_answers();
}

TEST_F(HostileMessages, FloodOfForeignMessages) {
    for (int i = 0; i < 1000; i++) {
        DBusMessage *call = dbus_message_new_method_call("zor.signal.sink", "/", "zor.signal.Type", "Display");
        desk().bus().send_message(call);
        dbus_message_unref(call);
    }
    desk().bus().send("chan_bt");
    take_flood(1010);
    EXPECT_EQ(desk().log().count("Got Signal"), 1);
    EXPECT_EQ(shown_view(desk()), "bluetooth") << "one message a pass";
    expect_still_answers();
}

// What has arrived waits in the bus and not in the daemon: a hundred signals with sixteen files each would bring it
// to its limit of 1,024, where libdbus closes the connection for good.
TEST_F(HostileMessages, FloodOfDescriptors) {
    const int64_t before = descriptors();
    for (const char *interface : {"zor.signal.Type", "zor.signal.Other"}) {
        std::vector<Value> arguments = {text("nonsense")};
        arguments.insert(arguments.end(), 16, descriptor());
        DBusMessage *message = display_signal(arguments);
        dbus_message_set_interface(message, interface);
        dbus_message_set_destination(message, "zor.signal.sink");
        send_often(message, 100);
        int64_t most = 0;
        for (int pass = 0; pass < 300; pass++) {
            desk().bus().catch_up();
            desk().advance(1);
            most = std::max(most, descriptors());
        }
        EXPECT_LT(most, before + 48) << "two messages at most are in the daemon";
        EXPECT_EQ(descriptors(), before) << "each one is given back with its files";
        command("chan_bt");
        EXPECT_EQ(shown_view(desk()), "bluetooth");
        expect_still_answers();
    }
}

// One file for each way that a message can go, each of them given back.
TEST_F(HostileMessages, EveryMessageIsReleased) {
    const int64_t before = descriptors();
    const Value file = descriptor();
    const std::vector<Value> contents[] = {{file},
                                           {text("nonsense"), file},
                                           {text("chan_usb"), file},
                                           {text("Error_Code"), file},
                                           {text("Error_Code"), text("A12"), file},
                                           {text("clear_msg"), file},
                                           {text("cd_update"), number(9), text("TYPE"), file}};
    for (const std::vector<Value> &content : contents) {
        send(content);
        EXPECT_EQ(descriptors(), before);
        DBusMessage *other = display_signal(content);
        dbus_message_set_member(other, "Other");
        send_often(other, 1);
        settle();
        EXPECT_EQ(descriptors(), before);
    }
    expect_still_answers();
}

// 20,000 short signals: a message held costs about 400 bytes.
TEST_F(HostileMessages, MemoryOfAFlood) {
    settle();
    const long before = resident_kilobytes();
    send_often(display_signal({text("nonsense")}), 20000);
    take_flood(2000);
    const long grown = resident_kilobytes() - before;
    RecordProperty("grown_kilobytes", std::to_string(grown));
    std::cout << "grown by " << grown << " kB\n";
#ifndef STATUS_DISPLAY_SANITIZE
    EXPECT_LT(grown, 256);
#endif
    EXPECT_EQ(desk().log().count(received("nonsense")), 2000) << "one a pass, and the bus keeps the others";
}

// Boxes opened and closed properly never run out of memory.
TEST_F(HostileMessages, BoxesOpenedAndClosedOverAndOver) {
    for (int i = 0; i < 400; i++) {
        desk().bus().send("Error_Code", {"A" + std::to_string(i)});
        desk().bus().send("Reboot");
        desk().bus().send("clear_msg");
        desk().bus().send("cd_update", {5, "TYPE"});
        desk().bus().send("M4_done");
    }
    take_flood(2010);
    EXPECT_EQ(desk().log().count("fw type is: TYPE"), 400);
    expect_still_answers();
}

} // namespace end_to_end
