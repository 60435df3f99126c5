// Frames in memory: raw bytes, PBM, and framebuffer devices, whose ioctl is the test's own.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>

#include <gtest/gtest.h>

#include "support.h"
#include "tools/errors.h"
#include "tools/frame_source.h"

using namespace client;
using namespace displayctl;
using namespace panel;
using namespace tools_test;

// ---- A stand-in for the kernel's answer about a framebuffer ----

static const fb_var_screeninfo *device_answer; // null: not a framebuffer

extern "C" int __wrap_ioctl(int, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *answer = va_arg(arguments, void *);
    va_end(arguments);
    if (request == FBIOGET_VSCREENINFO && device_answer != nullptr) {
        memcpy(answer, device_answer, sizeof *device_answer);
        return 0;
    }
    errno = ENOTTY;
    return -1;
}

class Device : public testing::Test {
protected:
    Device() {
        memset(&info, 0, sizeof info);
        info.bits_per_pixel = 1;
        device_answer = &info;
    }
    ~Device() override { device_answer = nullptr; }
    void set_resolution(Size size) {
        info.xres = unsigned(size.width);
        info.yres = unsigned(size.height);
    }
    fb_var_screeninfo info;
    Folder folder;
};

static std::string message_of(const std::function<void()> &action) {
    try {
        action();
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "(no failure)";
}

#define EXPECT_SAYS(part, ...) \
    EXPECT_NE(message_of([&] { __VA_ARGS__; }).find(part), std::string::npos) << message_of([&] { __VA_ARGS__; })

// ---- Raw ----

TEST(RawFrame, BitsCountFromTheLeastSignificant) {
    std::string bytes(1024, '\0');
    bytes[0] = 0x01;          // (0, 0)
    bytes[8] = char(0x80);    // (7, 1)
    bytes[1023] = char(0x80); // the last one
    const Picture frame = Picture::from_raw(bytes, DEVICE_SIZE);
    EXPECT_TRUE(frame.at(0, 0));
    EXPECT_FALSE(frame.at(1, 0));
    EXPECT_TRUE(frame.at(7, 1));
    EXPECT_TRUE(frame.at(63, 127));
    EXPECT_EQ(frame.count_lit(), 3);
}

TEST(RawFrame, RowsFollowWithoutGaps) {
    const Picture frame = pattern({10, 3});
    EXPECT_EQ(raw_length(frame.size()), 4u);
    EXPECT_EQ(Picture::from_raw(raw_of(frame), frame.size()), frame);
}

TEST(RawFrame, TooShortIsAFailure) {
    EXPECT_SAYS("there are only 1023", Picture::from_raw(std::string(1023, '\0'), DEVICE_SIZE));
    EXPECT_SAYS("there are only 0", Picture::from_raw("", DEVICE_SIZE));
}

TEST(AnyFrame, TheLengthTellsTheSize) {
    for (const Size size : {Size{64, 128}, Size{128, 66}}) {
        const Picture frame = pattern(size);
        EXPECT_EQ(Picture::from_bytes(raw_of(frame), std::nullopt), frame);
    }
}

TEST(AnyFrame, MemoryPagesBeginWithTheDevicesFrame) {
    const Picture frame = pattern(DEVICE_SIZE);
    size_t unused = 0;
    EXPECT_EQ(Picture::from_bytes(raw_of(frame) + std::string(3072, 'x'), std::nullopt, &unused), frame);
    EXPECT_EQ(unused, 3072u);
}

TEST(AnyFrame, OtherLengthsNeedASize) {
    const Picture frame = pattern({32, 32});
    EXPECT_SAYS("give its size with --size", Picture::from_bytes(raw_of(frame), std::nullopt));
    EXPECT_SAYS("give its size with --size", Picture::from_bytes("", std::nullopt));
    EXPECT_EQ(Picture::from_bytes(raw_of(frame), frame.size()), frame);
}

// "P1" and what makes it look like a PBM are pixels as good as any.
TEST(AnyFrame, ARawFrameMayBeginLikeAPbm) {
    for (const std::string beginning : {"P1\n", "P1#", "P1 8 8 "}) {
        for (const Size size : {DEVICE_SIZE, LAYOUT_SIZE, Size{40, 32}}) {
            std::string bytes(raw_length(size), '\0');
            bytes.replace(0, beginning.size(), beginning);
            for (const bool told_by_length : {true, false}) {
                if (told_by_length && size.width == 40) continue;
                const Picture frame = Picture::from_bytes(bytes, told_by_length ? std::nullopt : std::optional(size));
                EXPECT_EQ(frame.height(), size.height);
                EXPECT_EQ(raw_of(frame), bytes);
            }
        }
    }
}

// ---- PBM ----

TEST(Pbm, OneIsALitPixel) {
    const Picture frame = Picture::from_pbm("P1\n3 2\n1 0 1\n0 1 0\n");
    EXPECT_EQ(frame.width(), 3);
    for (int i = 0; i < 6; i++) EXPECT_EQ(frame.at(i % 3, i / 3), i % 2 == 0) << i;
}

TEST(Pbm, CommentsAndSpacingDoNotMatter) {
    const Picture plain = Picture::from_pbm("P1\n3 2\n101010\n");
    for (const char *text :
         {"P1 3 2 1 0 1 0 1 0", "P1#x\n# 9 9\n3 # width\n2\n10\n10\n1 0", "P1\r\n3 2\r\n101\r\n010\r\n",
          "P1\n3 2\n101\n# between\n010\n", "P1\n3 2\n101010 # and more\n"}) {
        EXPECT_EQ(Picture::from_pbm(text), plain) << text;
    }
}

TEST(Pbm, ComesBackAsItWent) {
    for (const Size size : {Size{64, 128}, Size{128, 66}, Size{1, 1}, Size{7, 3}}) {
        const Picture frame = pattern(size);
        EXPECT_EQ(Picture::from_pbm(frame.to_pbm()), frame);
        EXPECT_EQ(Picture::from_bytes(frame.to_pbm(), std::nullopt), frame);
    }
}

TEST(Pbm, IsOnePanelRowALine) {
    const std::string text = Picture::from_pbm("P1\n3 2\n101010\n").to_pbm();
    EXPECT_NE(text.find("\n3 2\n101\n010\n"), std::string::npos) << text;
}

TEST(Pbm, FlawsAreFailures) {
    for (const char *text :
         {"", "P4\n3 2\n\x40\x40", "P1", "P1\n", "P1\n3", "P1\n3 2\n", "P1\n3 2\n10101", "P1\n3 2\n10x010", "P1\n0 2\n",
          "P1\n-3 2\n101010", "P1\n4097 1\n1", "P1\n99999999999999999999 2\n10", "P1\n3 2\n101# cut"}) {
        EXPECT_THROW(Picture::from_pbm(text), Failure) << text;
    }
}

// ---- Devices ----

TEST_F(Device, TellsItsOwnSize) {
    const Picture frame = pattern({40, 30});
    set_resolution(frame.size());
    const std::string path = folder.write("fb", raw_of(frame) + std::string(100, 'x'));
    EXPECT_EQ(read_frame(path, std::nullopt), frame);
    EXPECT_EQ(read_frame(path, Size{64, 128}), frame);
}

TEST_F(Device, OffsetsAreCountedInVisibleRows) {
    const Picture frame = pattern({64, 128});
    set_resolution(frame.size());
    info.xoffset = 3;
    info.yoffset = 2;
    Picture memory(64, 140);
    for (int i = 0; i < 64 * 128; i++) {
        const int place = 3 + 2 * 64 + i;
        memory.set(place % 64, place / 64, frame.at(i % 64, i / 64));
    }
    EXPECT_EQ(read_frame(folder.write("fb", raw_of(memory)), std::nullopt), frame);
}

TEST_F(Device, OtherDepthsAreFailures) {
    set_resolution({64, 128});
    info.bits_per_pixel = 32;
    const std::string path = folder.write("fb", std::string(64 * 128 * 4, 'x'));
    EXPECT_SAYS("32 bits per pixel", read_frame(path, std::nullopt));
    EXPECT_SAYS(path, read_frame(path, std::nullopt));
}

TEST_F(Device, ImpossibleGeometryIsAFailure) {
    const std::string path = folder.write("fb", std::string(1024, 'x'));
    set_resolution({0, 128});
    EXPECT_SAYS("right device", read_frame(path, std::nullopt));
    set_resolution({64, 128});
    info.xres = 0xffffffffu;
    EXPECT_SAYS("right device", read_frame(path, std::nullopt));
    set_resolution({64, 128});
    info.yoffset = 0xffffffffu;
    EXPECT_SAYS("right device", read_frame(path, std::nullopt));
}

TEST_F(Device, TooLittleMemoryIsAFailure) {
    set_resolution({64, 128});
    EXPECT_SAYS("there are only 1000", read_frame(folder.write("fb", std::string(1000, 'x')), std::nullopt));
}

TEST(Files, OtherDevicesAndMissingFilesAreFailures) {
    EXPECT_SAYS("no framebuffer", read_frame("/dev/null", std::nullopt));
    EXPECT_SAYS("/nonexistent: can't open it: No such file", read_frame("/nonexistent", std::nullopt));
    EXPECT_SAYS("directory", read_frame("/tmp", std::nullopt));
}
