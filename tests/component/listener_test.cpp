// The listener against a bus made of memory: what it asks for, how much it takes a pass, that it keeps nothing.
#include "app/listener.h"

#include <algorithm>

#include "app/log_text.h"
#include "listener_bus.h"
#include "messages.h"
#include "support.h"
#include "widgets.h"

class Listener : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        answer_commands([](const std::string &) { return ""; });
        listener_bus = {};
        connection = listener_connect();
        log_lines.clear();
        setup = listener_bus.calls;
        listener_bus.calls.clear();
    }

    static DBusMessage *signal(const std::string &word, const char *member = "Display") {
        DBusMessage *message = dbus_message_new_signal("/zor/signal", "zor.signal.Type", member);
        const char *text = word.c_str();
        dbus_message_append_args(message, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
        return message;
    }

    std::vector<std::string> logged() {
        std::vector<std::string> texts;
        for (const LogLine &line : log_lines) texts.push_back(line.text);
        return texts;
    }

    DBusConnection *connection = nullptr;
    std::vector<std::string> setup;
};

using Texts = std::vector<std::string>;

TEST_F(Listener, AsksForItsNameAndItsSignals) {
    Texts asked;
    for (const std::string &call : setup) {
        if (call.find("descriptors") == std::string::npos) asked.push_back(call);
    }
    EXPECT_EQ(asked, (Texts{"get the system bus", "stay on disconnect",
                            "name zor.signal.sink with flags " + std::to_string(DBUS_NAME_FLAG_REPLACE_EXISTING),
                            "match type='signal',interface='zor.signal.Type'", "flush"}));
}

// A reply of the set-up behind messages with descriptors must still be read.
TEST_F(Listener, LimitsDescriptorsWhenTheSetUpIsDone) {
    ASSERT_FALSE(setup.empty());
    EXPECT_EQ(setup.back().rfind("descriptors ", 0), 0u) << setup.back();
    const auto limits = [](const std::string &call) { return call.rfind("descriptors ", 0) == 0; };
    EXPECT_EQ(std::count_if(setup.begin(), setup.end(), limits), 1);
}

TEST_F(Listener, TakesOneMessageAPassInTheirOrder) {
    for (int i = 0; i < 100; i++) listener_bus.receive(signal("word " + std::to_string(i)));
    for (int i = 0; i < 100; i++) {
        EXPECT_TRUE(listener_poll(connection));
        ASSERT_EQ(log_lines.size(), static_cast<size_t>(i) + 1);
        EXPECT_EQ(log_lines.back().text, "Got Signal with value word " + std::to_string(i) + "\n");
    }
    EXPECT_FALSE(listener_poll(connection));
    EXPECT_EQ(listener_bus.alive, 0);
}

TEST_F(Listener, NeverWaits) {
    listener_bus.receive(signal("word"));
    for (int pass = 0; pass < 3; pass++) listener_poll(connection);
    EXPECT_EQ(listener_bus.calls, (Texts{"read 0", "pop", "read 0", "pop", "read 0", "pop"}));
}

// It would cost a quarter of the pass.
TEST_F(Listener, AsksForNoStatusInAQuietPass) {
    listener_bus.receive(signal("word"));
    listener_poll(connection);
    listener_bus.status_asked = 0;
    for (int pass = 0; pass < 10; pass++) listener_poll(connection);
    EXPECT_EQ(listener_bus.status_asked, 0);
}

TEST_F(Listener, ReadsNothingBehindWhatIsQueued) {
    for (int i = 0; i < 1000; i++) listener_bus.receive(signal("word"));
    for (int pass = 0; pass < 1000; pass++) ASSERT_TRUE(listener_poll(connection));
    EXPECT_LE(listener_bus.most_queued, listener_bus.messages_a_read);
    EXPECT_EQ(listener_bus.alive, 0);
}

TEST_F(Listener, ReadsNothingBehindWhatCameWithTheSetUp) {
    listener_bus = {};
    listener_bus.queue.push_back(signal("word"));
    connection = listener_connect();
    listener_bus.calls.clear();
    listener_poll(connection);
    EXPECT_EQ(listener_bus.calls, (Texts{"pop"}));
}

