// Texts on their way into labels: whole UTF-8 whatever came in, and no redraw for what is there already.
#include "support.h"

#include <string.h>

#include "screen/widgets.h"

namespace {

// ---- A reference for well-formed UTF-8, written from the table of well-formed sequences.

struct Form {
    uint8_t lead_low, lead_high, second_low, second_high;
    size_t length;
};

static const Form FORMS[] = {
    {0x00, 0x7f, 0, 0, 1},       {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

static uint8_t byte_at(const std::string &text, size_t at) { return static_cast<uint8_t>(text[at]); }

static const Form *form_of(uint8_t lead) {
    for (const Form &form : FORMS) {
        if (lead >= form.lead_low && lead <= form.lead_high) return &form;
    }
    return nullptr;
}

// How many bytes at `at` agree with a well-formed sequence of this form, up to its length or the text's end.
static size_t agreeing(const std::string &text, size_t at, const Form &form) {
    size_t count = 1;
    while (count < form.length && at + count < text.size()) {
        const uint8_t byte = byte_at(text, at + count);
        const uint8_t low = count == 1 ? form.second_low : 0x80;
        const uint8_t high = count == 1 ? form.second_high : 0xbf;
        if (byte < low || byte > high) break;
        ++count;
    }
    return count;
}

/// Length of the well-formed sequence at `at`, or 0. `cut` tells that the text ends inside of one.
static size_t sequence_at(const std::string &text, size_t at, bool *cut) {
    const Form *form = form_of(byte_at(text, at));
    *cut = false;
    if (form == nullptr) return 0;
    const size_t count = agreeing(text, at, *form);
    *cut = count < form->length && at + count == text.size();
    return count == form->length ? count : 0;
}

static bool is_whole_utf8(const std::string &text) {
    for (size_t at = 0; at < text.size();) {
        bool cut = false;
        const size_t length = sequence_at(text, at, &cut);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

static std::string expected_text(const std::string &text) {
    std::string whole;
    for (size_t at = 0; at < text.size();) {
        bool cut = false;
        const size_t length = sequence_at(text, at, &cut);
        if (cut) break;
        whole += length > 0 ? text.substr(at, length) : "?";
        at += length > 0 ? length : 1;
    }
    return whole;
}

static std::string made_whole(const std::string &text) {
    char bytes[64];
    memset(bytes, '~', sizeof(bytes));
    memcpy(bytes + 1, text.c_str(), text.size() + 1);
    make_whole_utf8(bytes + 1);
    EXPECT_EQ(bytes[0], '~');
    EXPECT_EQ(bytes[text.size() + 2], '~');
    return bytes + 1;
}

static std::string in_hex(const std::string &text) {
    std::string hex;
    for (size_t i = 0; i < text.size(); ++i) {
        char digits[8];
        snprintf(digits, sizeof(digits), "%02x ", byte_at(text, i));
        hex += digits;
    }
    return hex;
}

// Both the exact text and what matters most: LVGL must be able to walk it.
static void check(const std::string &text) {
    const std::string whole = made_whole(text);
    ASSERT_TRUE(is_whole_utf8(whole)) << in_hex(text) << "became " << in_hex(whole);
    ASSERT_EQ(in_hex(whole), in_hex(expected_text(text))) << "from " << in_hex(text);
}

TEST(WholeUtf8, OneTwoAndThreeBytesOfEveryValue) {
    std::string text;
    for (int a = 1; a < 256; ++a) {
        check(text = {static_cast<char>(a)});
        for (int b = 1; b < 256; ++b) check(text = {static_cast<char>(a), static_cast<char>(b)});
    }
    // Three bytes: everything behind leads that begin something, and a few that do not.
    for (int a : {0x61, 0x80, 0xc1, 0xc2, 0xdf, 0xe0, 0xe1, 0xec, 0xed, 0xee, 0xef, 0xf0, 0xf1, 0xf4, 0xf5, 0xff}) {
        for (int b = 1; b < 256; ++b) {
            for (int c = 1; c < 256; c += b >= 0x7e && b <= 0xc2 ? 1 : 17) {
                check(text = {static_cast<char>(a), static_cast<char>(b), static_cast<char>(c)});
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(WholeUtf8, FourBytesOfEveryKind) {
    const int kinds[] = {0x01, 0x3f, 0x61, 0x7f, 0x80, 0x8f, 0x90, 0x9f, 0xa0, 0xbf, 0xc0, 0xc1, 0xc2, 0xdf, 0xe0,
                         0xe1, 0xec, 0xed, 0xee, 0xef, 0xf0, 0xf1, 0xf3, 0xf4, 0xf5, 0xf7, 0xf8, 0xfc, 0xfe, 0xff};
    std::string text(4, ' ');
    for (int a : kinds)
        for (int b : kinds)
            for (int c : kinds)
                for (int d : kinds) {
                    text[0] = static_cast<char>(a), text[1] = static_cast<char>(b);
                    text[2] = static_cast<char>(c), text[3] = static_cast<char>(d);
                    check(text);
                    if (HasFatalFailure()) return;
                }
}

TEST(WholeUtf8, EveryKindOfSequenceCutAtEveryPoint) {
    for (const char *sequence : {"\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xe2\x82\xac", "\xed\x9f\xbf", "\xee\x80\x80",
                                 "\xef\xbf\xbd", "\xf0\x90\x80\x80", "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf"}) {
        const std::string whole = sequence;
        EXPECT_EQ(made_whole(whole), whole);
        EXPECT_EQ(made_whole("ab" + whole + "c"), "ab" + whole + "c");
        for (size_t kept = 1; kept < whole.size(); ++kept) {
            const std::string cut = whole.substr(0, kept);
            EXPECT_EQ(made_whole("ab" + cut), "ab") << in_hex(cut);
            EXPECT_EQ(made_whole("ab" + cut + "c"), "ab" + std::string(kept, '?') + "c") << in_hex(cut);
            EXPECT_EQ(made_whole(cut + whole), std::string(kept, '?') + whole) << in_hex(cut);
            EXPECT_EQ(made_whole(cut), "") << in_hex(cut);
        }
    }
}

TEST(WholeUtf8, OverlongFormsSurrogatesAndTooLargeNumbers) {
    EXPECT_EQ(made_whole("a\xc0\x80z"), "a??z");
    EXPECT_EQ(made_whole("a\xc1\xbfz"), "a??z");
    EXPECT_EQ(made_whole("a\xe0\x9f\xbfz"), "a???z");
    EXPECT_EQ(made_whole("a\xf0\x8f\xbf\xbfz"), "a????z");
    EXPECT_EQ(made_whole("a\xed\xa0\x80z"), "a???z");
    EXPECT_EQ(made_whole("a\xed\xbf\xbfz"), "a???z");
    EXPECT_EQ(made_whole("a\xf4\x90\x80\x80z"), "a????z");
    EXPECT_EQ(made_whole("a\xf8\x88\x80\x80\x80z"), "a?????z");
}

TEST(WholeUtf8, LoneContinuationBytes) {
    for (int byte = 0x80; byte < 0xc0; ++byte) {
        const std::string lone(1, static_cast<char>(byte));
        EXPECT_EQ(made_whole(lone), "?");
        EXPECT_EQ(made_whole("a" + lone + lone + "z"), "a??z");
    }
}

TEST(WholeUtf8, GoodTextStaysAndTheEmptyTextToo) {
    for (const char *text : {"", "READY", "12.4v",
                             "Gr\xc3\xbc\xc3\x9f"
                             "e",
                             "\xe6\x97\xa5\xe6\x9c\xac", "a\tb\nc\x01"}) {
        EXPECT_EQ(made_whole(text), text);
    }
}

// ---- Labels

class LabelText : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        box = lv_obj_create(active_screen(), nullptr);
        lv_obj_set_size(box, 60, 40);
        label = lv_label_create(box, nullptr);
        lv_label_set_text(label, "first");
        forget_redraws();
    }
    uint32_t redrawn_after(const std::function<void()> &action) {
        forget_redraws();
        action();
        draw_now();
        return redrawn_pixels();
    }

    lv_obj_t *box = nullptr, *label = nullptr;
};

TEST_F(LabelText, NoLabelIsLeftAlone) {
    set_label_text(nullptr, "text");
    set_aligned_text(nullptr, "text", LV_ALIGN_CENTER, 0, 0);
}

TEST_F(LabelText, NewTextIsShown) {
    EXPECT_GT(redrawn_after([this] { set_label_text(label, "second"); }), 0u);
    EXPECT_STREQ(lv_label_get_text(label), "second");
    set_label_text(label, "");
    EXPECT_STREQ(lv_label_get_text(label), "");
    set_label_text(label, "third\nline");
    EXPECT_STREQ(lv_label_get_text(label), "third\nline");
}

TEST_F(LabelText, SameTextIsNotDrawnAgain) {
    for (const char *text : {"first", "", "second", "Gr\xc3\xbc\xc3\x9f", "broken \xff byte", "cut \xe2\x82"}) {
        set_label_text(label, text);
        const char *kept = lv_label_get_text(label);
        EXPECT_EQ(redrawn_after([this, text] { set_label_text(label, text); }), 0u) << text;
        EXPECT_EQ(lv_label_get_text(label), kept) << "set again: " << text;
    }
}

TEST_F(LabelText, OwnTextOfTheLabelIsHarmless) {
    set_label_text(label, lv_label_get_text(label));
    EXPECT_STREQ(lv_label_get_text(label), "first");
}

TEST_F(LabelText, TextIsMadeWholeOnTheWay) {
    set_label_text(label,
                   "a\xff"
                   "b\xc3\xbc\xe2\x82");
    EXPECT_STREQ(lv_label_get_text(label), "a?b\xc3\xbc");
    draw_now();
}

TEST_F(LabelText, LongTextIsCutTo255BytesBetweenLetters) {
    for (size_t length = 250; length <= 260; ++length) {
        set_label_text(label, std::string(length, 'x').c_str());
        EXPECT_EQ(std::string(lv_label_get_text(label)), std::string(std::min<size_t>(length, 255), 'x'));
        for (const char *letter : {"\xc3\xbc", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
            const std::string text = std::string(length, 'y') + letter + letter + "end";
            set_label_text(label, text.c_str());
            EXPECT_EQ(std::string(lv_label_get_text(label)), expected_text(text.substr(0, 255))) << length;
        }
    }
    set_label_text(label, std::string(1000000, 'z').c_str());
    EXPECT_EQ(std::string(lv_label_get_text(label)), std::string(255, 'z'));
    draw_now();
}

TEST_F(LabelText, AlignedTextStandsWhereItShould) {
    struct Place {
        lv_align_t align;
        int column, row; // 0 at the start, 1 in the middle, 2 at the end
    };
    const Place places[] = {
        {LV_ALIGN_IN_TOP_LEFT, 0, 0},    {LV_ALIGN_IN_TOP_MID, 1, 0},    {LV_ALIGN_IN_TOP_RIGHT, 2, 0},
        {LV_ALIGN_IN_LEFT_MID, 0, 1},    {LV_ALIGN_CENTER, 1, 1},        {LV_ALIGN_IN_RIGHT_MID, 2, 1},
        {LV_ALIGN_IN_BOTTOM_LEFT, 0, 2}, {LV_ALIGN_IN_BOTTOM_MID, 1, 2}, {LV_ALIGN_IN_BOTTOM_RIGHT, 2, 2}};
    const auto offset = [](int at, int outer, int inner) {
        return at == 0 ? 0 : at == 1 ? outer / 2 - inner / 2 : outer - inner;
    };
    for (const Place &place : places) {
        for (const char *text : {"a", "", "12.4v", "longer than before", "Min. 11.9"}) {
            set_aligned_text(label, text, place.align, -2, 3);
            EXPECT_STREQ(lv_label_get_text(label), text);
            EXPECT_EQ(lv_obj_get_x(label), offset(place.column, 60, lv_obj_get_width(label)) - 2) << text;
            EXPECT_EQ(lv_obj_get_y(label), offset(place.row, 40, lv_obj_get_height(label)) + 3) << text;
        }
    }
}

TEST_F(LabelText, SameTextInTheSamePlaceIsNotDrawnAgain) {
    set_aligned_text(label, "12.4v", LV_ALIGN_CENTER, 0, 0);
    EXPECT_EQ(redrawn_after([this] { set_aligned_text(label, "12.4v", LV_ALIGN_CENTER, 0, 0); }), 0u);
    EXPECT_GT(redrawn_after([this] { set_aligned_text(label, "12.4v", LV_ALIGN_CENTER, 1, 0); }), 0u);
}

} // namespace
