// What the scenarios' pictures must also be equal to: comparisons with a part of a picture, after each of many words,
// or of a box that no line of a scenario can make.
#include "golden.h"
#include "support.h"

namespace end_to_end {

class Pictures : public BothPanels {
protected:
    void start_production() {
        box().set_production();
        start();
        run_until(50);
    }
};

INSTANTIATE_TEST_SUITE_P(, Pictures, ::testing::Bool(), panel_name);

// What lies inside a box's frame; beside it the screen below lives on.
static panel::Picture inside(const panel::Picture &picture) { return picture.part(8, 8, 92, 46); }

TEST_P(Pictures, BarOfNoLengthStaysEmpty) {
    prepare_and_start();
    desk().send_and_settle("M4_update", {}, 50);
    EXPECT_EQ(desk().picture(), golden(GetParam(), "firmware/firmware_without_type"));
    desk().advance(5000);
    EXPECT_EQ(inside(desk().picture()), inside(golden(GetParam(), "firmware/firmware_without_type")));
}

TEST_P(Pictures, IdentityWithoutLineEnds) {
    prepare();
    box().write("/rodata/serial_number", "SERIAL WITHOUT NEWLINE");
    box().write("/rodata/bluetooth_name", "a=b=LAST VALUE\nsecond=line\n");
    start_production();
    EXPECT_EQ(desk().picture(), golden(GetParam(), "edges/production_odd_identity"));
}

TEST_P(Pictures, ChannelsAndModesDrawNothingOnTheProductionScreen) {
    prepare();
    start_production();
    for (const char *word : {"chan_usb", "chan_bt", "chan_ap", "chan_vpn", "chan_sta", "chan_timeout", "p_off", "p_on",
                             "M4_COMM", "M4_ready", "REC_ON", "REC_OFF", "DoIP_on", "M4_J2534"}) {
        command(word);
        EXPECT_EQ(desk().picture(), golden(GetParam(), "start/production")) << word;
    }
}

} // namespace end_to_end
