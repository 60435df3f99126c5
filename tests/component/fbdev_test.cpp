// The framebuffer driver: what it says and does when it starts, and which bytes a flush changes.
//
// The driver keeps its device for the life of a process, so each device has a child process of its own. The
// mapped bytes lie between two pages that nobody may touch.
#include "support.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

#include <display/fbdev.h>

#include "fbdev_device.h"

namespace {

// ---- Flushing

// LVGL marks the buffer as being flushed; the acknowledgement takes that back.
static bool flush(lv_coord_t x1, lv_coord_t y1, lv_coord_t x2, lv_coord_t y2, lv_color_t *pixels) {
    lv_disp_buf_t buffer = {};
    buffer.flushing = 1;
    lv_disp_drv_t driver = {};
    driver.buffer = &buffer;
    const lv_area_t area = {x1, y1, x2, y2};
    fbdev_flush(&driver, &area, pixels);
    return buffer.flushing == 0;
}

static std::vector<lv_color_t> noise(size_t count) {
    std::vector<lv_color_t> pixels(count);
    uint32_t seed = 12345;
    for (lv_color_t &each : pixels) {
        seed = seed * 1664525u + 1013904223u;
        each.full = static_cast<uint8_t>(seed >> 24);
    }
    return pixels;
}

static std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (const std::string &part : parts) text += part + ", ";
    return text;
}

// Opens the device and flushes twice the whole panel and a bit more; reports the calls and the
// acknowledgements.
static std::string open_and_flush() {
    device.present = true;
    device.memory = guarded(device.line_length * device.yres, true);
    std::vector<lv_color_t> pixels = noise(200 * 200 * 4);
    fbdev_init();
    const bool acknowledged = flush(0, 0, 63, 127, pixels.data()) && flush(-5, -5, 150, 150, pixels.data());
    return joined(device.calls) + (acknowledged ? "acknowledged" : "not acknowledged");
}

static const std::string OPENED = "The framebuffer device was opened successfully.\n";
static const std::string MAPPED = "The framebuffer device was mapped to memory successfully.\n";

TEST(FbdevInit, SaysWhatItOpened) {
    const ChildOutcome outcome = in_child(open_and_flush);
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.out, OPENED + "64x128, 1bpp\n" + MAPPED);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.report, "open rw, fixed, variable, map 1024 rw shared at 0, acknowledged");
}

TEST(FbdevInit, MapsWholeLinesOfTheDevice) {
    const ChildOutcome outcome = in_child([] {
        device.xres = 321, device.yres = 77, device.bits = 16, device.line_length = 1028;
        return open_and_flush();
    });
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.out, OPENED + "321x77, 16bpp\n" + MAPPED);
    EXPECT_EQ(outcome.report, "open rw, fixed, variable, map 79156 rw shared at 0, acknowledged");
}

// One failing call: what was said before it, the reason in the system's words, and nothing is tried
// afterwards.
struct Failure {
    int FakeDevice::*error;
    int number;
    std::string said, complained, calls;
};

TEST(FbdevInit, EachFailureIsNamedAndSurvived) {
    const std::string size = "64x128, 1bpp\n";
    const Failure failures[] = {
        {&FakeDevice::open_error, ENOENT, "", "Error: cannot open framebuffer device", "open rw, "},
        {&FakeDevice::open_error, EACCES, "", "Error: cannot open framebuffer device", "open rw, "},
        {&FakeDevice::fixed_error, ENOTTY, OPENED, "Error reading fixed information", "open rw, fixed, "},
        {&FakeDevice::variable_error, EIO, OPENED, "Error reading variable information", "open rw, fixed, variable, "},
        {&FakeDevice::map_error, ENODEV, OPENED + size, "Error: failed to map framebuffer device to memory",
         "open rw, fixed, variable, map 1024 rw shared at 0, "},
    };
    for (const Failure &failure : failures) {
        SCOPED_TRACE(failure.complained);
        const auto body = [&failure] {
            device.*failure.error = failure.number;
            return open_and_flush();
        };
        const ChildOutcome outcome = in_child(body);
        const std::string complaint = failure.complained + ": " + strerror(failure.number) + "\n";
        EXPECT_TRUE(outcome.survived);
        EXPECT_EQ(outcome.out, failure.said);
        EXPECT_EQ(outcome.err, complaint);
        EXPECT_EQ(outcome.report, failure.calls + "acknowledged");
        EXPECT_EQ(in_child(body, true).out, failure.said + complaint);
    }
}

