// Wi-Fi probes: link and network name, quality table. The tools' output comes from the test, and in
// the last part from scripts behind the real pipelines.
#include "support.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "probes/wifi.h"

namespace {

static const std::string LINK_MODE = "/sys/class/net/wlan0/link_mode";
static const std::string OPERSTATE = "/sys/class/net/wlan0/operstate";
static const std::string SIGNAL_COMMAND = "iw dev wlan0 link|grep signal|awk '{print $2}'";
static const std::string NAME_COMMAND = "iw wlan0 info|grep ssid|awk '{$1=\"\"; print substr($0,2)}'";

class Wifi : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        alarm(100);
    }
    void TearDown() override {
        EXPECT_EQ(open_pipes, 0);
        EXPECT_EQ(null_pcloses, 0);
        alarm(0);
        ComponentTest::TearDown();
    }
    void link_is_up() {
        write_file(LINK_MODE, "1\n");
        write_file(OPERSTATE, "up\n");
    }
    void shell_prints(const std::string &text) {
        answer_commands([text](const std::string &) { return text; });
    }
    void shell_fails() {
        answer_commands([](const std::string &) { return std::nullopt; });
    }
    void name_was(const std::string &name) { strcpy(display_state.wifi_ssid, name.c_str()); }
    std::string name() { return display_state.wifi_ssid; }
};

// ---- Link

TEST_F(Wifi, NothingIsKnownAtFirst) {
    EXPECT_EQ(name(), "");
    EXPECT_STREQ(display_state.wifi_quality, "");
}

TEST_F(Wifi, LinkThatIsUpGivesTheNameWithItsNewline) {
    link_is_up();
    shell_prints("HomeNet\n");
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), "HomeNet\n");
    EXPECT_EQ(shell_commands, std::vector<std::string>{NAME_COMMAND});
}

// Content of a file in sysfs, or what else may be in its place.
struct Content {
    enum Kind { missing, file, folder, fifo } kind;
    std::string bytes;
    bool good; ///< its first word says "up"
};

static void put(const std::string &path, const Content &content) {
    switch (content.kind) {
        case Content::missing: remove_file(path); break;
        case Content::file: write_file(path, content.bytes); break;
        case Content::folder: make_folder(path); break;
        case Content::fifo: make_fifo(path); break;
    }
}

static std::vector<Content> contents(const std::string &good, const std::string &bad) {
    std::vector<Content> all = {
        {Content::missing, "", false}, {Content::folder, "", false}, {Content::fifo, "", false}};
    for (const std::string &bytes :
         {good, good + "\n", "  \n\t" + good + "\n", good + " " + bad, good + "\t", good + "\n" + bad}) {
        all.push_back({Content::file, bytes, true});
    }
    for (const std::string &bytes :
         {bad, bad + "\n", std::string(""), std::string("\n"), good + good, good + ".", "x" + good, bad + " " + good,
          bad + "\n" + good, std::string(3000, '1'), std::string(3000, 'u'), std::string("\xff\xfe\x00\x01", 4),
          std::string("dormant\n"), std::string("UP"), std::string("unknown\n"), std::string("01"), std::string("2")}) {
        all.push_back({Content::file, bytes, false});
    }
    return all;
}

TEST_F(Wifi, EveryCombinationOfTheTwoFiles) {
    shell_prints("HomeNet\n");
    for (const Content &mode : contents("1", "0")) {
        put(LINK_MODE, mode);
        for (const Content &state : contents("up", "down")) {
            put(OPERSTATE, state);
            SCOPED_TRACE("link_mode " + std::to_string(mode.kind) + " \"" + mode.bytes.substr(0, 30) +
                         "\", operstate " + std::to_string(state.kind) + " \"" + state.bytes.substr(0, 30) + "\"");
            name_was("Before\n");
            shell_commands.clear();
            const int up = wifi_link_probe();
            EXPECT_EQ(up, mode.good && state.good ? 1 : 0);
            EXPECT_EQ(shell_commands.size(), mode.good && state.good ? 1u : 0u);
            // The mode is looked at first; a missing file keeps the name, any other word than the good one
            // clears it.
            const bool kept = mode.kind == Content::missing || (mode.good && state.kind == Content::missing);
            if (mode.kind == Content::fifo || (mode.good && state.kind == Content::fifo)) continue;
            EXPECT_EQ(name(), up == 1 ? "HomeNet\n" : kept ? "Before\n" : "");
        }
    }
}

TEST_F(Wifi, NameStaysWhenTheShellFailsOrSaysNothing) {
    link_is_up();
    name_was("Before\n");
    shell_fails();
    EXPECT_EQ(wifi_link_probe(), 0);
    EXPECT_EQ(name(), "Before\n");
    shell_prints("");
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), "Before\n");
}

TEST_F(Wifi, LastLineOfSeveralStays) {
    link_is_up();
    for (const std::string text :
         {"one\ntwo\n", "one\ntwo", "a much longer first line\nb\n", "one\n\n", "\n", " \n", "one\r\n"}) {
        shell_prints(text);
        EXPECT_EQ(wifi_link_probe(), 1);
        EXPECT_EQ(name(), last_piece(text, 63, "")) << text;
    }
}