TEST_F(Listener, ReadsNothingWhileMemoryIsShort) {
    for (int i = 0; i < 20; i++) listener_bus.receive(signal("word"));
    EXPECT_TRUE(listener_poll(connection));
    listener_bus.memory_is_short = true;
    listener_bus.calls.clear();
    for (int pass = 0; pass < 5; pass++) EXPECT_FALSE(listener_poll(connection));
    EXPECT_EQ(std::count(listener_bus.calls.begin(), listener_bus.calls.end(), "read 0"), 0);
    listener_bus.memory_is_short = false;
    for (int pass = 0; pass < 19; pass++) EXPECT_TRUE(listener_poll(connection));
    EXPECT_EQ(listener_bus.alive, 0);
}

// What is read while there is no memory for it waits as well.
TEST_F(Listener, ReadsOnceWhenMemoryBecomesShort) {
    listener_bus.memory_is_short = true;
    for (int i = 0; i < 20; i++) listener_bus.receive(signal("word"));
    for (int pass = 0; pass < 5; pass++) EXPECT_FALSE(listener_poll(connection));
    EXPECT_EQ(std::count(listener_bus.calls.begin(), listener_bus.calls.end(), "read 0"), 1);
    listener_bus.memory_is_short = false;
    for (int pass = 0; pass < 20; pass++) EXPECT_TRUE(listener_poll(connection)) << pass;
    EXPECT_EQ(listener_bus.alive, 0);
}

TEST_F(Listener, ReleasesEveryKindOfMessage) {
    const auto one_poll = [this](DBusMessage *message) {
        listener_bus.receive(message);
        EXPECT_TRUE(listener_poll(connection));
        EXPECT_EQ(listener_bus.alive, 0);
    };
    one_poll(signal("nonsense"));
    one_poll(signal("M4_ready"));
    one_poll(signal("Error_Code"));
    one_poll(signal("cd_update"));
    one_poll(signal("chan_bt", "Other"));
    one_poll(dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display"));
    one_poll(dbus_message_new_signal("/", "org.freedesktop.DBus", "NameAcquired"));
    one_poll(dbus_message_new_method_call("zor.signal.sink", "/", "zor.signal.Type", "Display"));
    DBusMessage *number = dbus_message_new_signal("/zor/signal", "zor.signal.Type", "Display");
    const int32_t seven = 7;
    dbus_message_append_args(number, DBUS_TYPE_INT32, &seven, DBUS_TYPE_INVALID);
    one_poll(number);
}

// ---- Huge texts

static std::string repeated(const std::string &letter, size_t times) {
    std::string text;
    for (size_t i = 0; i < times; i++) text += letter;
    return text;
}

TEST_F(Listener, LogsFourKilobytesOfAHugeText) {
    for (const char *letter : {"w", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x94\xa7"}) {
        const std::string begin = "Error_Code";
        for (const size_t filler : {0, 1, 2, 3}) {
            log_lines.clear();
            const std::string word = begin + std::string(filler, '.') + repeated(letter, 100000);
            const size_t size = std::string(letter).size();
            const std::string part = word.substr(0, 4096 - (4096 - begin.size() - filler) % size);
            listener_bus.receive(signal(word));
            listener_poll(connection);
            EXPECT_EQ(logged(),
                      (Texts{"Got Signal with value " + part + "\n", "not alone my friend... " + part + "\n"}));
        }
    }
}

TEST(LoggedLength, IsTheTextsOwnUpToFourKilobytes) {
    for (size_t length : {0, 1, 15, 4094, 4095, 4096}) {
        EXPECT_EQ(logged_length(std::string(length, 'w').c_str()), static_cast<int>(length));
    }
    for (size_t length : {4097, 5000, 1000000}) EXPECT_EQ(logged_length(std::string(length, 'w').c_str()), 4096);
}

TEST(LoggedLength, CutsNoLetter) {
    for (const char *letter : {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x94\xa7"}) {
        const size_t size = std::string(letter).size();
        for (size_t filler = 4080; filler <= 4100; filler++) {
            const std::string text = std::string(filler, 'w') + repeated(letter, 10);
            const size_t expected = filler >= 4096 ? 4096 : filler + (4096 - filler) / size * size;
            const size_t whole = std::min(expected, text.size());
            EXPECT_EQ(logged_length(text.c_str()), static_cast<int>(whole)) << filler << " before " << letter;
        }
    }
    EXPECT_EQ(logged_length(std::string(5000, '\x80').c_str()), 0) << "no letter at all";
}
