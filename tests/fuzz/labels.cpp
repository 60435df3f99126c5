// Any text through a label as the display makes them, in each font, drawn.
#include "display.h"
#include "screen/art.h"
#include "screen/widgets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const lv_font_t *const fonts[] = {&font_8, &font_16, &font_32};
    FuzzedDataProvider bytes(data, size);
    Display display;
    display.start(Start::status);
    static lv_style_t style;
    style_set_black_ground(&style);
    style_set_text(&style, bytes.PickValueInArray(fonts));
    lv_obj_t *label = create_label(active_screen(), &style, "", LV_ALIGN_IN_TOP_LEFT);
    for (int i = 0; i < 10 && bytes.remaining_bytes() > 0; i++) {
        const std::string text = bytes.ConsumeRandomLengthString(600);
        if (bytes.ConsumeBool()) {
            set_label_text(label, text.c_str());
        } else {
            set_aligned_text(label, text.c_str(), LV_ALIGN_CENTER, bytes.ConsumeIntegralInRange<lv_coord_t>(-20, 20),
                             0);
        }
        draw_now();
    }
    lv_obj_del(label);
    return 0;
}