TEST_F(Wifi, NamesOfEveryLengthAreReadInPiecesOf62) {
    link_is_up();
    for (size_t length = 1; length <= 260; ++length) {
        std::string text;
        for (size_t i = 0; i < length; ++i) text += static_cast<char>('!' + i % 90);
        for (const char *end : {"", "\n"}) {
            shell_prints(text + end);
            EXPECT_EQ(wifi_link_probe(), 1);
            ASSERT_EQ(name(), last_piece(text + end, 63, "")) << length;
            ASSERT_LE(name().size(), 63u);
        }
    }
    shell_prints(std::string(70, 'n') + "\n");
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), std::string(8, 'n') + "\n");
}

TEST_F(Wifi, NameOfAnyBytes) {
    link_is_up();
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text = {static_cast<char>(byte), 'x', static_cast<char>(byte), '\n'};
        shell_prints(text);
        EXPECT_EQ(wifi_link_probe(), 1);
        EXPECT_EQ(name(), last_piece(text, 63, "")) << byte;
    }
    shell_prints(std::string("ab\0cd\n", 6));
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), "ab");
}

// ---- Quality

struct Row {
    int from, to;
    const char *quality;
};

static const Row ROWS[] = {
    {-1, -20, "100"}, {-21, -23, "99"}, {-24, -26, "98"}, {-27, -28, "97"},  {-29, -30, "96"}, {-31, -32, "95"},
    {-33, -33, "94"}, {-34, -35, "93"}, {-36, -36, "92"}, {-37, -37, "91"},  {-38, -40, "90"}, {-41, -41, "88"},
    {-42, -42, "87"}, {-43, -43, "86"}, {-44, -44, "85"}, {-45, -45, "84"},  {-46, -46, "83"}, {-47, -47, "82"},
    {-48, -48, "81"}, {-49, -49, "80"}, {-50, -50, "79"}, {-51, -51, "78"},  {-52, -52, "76"}, {-53, -53, "75"},
    {-54, -54, "74"}, {-55, -55, "73"}, {-56, -56, "71"}, {-57, -57, "70"},  {-58, -58, "69"}, {-59, -59, "67"},
    {-60, -60, "66"}, {-61, -61, "64"}, {-62, -62, "63"}, {-63, -63, "61"},  {-64, -64, "60"}, {-65, -65, "58"},
    {-66, -66, "56"}, {-67, -67, "55"}, {-68, -68, "53"}, {-69, -69, "51"},  {-70, -70, "50"}, {-71, -71, "48"},
    {-72, -72, "46"}, {-73, -73, "44"}, {-74, -74, "42"}, {-75, -75, "40"},  {-76, -76, "38"}, {-77, -77, "36"},
    {-78, -78, "34"}, {-79, -79, "32"}, {-80, -80, "30"}, {-81, -81, "28"},  {-82, -82, "26"}, {-83, -83, "24"},
    {-84, -84, "22"}, {-85, -85, "20"}, {-86, -86, "17"}, {-87, -87, "15"},  {-88, -88, "13"}, {-89, -89, "10"},
    {-90, -90, "8"},  {-91, -91, "6"},  {-92, -92, "3"},  {-93, -1000, "1"},
};

// NULL where a reading changes nothing.
static const char *quality_for(long rssi) {
    for (const Row &row : ROWS) {
        if (rssi <= row.from && rssi >= row.to) return row.quality;
    }
    return nullptr;
}

TEST_F(Wifi, EveryReadingHasItsQuality) {
    std::vector<std::pair<const char *, std::string>> seen;
    std::string before;
    for (int rssi = 300; rssi >= -1300; --rssi) {
        shell_prints(std::to_string(rssi) + "\n");
        const char *expected = quality_for(rssi);
        if (expected != nullptr) before = expected;
        ASSERT_EQ(wifi_quality_probe(), rssi == 0 ? 0 : 1) << rssi;
        ASSERT_EQ(display_state.wifi_quality, before) << rssi;
        seen.emplace_back(display_state.wifi_quality, before);
    }
    // They are constants: none has changed while others were shown.
    for (const auto &[text, was] : seen) ASSERT_EQ(text, was);
    EXPECT_EQ(shell_commands, std::vector<std::string>(1601, SIGNAL_COMMAND));
}

TEST_F(Wifi, QualityFromAnyStart) {
    for (const char *start : {"-1", "-55", "-92", "-500"}) {
        for (int rssi : {1, 5, 0, -1001, -5000, 2147483647, -40, -38, -41, -92, -93, -1000}) {
            shell_prints(start);
            ASSERT_EQ(wifi_quality_probe(), 1);
            const std::string before = display_state.wifi_quality;
            shell_prints(std::to_string(rssi));
            EXPECT_EQ(wifi_quality_probe(), rssi == 0 ? 0 : 1);
            EXPECT_EQ(display_state.wifi_quality, quality_for(rssi) != nullptr ? quality_for(rssi) : before) << rssi;
        }
    }
}

