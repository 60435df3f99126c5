// The daemon's words: every log line with its identity, priority, text and order, and what is dropped in
// silence.
#include <filesystem>
#include <functional>
#include <memory>

#include "support.h"

namespace end_to_end {

using Texts = std::vector<std::string>;

class LogLines : public DaemonTest {
protected:
    void SetUp() override { prepare(); }

    // The lines that a command adds, those of its own listener line included.
    Texts answer(const std::string &word, const std::vector<desk::Argument> &further = {}) {
        const size_t before = log_size();
        desk().send_and_settle(word, further, 10);
        return log_texts(before);
    }

    void expect_priority(const std::string &part, int priority) {
        for (const desk::LogLine &line : desk().log().lines()) {
            if (line.text.find(part) == std::string::npos) continue;
            EXPECT_EQ(line.priority, priority) << line.text;
        }
        EXPECT_GE(desk().log().count(part), 1) << part;
    }

    // Sends a message made by the caller, and lets it be handled.
    void send(DBusMessage *message) {
        desk().bus().send_message(message);
        dbus_message_unref(message);
        desk().advance(10);
    }
};

TEST_F(LogLines, StartOfTheNormalScreen) {
    start();
    EXPECT_EQ(log_texts(), (Texts{"Listening for signals\n", "Match rule sent\n"}));
    expect_priority("Listening", LOG_INFO);
    expect_priority("Match rule", LOG_INFO);
}

TEST_F(LogLines, StartOfTheProductionScreen) {
    box().set_production();
    start();
    EXPECT_EQ(log_texts(), (Texts{"start prod interface.", "Listening for signals\n", "Match rule sent\n"}));
    expect_priority("start prod", LOG_ERR);
}

TEST_F(LogLines, IdentityOfEachLine) {
    box().set_production();
    start();
    answer("cd_update", {5, "TYPE"});
    answer("M4_update");
    answer("M4_error");
    answer("Error_Code");
    const std::vector<desk::LogLine> lines = desk().log().lines();
    ASSERT_GE(lines.size(), 11u);
    for (const desk::LogLine &line : lines) {
        EXPECT_EQ(line.ident, "Display") << line.text;
        EXPECT_EQ(line.facility, LOG_LOCAL1) << line.text;
        EXPECT_GT(line.pid, 0) << line.text;
        EXPECT_EQ(line.pid, lines[0].pid) << line.text;
    }
}

// The first of what it opens, so that even a failure to open anything else can be logged.
TEST_F(LogLines, LogIsConnectedBeforeThePanelIsOpened) {
    start();
    int log = 0;
    int panel = 0;
    const std::filesystem::path folder = "/proc/" + std::to_string(desk().daemon_pid()) + "/fd";
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const int number = std::stoi(entry.path().filename().string());
        const std::string target = std::filesystem::read_symlink(entry.path()).string();
        if (target.rfind("socket:", 0) == 0 && (log == 0 || number < log)) log = number;
        if (target.size() >= 4 && target.compare(target.size() - 4, 4, "/fb0") == 0) panel = number;
    }
    ASSERT_GT(log, 2);
    ASSERT_GT(panel, 2);
    EXPECT_LT(log, panel);
}

TEST_F(LogLines, EachCommandIsLoggedAsReceived) {
    start();
    for (const char *word : {"chan_usb", "REC_ON", "nonsense", "", "Check_Ignition and more", "line\nline"}) {
        EXPECT_EQ(answer(word), Texts{received(word)});
    }
    expect_priority("Got Signal", LOG_INFO);
}

TEST_F(LogLines, UnknownWordsLeaveNoFurtherLine) {
    start();
    for (const char *word : {"chan", "Chan_usb", " chan_usb", "error_code", "Check_Ign", "M4_", "USB_updat"}) {
        EXPECT_EQ(answer(word), Texts{received(word)});
    }
}

TEST_F(LogLines, ErrorCodeAlone) {
    start();
    EXPECT_EQ(answer("Error_Code"), (Texts{received("Error_Code"), "not alone my friend... Error_Code\n"}));
    EXPECT_EQ(answer("Error_Codes?"), (Texts{received("Error_Codes?"), "not alone my friend... Error_Codes?\n"}));
    expect_priority("not alone", LOG_ERR);
}

TEST_F(LogLines, ErrorCodeWithItsCode) {
    start();
    for (const char *code : {"A12", "", "WIFI", "CWIFI"}) {
        EXPECT_EQ(answer("Error_Code", {code}), Texts{received("Error_Code")});
    }
}

TEST_F(LogLines, FirmwareUpdate) {
    start();
    EXPECT_EQ(answer("cd_update"), Texts{received("cd_update")});
    EXPECT_EQ(answer("cd_update", {120}), (Texts{received("cd_update"), "time to 100/100 is: 120\n"}));
    EXPECT_EQ(answer("cd_update", {-7, "FT_BOOT"}),
              (Texts{received("cd_update"), "time to 100/100 is: -7\n", "fw type is: FT_BOOT\n"}));
    EXPECT_EQ(answer("cd_update", {60, "FT_AGAIN", "more"}),
              (Texts{received("cd_update"), "time to 100/100 is: 60\n", "fw type is: FT_AGAIN\n"}));
    expect_priority("time to", LOG_ERR);
    expect_priority("fw type", LOG_ERR);
}

