// Whatever is given to be looked at: a PBM, a raw frame of any size; drawn in all ways.
#include <fuzzer/FuzzedDataProvider.h>

#include <stdlib.h>

#include "panel/drawing.h"
#include "panel/failure.h"
#include "panel/picture.h"

static void look_at(const panel::Picture &picture) {
    if (picture.width() * picture.height() > 100000) return;
    for (const panel::Marks marks :
         {panel::Marks::half_blocks, panel::Marks::braille, panel::Marks::ascii, panel::Marks::coarse_ascii}) {
        panel::drawn(picture, marks);
    }
    panel::rows_that_matter(picture);
    if (picture != panel::Picture::from_pbm(picture.to_pbm())) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider bytes(data, size);
    const bool raw = bytes.ConsumeBool();
    const panel::Size geometry{bytes.ConsumeIntegralInRange(0, 300), bytes.ConsumeIntegralInRange(0, 300)};
    const auto first_bit = bytes.ConsumeIntegralInRange<size_t>(0, 64);
    const std::string text = bytes.ConsumeRemainingBytesAsString();
    try {
        look_at(raw ? panel::Picture::from_raw(text, geometry, first_bit) : panel::Picture::from_pbm(text));
    } catch (const panel::Failure &) {
    }
    return 0;
}
