// Texts read back from pictures.
#include <algorithm>

#include <gtest/gtest.h>

#include "panel/files.h"
#include "simulator/scenario/read_text.h"
#include "simulator/scenario/stage_text.h"

namespace {

using Texts = std::vector<std::string>;

Texts read(const panel::Picture &picture) {
    Texts texts;
    for (const desk::TextOnPanel &line : desk::texts_in(picture)) texts.push_back(line.text);
    return texts;
}

// What the scenarios' panels show.
Texts read(const std::string &name) {
    const std::string path = TEST_SOURCE_DIR "/simulator/scenarios/" + name + ".pbm";
    return read(panel::Picture::from_pbm(panel::load_bytes(path)));
}

panel::Picture with_text(const std::string &text, int x, int y) {
    panel::Picture picture(128, 30);
    desk::copy_lit(desk::text_picture(text), picture, x, y);
    return picture;
}

} // namespace

TEST(ReadText, EveryPairOfLetters) {
    std::string letters;
    for (char letter = '!'; letter <= '~'; letter++) {
        if (desk::text_picture(std::string(1, letter)).width() > 0) letters += letter;
    }
    ASSERT_GT(letters.size(), 80U);
    // All that may follow one letter, four pairs a line.
    for (char first : letters) {
        for (size_t from = 0; from < letters.size(); from += 4) {
            std::string text = "M";
            for (size_t i = from; i < std::min(from + 4, letters.size()); i++) {
                text += first;
                text += letters[i];
            }
            text += "M";
            ASSERT_LT(desk::text_picture(text).width(), 120);
            EXPECT_EQ(read(with_text(text, 4, 8)), Texts{text});
        }
    }
}

TEST(ReadText, WhereItStands) {
    const std::vector<desk::TextOnPanel> texts = desk::texts_in(with_text("Yard 7", 31, 12));
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].text, "Yard 7");
    EXPECT_EQ(texts[0].x, 31);
    EXPECT_EQ(texts[0].y, 12);
    EXPECT_EQ(texts[0].height, 16);
}

TEST(ReadText, NothingOnADarkOrLitPanel) {
    panel::Picture picture(64, 128);
    EXPECT_EQ(read(picture), Texts{});
    for (int y = 0; y < 128; y++) {
        for (int x = 0; x < 64; x++) picture.set(x, y, true);
    }
    EXPECT_EQ(read(picture), Texts{});
    EXPECT_EQ(read(panel::Picture()), Texts{});
}

// Icons and rules are no text; three fonts are.
TEST(ReadText, StatusScreen) {
    EXPECT_EQ(read("views/view_vpn-layout"),
              (Texts{"WireGuard VPN", "12.4v", "Max. 12.4", "Min. 12.4", "AUTOCHECK..."}));
    EXPECT_EQ(read("views/view_station_signal_3-layout").front(), "HomeNet");
    EXPECT_EQ(read("start/icon_row-layout"), (Texts{"12.4v", "Max. 12.4", "Min. 12.4", "AUTOCHECK..."}));
    EXPECT_EQ(read("start/start_screen-layout"), (Texts{"-.-v", "Max. -.-", "Min. -.-", "AUTOCHECK..."}));
    EXPECT_EQ(read("modes/mode_power_down-layout").front(), "SN: QB418T-000123");
}

TEST(ReadText, OverlaysAndProductionScreen) {
    EXPECT_EQ(read("messages/overlay_wifi_error-layout"), (Texts{"ERROR: WIFI", "Connection"}));
    EXPECT_EQ(read("firmware/firmware_bar_half-layout"), (Texts{"FW UPGRADE...", "FT_MAINAPP_J2534"}));
    EXPECT_EQ(read("firmware/firmware_bar_half-device"), (Texts{"FW UPG", "FT_MAINA"}));
    // The second line goes up to the panel's edge.
    EXPECT_EQ(read("production_unit/error-layout"),
              (Texts{"SN: QB418T-100001", "BT: QB418T-BT-100001", "HW: QB418T", "FW: Error Updating"}));
}

// What the device shows of the layout ends within a letter, and that letter is not guessed.
TEST(ReadText, LettersThatAreCut) {
    EXPECT_EQ(read("modes/mode_ready-device"), (Texts{"12.4", "RE"}));
    const panel::Picture whole = with_text("RECORD", 2, 2);
    const int width = desk::text_picture("REC").width() + 2;
    for (int cut = 1; cut < desk::text_picture("O").width() - 1; cut++) {
        EXPECT_EQ(read(whole.part(0, 0, width + cut, 30)), Texts{"REC"}) << cut;
    }
}