TEST_F(LogLines, CoprocessorOnTheNormalScreen) {
    start();
    EXPECT_EQ(answer("M4_update"), (Texts{received("M4_update"), "updating!"}));
    EXPECT_EQ(answer("M4_error"), Texts{received("M4_error")});
    EXPECT_EQ(answer("M4_done"), Texts{received("M4_done")});
    expect_priority("updating!", LOG_ERR);
}

TEST_F(LogLines, CoprocessorOnTheProductionScreen) {
    box().set_production();
    start();
    EXPECT_EQ(answer("M4_update"), (Texts{received("M4_update"), "updating!"}));
    EXPECT_EQ(answer("M4_error"), (Texts{received("M4_error"), "err!"}));
    EXPECT_EQ(answer("M4_done"), Texts{received("M4_done")});
    expect_priority("updating!", LOG_ERR);
    expect_priority("err!", LOG_ERR);
}

TEST_F(LogLines, SignalWithoutArguments) {
    start();
    const size_t before = log_size();
    send(dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display"));
    EXPECT_EQ(log_texts(before), Texts{"Message Has No Parameters\n"});
    expect_priority("No Parameters", LOG_ERR);
}

TEST_F(LogLines, SignalWithANumber) {
    start();
    const size_t before = log_size();
    DBusMessage *message = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    const int32_t number = 115; // the type code of a string
    dbus_message_append_args(message, DBUS_TYPE_INT32, &number, DBUS_TYPE_INVALID);
    send(message);
    EXPECT_EQ(log_texts(before), Texts{"Argument is not string!\n"});
    expect_priority("not string", LOG_ERR);
}

static DBusMessage *with_text(DBusMessage *message, const char *text) {
    dbus_message_append_args(message, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    return message;
}

TEST_F(LogLines, ForeignMessagesAreDroppedInSilence) {
    start();
    const size_t before = log_size();
    send(with_text(dbus_message_new_signal("/zor/signal", "zor.signal.Type", "display"), "chan_usb"));
    send(with_text(dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Other"), "chan_usb"));
    DBusMessage *addressed = with_text(dbus_message_new_signal("/zor/signal", "zor.other", "Display"), "chan_usb");
    dbus_message_set_destination(addressed, "zor.signal.sink");
    send(addressed);
    send(dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Other"));
    EXPECT_EQ(log_texts(before), Texts{});
}

TEST_F(LogLines, MethodCallsAreDroppedInSilence) {
    start();
    const size_t before = log_size();
    send(with_text(dbus_message_new_method_call("zor.signal.sink", "/zor/signal", "zor.signal.Type", "Display"),
                   "chan_usb"));
    send(dbus_message_new_method_call("zor.signal.sink", "/", "org.freedesktop.DBus.Introspectable", "Introspect"));
    EXPECT_EQ(log_texts(before), Texts{});
}

// Path, sender and destination are nobody's business.
TEST_F(LogLines, SignalsFromAnyPathAndToTheNameAlone) {
    start();
    const size_t before = log_size();
    send(with_text(dbus_message_new_signal("/some/other/path", "zor.signal.Type", "Display"), "one"));
    DBusMessage *addressed = with_text(dbus_message_new_signal("/", "zor.signal.Type", "Display"), "two");
    dbus_message_set_destination(addressed, "zor.signal.sink");
    send(addressed);
    EXPECT_EQ(log_texts(before), (Texts{received("one"), received("two")}));
}

TEST_F(LogLines, TenQueuedSignalsTakeTenPasses) {
    start();
    desk().advance(50);
    for (int i = 0; i < 10; i++) desk().bus().send("queued " + std::to_string(i));
    const size_t before = log_size();
    for (size_t i = 0; i < 10; i++) {
        const uint32_t passes = desk().clock().passes();
        desk().advance(1);
        EXPECT_EQ(desk().clock().passes(), passes + 1);
        ASSERT_EQ(log_size(), before + i + 1) << "one message a pass, a millisecond apart";
        EXPECT_EQ(log_texts().back(), received("queued " + std::to_string(i)));
    }
    desk().advance(10);
    EXPECT_EQ(log_size(), before + 10);
}

// Without a logger the lines go to the console.
TEST_F(LogLines, ConsoleTakesWhatTheLogDoesNot) {
    start();
    command("chan_bt");
    EXPECT_EQ(box().read(desk::console), "") << "while somebody listens";
    desk().log().hang_up();
    desk().bus().send("chan_usb");
    desk().advance(10);
    const std::string line = box().read(desk::console);
    EXPECT_NE(line.find("Display["), std::string::npos) << line;
    EXPECT_NE(line.find(": " + received("chan_usb")), std::string::npos) << line;
}

// Standard output belongs to the framebuffer driver, standard error to what went wrong with it.
TEST_F(LogLines, NothingElseIsPrinted) {
    start();
    command("chan_usb");
    error_code("A12");
    command("M4_update");
    EXPECT_EQ(desk().output(),
              "The framebuffer device was opened successfully.\n64x128, 1bpp\n"
              "The framebuffer device was mapped to memory successfully.\n");
    EXPECT_EQ(desk().errors(), "");
}

} // namespace end_to_end