TEST(FbdevInit, FlushBeforeItIsAcknowledged) {
    const ChildOutcome outcome = in_child([] {
        std::vector<lv_color_t> pixels = noise(64 * 128);
        return std::string(flush(0, 0, 63, 127, pixels.data()) ? "acknowledged" : "forgotten");
    });
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.report, "acknowledged");
}

TEST(FbdevInit, DisplayGoesOnWithoutADevice) {
    const ChildOutcome outcome = in_child([] {
        device.present = true;
        device.open_error = ENOENT;
        fbdev_init();
        lv_init();
        static lv_disp_buf_t buffer;
        static lv_color_t pixels[64 * 128];
        lv_disp_buf_init(&buffer, pixels, nullptr, 64 * 128);
        lv_disp_drv_t driver;
        lv_disp_drv_init(&driver);
        driver.buffer = &buffer;
        driver.flush_cb = fbdev_flush;
        lv_disp_drv_register(&driver);
        run_for(100);
        return std::string("drawn");
    });
    EXPECT_TRUE(outcome.survived) << outcome.err;
    EXPECT_EQ(outcome.report, "drawn");
}

// ---- The copy, against a reference that goes byte by byte

static uint32_t bytes_of_a_pixel() { return device.bits >= 24 ? 4 : device.bits / 8; }

using Bytes = std::vector<uint8_t>;

static void expect_bit(Bytes &expected, uint64_t index, bool lit) {
    if (index / 8 >= expected.size()) return;
    const uint8_t mask = static_cast<uint8_t>(1u << (index % 8));
    uint8_t &byte = expected[index / 8];
    byte = static_cast<uint8_t>(lit ? byte | mask : byte & ~mask);
}

// A block that does not fit into the mapping is cut to what does.
static void expect_block(Bytes &expected, uint64_t at, const uint8_t *source, uint64_t length) {
    for (uint64_t i = 0; i < length && at + i < expected.size(); ++i) expected[at + i] = source[i];
}

static void expect_area(Bytes &expected, int x1, int y1, int x2, int y2, const std::vector<lv_color_t> &pixels) {
    const int xres = static_cast<int>(device.xres), yres = static_cast<int>(device.yres);
    if (x2 < 0 || y2 < 0 || x1 >= xres || y1 >= yres || x2 < x1 || y2 < y1) return;
    const int left = std::max(x1, 0), top = std::max(y1, 0);
    const int right = std::min(x2, xres - 1), bottom = std::min(y2, yres - 1);
    for (int y = top; y <= bottom; ++y) {
        const lv_color_t *row = pixels.data() + (y - top) * (x2 - x1 + 1);
        const uint64_t first = static_cast<uint64_t>(left) + device.xoffset;
        const uint64_t line = static_cast<uint64_t>(y) + device.yoffset;
        if (device.bits == 1) {
            for (int x = left; x <= right; ++x) {
                const uint64_t index = first + static_cast<uint64_t>(x - left) + line * device.xres;
                expect_bit(expected, index, (row[x - left].full & 1) != 0);
            }
        } else if (device.bits == 8 || device.bits == 16 || device.bits == 24 || device.bits == 32) {
            const uint64_t size = bytes_of_a_pixel();
            expect_block(expected, (first + line * device.line_length / size) * size,
                         reinterpret_cast<const uint8_t *>(row), static_cast<uint64_t>(right - left + 1) * size);
        }
    }
}

static std::string area_text(int x1, int y1, int x2, int y2) {
    return "area " + std::to_string(x1) + "," + std::to_string(y1) + " to " + std::to_string(x2) + "," +
           std::to_string(y2);
}

// Flushes one area onto a background and compares every mapped byte.
static std::string try_area(int x1, int y1, int x2, int y2, uint8_t background, std::vector<lv_color_t> &pixels) {
    const size_t size = device.line_length * device.yres;
    memset(device.memory, background, size);
    Bytes expected(size, background);
    expect_area(expected, x1, y1, x2, y2, pixels);
    const bool acknowledged = flush(static_cast<lv_coord_t>(x1), static_cast<lv_coord_t>(y1),
                                    static_cast<lv_coord_t>(x2), static_cast<lv_coord_t>(y2), pixels.data());
    if (!acknowledged) return area_text(x1, y1, x2, y2) + " is not acknowledged";
    for (size_t i = 0; i < size; ++i) {
        if (device.memory[i] != expected[i]) {
            return area_text(x1, y1, x2, y2) + ": byte " + std::to_string(i) + " is " +
                   std::to_string(device.memory[i]) + ", expected " + std::to_string(expected[i]);
        }
    }
    return "";
}

