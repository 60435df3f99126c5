// The framebuffer device from outside: what is printed, at once and exactly, on good, odd and failing
// devices, and that the daemon lives and listens whatever the device is.
#include "golden.h"
#include "support.h"

namespace end_to_end {

static const char *const opened = "The framebuffer device was opened successfully.\n";
static const char *const mapped = "The framebuffer device was mapped to memory successfully.\n";

class Framebuffer : public DaemonTest {
protected:
    void start_on(const desk::Geometry &panel, bool layout = false) {
        desk::Options options;
        options.layout = layout;
        options.panel = panel;
        prepare(options);
        start();
    }

    void start_failing(const std::string &call) {
        desk::Options options;
        options.panel_failure = call;
        prepare(options);
        start();
    }

    // Alive, listening, and the tasks do their work.
    void expect_service() {
        box().set_wifi_link(true);
        command("chan_usb");
        command("chan_timeout");
        desk().advance(2500);
        EXPECT_EQ(desk().log().count("Got Signal"), 2);
        EXPECT_GE(box().count_calls("iw wlan0 info"), 1);
    }

    std::vector<unsigned char> bytes() { return desk().panel().bytes(); }
};

// Standard output is a file here, fully buffered like a pipe: what is there at the first sleep was flushed.
TEST_F(Framebuffer, EachDepthIsReportedAtOnce) {
    for (int depth : {1, 8, 16, 24, 32, 4}) {
        start_on({64, 128, depth, 0, 0, 0});
        EXPECT_EQ(desk().output(), opened + ("64x128, " + std::to_string(depth) + "bpp\n") + mapped);
        EXPECT_EQ(desk().errors(), "");
        expect_service();
    }
}

TEST_F(Framebuffer, OtherSizesAreReported) {
    start_on({1920, 1080, 32, 0, 0, 0});
    EXPECT_EQ(desk().output(), std::string(opened) + "1920x1080, 32bpp\n" + mapped);
    expect_service();
}

// ---- What the device shows

TEST_F(Framebuffer, EightBitsHoldOnePixelAByte) {
    start_on({64, 128, 8, 0, 0, 0});
    run_until(50);
    const panel::Picture wanted = golden(false, "start/start_screen");
    const std::vector<unsigned char> content = bytes();
    for (int y = 0; y < 128; y++) {
        for (int x = 0; x < 64; x++) {
            ASSERT_EQ(content[static_cast<size_t>(y * 64 + x)] & 1, wanted.at(x, y) ? 1 : 0) << x << "," << y;
        }
    }
}

// A block of 16-bit pixels holds two of our one-byte pixels each: the first half of a row is the row itself.
TEST_F(Framebuffer, SixteenBitsAreCopiedAsBlocks) {
    start_on({64, 128, 16, 0, 0, 0});
    run_until(50);
    const panel::Picture wanted = golden(false, "start/start_screen");
    const std::vector<unsigned char> content = bytes();
    for (int y = 0; y < 128; y++) {
        for (int x = 0; x < 64; x++) {
            ASSERT_EQ(content[static_cast<size_t>(y * 128 + x)] & 1, wanted.at(x, y) ? 1 : 0) << x << "," << y;
        }
    }
}

// The same with four of them. A line of 24 bits a pixel is shorter than such a block, so the next row goes
// over its end, and of the last row's block there is as much as fits in. Of 50 rows the last one is a rule.
TEST_F(Framebuffer, ThirtyTwoAndTwentyFourBitsAreCopiedAsBlocksOfFour) {
    const panel::Picture wanted = golden(false, "start/start_screen");
    ASSERT_GT(wanted.part(0, 49, 64, 1).count_lit(), 0);
    for (const auto &[depth, rows] : {std::pair{32, 128}, std::pair{24, 128}, std::pair{24, 50}}) {
        start_on({64, rows, depth, 0, 0, 0});
        run_until(50);
        const std::vector<unsigned char> content = bytes();
        const int line = 64 * depth / 8;
        for (int y = 0; y < rows; y++) {
            for (int x = 0; x < 64; x++) {
                ASSERT_EQ(content[static_cast<size_t>(y * line + x)] & 1, wanted.at(x, y) ? 1 : 0)
                    << depth << ": " << x << "," << y;
            }
        }
    }
}

// A line of 195 bytes is 48 and three quarters of the 4 bytes that count as a pixel: a row begins at the whole pixels
// that all lines above it make together.
TEST_F(Framebuffer, LinesOfBrokenPixels) {
    start_on({65, 128, 24, 195, 0, 0});
    run_until(50);
    const panel::Picture wanted = golden(false, "start/start_screen");
    const std::vector<unsigned char> content = bytes();
    for (int y = 0; y < 128; y++) {
        for (int x = 0; x < 64; x++) {
            ASSERT_EQ(content[static_cast<size_t>(y * 195 / 4 * 4 + x)] & 1, wanted.at(x, y) ? 1 : 0) << x << "," << y;
        }
    }
}

TEST_F(Framebuffer, UnknownDepthCopiesNothing) {
    start_on({64, 128, 4, 0, 0, 0});
    run_until(50);
    for (unsigned char byte : bytes()) ASSERT_EQ(byte, 0);
}

TEST_F(Framebuffer, SmallerPanelClips) {
    start_on({40, 30, 1, 0, 0, 0});
    run_until(2600);
    EXPECT_EQ(desk().picture(), golden(false, "start/icon_row").part(0, 0, 40, 30));
}

TEST_F(Framebuffer, LargerPanelStaysDarkBeside) {
    start_on({200, 150, 1, 0, 0, 0}, true);
    run_until(2600);
    EXPECT_EQ(desk().picture().part(0, 0, 128, 66), golden(true, "start/icon_row"));
    EXPECT_EQ(desk().picture().count_lit(), golden(true, "start/icon_row").count_lit());
}

// Bits are counted by the resolution and not by the line length, and from the device's offset on.
TEST_F(Framebuffer, OffsetsMoveThePicture) {
    start_on({64, 128, 1, 16, 3, 2});
    run_until(50);
    const panel::Picture wanted = golden(false, "start/start_screen");
    const std::vector<unsigned char> content = bytes();
    for (int y = 0; y < 128; y++) {
        for (int x = 0; x < 64; x++) {
            const size_t bit = static_cast<size_t>(x + 3 + (y + 2) * 64);
            ASSERT_EQ(content[bit / 8] >> (bit % 8) & 1, wanted.at(x, y) ? 1 : 0) << x << "," << y;
        }
    }
}

TEST_F(Framebuffer, OffsetBehindTheMappingIsHarmless) {
    for (int depth : {1, 8, 16, 24, 32}) {
        start_on({64, 128, depth, 0, 60, 100000});
        expect_service();
        EXPECT_TRUE(desk().alive()) << depth;
    }
}

// The panel is wider than the layout, so bytes are shared with pixels that the daemon never draws.
TEST_F(Framebuffer, NeighboursInAByteStayUntouched) {
    start_on({200, 150, 1, 0, 0, 0}, true);
    desk().panel().fill(0xff);
    run_until(2600);
    const panel::Picture picture = desk().picture();
    for (int y = 0; y < 150; y++) {
        for (int x = 0; x < 200; x++) {
            if (x < 128 && y < 66) continue;
            ASSERT_TRUE(picture.at(x, y)) << x << "," << y;
        }
    }
}

// ---- Failures

TEST_F(Framebuffer, NoDevice) {
    desk::Options options;
    options.no_panel = true;
    prepare(options);
    start();
    EXPECT_EQ(desk().output(), "");
    EXPECT_EQ(desk().errors(), "Error: cannot open framebuffer device: No such file or directory\n");
    expect_service();
}

TEST_F(Framebuffer, FixedInformationFails) {
    start_failing("fix");
    EXPECT_EQ(desk().output(), opened);
    EXPECT_EQ(desk().errors(), "Error reading fixed information: Input/output error\n");
    expect_service();
}

TEST_F(Framebuffer, VariableInformationFails) {
    start_failing("var");
    EXPECT_EQ(desk().output(), opened);
    EXPECT_EQ(desk().errors(), "Error reading variable information: Invalid argument\n");
    expect_service();
}

TEST_F(Framebuffer, MappingFails) {
    start_failing("mmap");
    EXPECT_EQ(desk().output(), std::string(opened) + "64x128, 1bpp\n");
    EXPECT_EQ(desk().errors(), "Error: failed to map framebuffer device to memory: Invalid argument\n");
    expect_service();
}

TEST_F(Framebuffer, NothingReachesAFailedDevice) {
    for (const char *call : {"fix", "var", "mmap"}) {
        start_failing(call);
        run_until(2600);
        EXPECT_EQ(desk().picture().count_lit(), 0) << call;
    }
}

// ---- The clock's wrap

// Every 71.6 minutes the 32-bit microseconds jump back: one irregular step, and everything goes on.
TEST_F(Framebuffer, ClockWrapIsOneIrregularStep) {
    desk::Options options;
    options.layout = true;
    options.origin_us = desk::Clock::origin_before_wrap(5000);
    prepare(options);
    start();
    run_until(4900);
    const panel::Picture before = desk().picture();
    run_until(5100);
    EXPECT_EQ(desk().picture().part(0, 0, 105, 66), before.part(0, 0, 105, 66));
    command("chan_usb");
    EXPECT_EQ(shown_view(desk()), "usb");
    command("M4_ready");
    EXPECT_EQ(shown_mode(desk()), "READY");
    desk().send_and_settle("cd_update", {10, "TYPE"}, 5300);
    EXPECT_TRUE(overlay_shown(desk()));
}

} // namespace end_to_end
