// Texts on their way into LVGL labels; see label_text.h.
#include "screen/label_text.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

// Length of the well-formed UTF-8 sequence at `text` (RFC 3629), 0 if there is none. `*cut` tells whether
// what stands there is the beginning of one that the end of the text cut off.
static size_t sequence_length(const char *text, bool *cut) {
    const auto *byte = reinterpret_cast<const uint8_t *>(text);
    *cut = false;
    if (byte[0] < 0x80) return 1;
    if (byte[0] < 0xC2 || byte[0] > 0xF4) return 0;
    const size_t length = byte[0] < 0xE0 ? 2 : byte[0] < 0xF0 ? 3 : 4;

    // The second byte's range excludes overlong forms, surrogates and what lies beyond U+10FFFF.
    uint8_t low = 0x80, high = 0xBF;
    if (byte[0] == 0xE0) low = 0xA0;
    if (byte[0] == 0xED) high = 0x9F;
    if (byte[0] == 0xF0) low = 0x90;
    if (byte[0] == 0xF4) high = 0x8F;
    for (size_t i = 1; i < length; i++) {
        *cut = byte[i] == '\0';
        if (byte[i] < low || byte[i] > high) return 0;
        low = 0x80;
        high = 0xBF;
    }
    return length;
}

void make_whole_utf8(char *text) {
    while (*text != '\0') {
        bool cut;
        const size_t length = sequence_length(text, &cut);
        if (length == 0 && cut) {
            *text = '\0';
            return;
        }
        if (length == 0) *text = '?';
        text += length == 0 ? 1 : length;
    }
}

void set_label_text(lv_obj_t *label, const char *text) {
    if (label == nullptr) return;
    char shown[256];
    snprintf(shown, sizeof shown, "%s", text);
    make_whole_utf8(shown);
    if (strcmp(lv_label_get_text(label), shown) != 0) lv_label_set_text(label, shown);
}

void set_aligned_text(lv_obj_t *label, const char *text, lv_align_t align, lv_coord_t x, lv_coord_t y) {
    if (label == nullptr) return;
    set_label_text(label, text);
    lv_obj_align(label, nullptr, align, x, y);
}