// Every area whose corners lie around the device, the inverted ones too, on a black and on a white background.
static std::string try_all_areas() {
    device.present = true;
    std::vector<lv_color_t> pixels = noise(4096);
    for (bool at_the_end : {true, false}) {
        device.memory = guarded(device.line_length * device.yres, at_the_end);
        fbdev_init();
        const int right = static_cast<int>(device.xres) + 2, bottom = static_cast<int>(device.yres) + 2;
        for (int x1 = -3; x1 <= right; ++x1)
            for (int x2 = -3; x2 <= right; ++x2)
                for (int y1 = -3; y1 <= bottom; ++y1)
                    for (int y2 = -3; y2 <= bottom; ++y2)
                        for (uint8_t background : {0x00, 0xff}) {
                            const std::string wrong = try_area(x1, y1, x2, y2, background, pixels);
                            if (!wrong.empty()) return wrong;
                        }
    }
    return "right";
}

static void expect_all_areas_right(FakeDevice wanted) {
    const std::string name = std::to_string(wanted.bits) + " bits, " + std::to_string(wanted.xres) + "x" +
                             std::to_string(wanted.yres) + ", lines of " + std::to_string(wanted.line_length) +
                             ", offset " + std::to_string(wanted.xoffset) + "," + std::to_string(wanted.yoffset);
    const ChildOutcome outcome = in_child([&wanted] {
        device = wanted;
        return try_all_areas();
    });
    EXPECT_TRUE(outcome.survived) << name << "\n" << outcome.err;
    EXPECT_EQ(outcome.report, "right") << name;
}

static FakeDevice geometry(uint32_t bits, uint32_t xres, uint32_t yres, uint32_t line_length) {
    FakeDevice wanted;
    wanted.bits = bits, wanted.xres = xres, wanted.yres = yres, wanted.line_length = line_length;
    return wanted;
}

class FbdevDepth : public ::testing::TestWithParam<uint32_t> {};

TEST_P(FbdevDepth, EveryAreaAroundTheDevice) {
    const uint32_t bytes = std::max(GetParam(), 8u) / 8 + (GetParam() == 24 ? 1 : 0);
    for (uint32_t offset : {0u, 1u, 3u, 1000u}) {
        FakeDevice wanted = geometry(GetParam(), 10, 4, 12 * bytes);
        wanted.xoffset = offset;
        expect_all_areas_right(wanted);
        wanted.yoffset = offset;
        expect_all_areas_right(wanted);
        wanted.xoffset = 0;
        expect_all_areas_right(wanted);
    }
}

// 4 bits are not supported: nothing is copied, everything is acknowledged.
INSTANTIATE_TEST_SUITE_P(Fbdev, FbdevDepth, ::testing::Values(1, 4, 8, 16, 24, 32));

// A pixel of 24 bits counts as 4 bytes, and a line need not be a whole number of them.
TEST(FbdevBlocks, LinesOfBrokenPixels) {
    expect_all_areas_right(geometry(24, 10, 4, 30));
    expect_all_areas_right(geometry(24, 9, 7, 27));
    expect_all_areas_right(geometry(32, 6, 6, 27));
    expect_all_areas_right(geometry(32, 5, 5, 22));
    expect_all_areas_right(geometry(16, 7, 6, 15));
    FakeDevice moved = geometry(24, 9, 7, 27);
    moved.xoffset = 2, moved.yoffset = 3;
    expect_all_areas_right(moved);
}

// Offsets at which 32 bits count from the beginning again.
TEST(FbdevBlocks, FarOffsetsDoNotComeBack) {
    for (uint32_t bits : {1u, 8u, 16u, 24u, 32u}) {
        FakeDevice wanted = geometry(bits, 16, 4, bits == 1 ? 8 : 64);
        for (uint32_t offset : {1u << 26, 1u << 28, 1u << 30, 1u << 31, UINT32_MAX}) {
            wanted.xoffset = 0;
            wanted.yoffset = offset;
            expect_all_areas_right(wanted);
        }
        wanted.xoffset = UINT32_MAX;
        expect_all_areas_right(wanted);
        wanted.yoffset = 0;
        expect_all_areas_right(wanted);
    }
}