TEST_F(Wifi, NoReadingChangesNothing) {
    shell_prints("-55\n");
    EXPECT_EQ(wifi_quality_probe(), 1);
    for (const char *text : {"", "\n", "0\n", "signal\n", "- 55\n", "dBm -55\n", "--55", "+", "-40\n\n", "-40\nx\n"}) {
        shell_prints(text);
        EXPECT_EQ(wifi_quality_probe(), 0) << text;
        EXPECT_STREQ(display_state.wifi_quality, "73") << text;
    }
    shell_fails();
    EXPECT_EQ(wifi_quality_probe(), 0);
    EXPECT_STREQ(display_state.wifi_quality, "73");
}

TEST_F(Wifi, ReadingAsTheToolMayPrintIt) {
    for (const char *text :
         {"-60", "-60\n", "  -60\n", "\t-60 dBm\n", "-60.5\n", "-060\n", "-30\n-60\n", "garbage\n-60\n"}) {
        shell_prints("-1\n");
        wifi_quality_probe();
        shell_prints(text);
        EXPECT_EQ(wifi_quality_probe(), 1) << text;
        EXPECT_STREQ(display_state.wifi_quality, "66") << text;
    }
    shell_prints("+60\n");
    EXPECT_EQ(wifi_quality_probe(), 1);
    EXPECT_STREQ(display_state.wifi_quality, "66");
}

TEST_F(Wifi, LongReadingIsReadInPiecesOf62) {
    shell_prints("-1\n");
    wifi_quality_probe();
    for (size_t blanks = 1; blanks <= 200; ++blanks) {
        const std::string text = std::string(blanks, ' ') + "-60\n";
        shell_prints(text);
        const long rssi = strtol(last_piece(text, 63, "").c_str(), nullptr, 10);
        const std::string before = display_state.wifi_quality;
        EXPECT_EQ(wifi_quality_probe(), rssi == 0 ? 0 : 1) << blanks;
        EXPECT_EQ(display_state.wifi_quality, quality_for(rssi) != nullptr ? quality_for(rssi) : before) << blanks;
    }
}

// They count as the nearest 32-bit number, which lies outside the table: a reading that changes nothing. Their
// low 32 bits alone would be -1, -55 and such.
TEST_F(Wifi, ReadingsBeyondThirtyTwoBitsChangeNothing) {
    shell_prints("-85\n");
    ASSERT_EQ(wifi_quality_probe(), 1);
    for (const std::string &text :
         {std::string("99999999999999999999"), std::string("-99999999999999999999"), std::string("4294967295"),
          std::string("4294967241"), std::string("-4294967351"), std::string("-4294967241"), std::string("4294967296"),
          std::string("-4294967296"), std::string("2147483648"), std::string("-2147483649"), std::string("-2147483648"),
          std::string("18446744073709551561"), std::string(62, '9'), "-" + std::string(61, '9'),
          std::string(1000000, '9')}) {
        shell_prints(text);
        EXPECT_EQ(wifi_quality_probe(), 1) << text.substr(0, 70);
        EXPECT_STREQ(display_state.wifi_quality, "20") << text.substr(0, 70);
    }
}

TEST_F(Wifi, OnlyDecimalNumbersAreReadings) {
    shell_prints("-85\n");
    ASSERT_EQ(wifi_quality_probe(), 1);
    for (const char *text : {"0x10", "0x-40", "-0x40"}) {
        shell_prints(text);
        EXPECT_EQ(wifi_quality_probe(), 0) << text;
        EXPECT_STREQ(display_state.wifi_quality, "20") << text;
    }
    shell_prints("-055");
    EXPECT_EQ(wifi_quality_probe(), 1);
    EXPECT_STREQ(display_state.wifi_quality, "73") << "-055 is no octal number";
}

// ---- The real shell with the tools' scripts

TEST_F(Wifi, PipelinesThroughTheRealShell) {
    link_is_up();
    write_tool("iw",
               "case \"$*\" in\n"
               "'wlan0 info') printf 'Interface wlan0\\n\\tifindex 3\\n\\tssid Home Net 5\\n\\ttype managed\\n';;\n"
               "'dev wlan0 link') printf 'Connected to 00:11\\n\\tSSID: Home\\n\\tsignal: -41 dBm\\n\\tfreq: "
               "5180\\n';;\n"
               "esac");
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), "Home Net 5\n");
    EXPECT_EQ(wifi_quality_probe(), 1);
    EXPECT_STREQ(display_state.wifi_quality, "88");
    EXPECT_EQ(tool_calls(), (std::vector<std::string>{"iw|wlan0|info|", "iw|dev|wlan0|link|"}));
}

TEST_F(Wifi, ToolsThatAreNotConnectedOrNotThere) {
    link_is_up();
    write_tool("iw", "echo 'Not connected.'");
    name_was("Before\n");
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), "Before\n");
    EXPECT_EQ(wifi_quality_probe(), 0);
    remove_file("/usr/local/bin/iw");
    EXPECT_EQ(wifi_link_probe(), 1);
    EXPECT_EQ(name(), "Before\n");
    EXPECT_EQ(wifi_quality_probe(), 0);
    EXPECT_STREQ(display_state.wifi_quality, "");
}

} // namespace