// The sizes a panel may have, by a few areas: all of it, single rows and columns, the corners.
TEST(FbdevBlocks, WholePanels) {
    for (const FakeDevice &wanted : {geometry(24, 64, 128, 192), geometry(24, 65, 128, 195), geometry(32, 64, 128, 256),
                                     geometry(16, 65, 128, 131), geometry(8, 65, 128, 65)}) {
        const ChildOutcome outcome = in_child([&wanted] {
            device = wanted;
            device.present = true;
            device.memory = guarded(device.line_length * device.yres, true);
            fbdev_init();
            std::vector<lv_color_t> pixels = noise(140 * 140 * 4);
            const int right = static_cast<int>(device.xres) - 1;
            for (int y = 0; y < 128; ++y) {
                for (const std::vector<int> &a : std::vector<std::vector<int>>{{0, y, right, y},
                                                                               {0, 0, right, y},
                                                                               {0, y, right, 127},
                                                                               {right, y, right, 127},
                                                                               {-9, y, 130, 130}}) {
                    const std::string wrong = try_area(a[0], a[1], a[2], a[3], 0x55, pixels);
                    if (!wrong.empty()) return wrong;
                }
            }
            return std::string("right");
        });
        EXPECT_TRUE(outcome.survived) << outcome.err;
        EXPECT_EQ(outcome.report, "right") << wanted.xres << " at " << wanted.bits;
    }
}

TEST(FbdevBits, IndexGoesByResolutionNotByLineLength) {
    expect_all_areas_right(geometry(1, 10, 4, 2));
    expect_all_areas_right(geometry(1, 8, 3, 4));
    expect_all_areas_right(geometry(1, 7, 5, 1));
}

// Rows that run on from the mapping's last byte into the first one behind it, which may not be touched.
TEST(FbdevBits, PixelsBehindTheMappingAreLeftOut) {
    for (uint32_t yoffset : {1u, 2u, 3u, 4u}) {
        FakeDevice wanted = geometry(1, 10, 4, 2);
        wanted.yoffset = yoffset;
        expect_all_areas_right(wanted);
    }
}

TEST(FbdevBits, EachPixelAloneLeavesItsNeighbours) {
    const ChildOutcome outcome = in_child([] {
        device = geometry(1, 21, 9, 3);
        device.present = true;
        device.memory = guarded(27, true);
        fbdev_init();
        for (int value = 0; value < 256; ++value) {
            std::vector<lv_color_t> pixels = noise(1);
            pixels[0].full = static_cast<uint8_t>(value);
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 21; ++x)
                    for (uint8_t background : {0x00, 0xff, 0xa5}) {
                        const std::string wrong = try_area(x, y, x, y, background, pixels);
                        if (!wrong.empty()) return "value " + std::to_string(value) + ", " + wrong;
                    }
        }
        return std::string("right");
    });
    EXPECT_TRUE(outcome.survived) << outcome.err;
    EXPECT_EQ(outcome.report, "right");
}

TEST(FbdevBits, PixelZeroIsTheLeastSignificantBit) {
    const ChildOutcome outcome = in_child([] {
        device.present = true;
        device.memory = guarded(1024, true);
        fbdev_init();
        std::vector<lv_color_t> pixels = noise(1);
        pixels[0].full = 1;
        flush(0, 0, 0, 0, pixels.data());
        flush(15, 0, 15, 0, pixels.data());
        flush(8, 1, 8, 1, pixels.data());
        return std::to_string(device.memory[0]) + " " + std::to_string(device.memory[1]) + " " +
               std::to_string(device.memory[9]);
    });
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.report, "1 128 1");
}

TEST(FbdevClip, FarAwayCornersAndEmptyDevices) {
    const ChildOutcome outcome = in_child([] {
        device.present = true;
        device.memory = guarded(1024, true);
        fbdev_init();
        std::vector<lv_color_t> pixels = noise(128 * 32768 * 2);
        for (const std::vector<int> &a : std::vector<std::vector<int>>{{-32768, 0, -1, 127},
                                                                       {64, 0, 32767, 127},
                                                                       {0, -32768, 63, -1},
                                                                       {0, 128, 63, 32767},
                                                                       {-32000, 0, 500, 127},
                                                                       {0, 0, 32767, 127},
                                                                       {0, -100, 0, 32000}}) {
            const std::string wrong = try_area(a[0], a[1], a[2], a[3], 0x55, pixels);
            if (!wrong.empty()) return wrong;
        }
        device.xres = device.yres = 0;
        fbdev_init();
        return std::string(flush(0, 0, 63, 127, pixels.data()) ? "right" : "not acknowledged");
    });
    EXPECT_TRUE(outcome.survived) << outcome.err;
    EXPECT_EQ(outcome.report, "right");
}

} // namespace
