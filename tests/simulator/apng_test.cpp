// PNG files, still and moving: well-formed, and the pixels that were put in.
#include <gtest/gtest.h>

#include "simulator/scenario/apng.h"

#include "png_reader.h"

using namespace simulator_test;

// Some pixels that no mirrored or shifted copy of equals.
static panel::Picture pattern(int width, int height, int seed) {
    panel::Picture picture(width, height);
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) picture.set(x, y, (x * 7 + y * 13 + x * y * seed) % 5 == 0);
    }
    return picture;
}

TEST(Png, HoldsThePixelsOfEachPanel) {
    for (const auto &[width, height] : {std::pair{64, 128}, std::pair{128, 66}, std::pair{13, 9}, std::pair{1, 1}}) {
        const panel::Picture picture = pattern(width, height, 3);
        const Png png = read_png(desk::to_png(picture));
        ASSERT_EQ(png.problem, "");
        ASSERT_EQ(png.frames.size(), 1u);
        EXPECT_FALSE(png.animated);
        EXPECT_EQ(png.frames[0].shown, picture);
    }
}

TEST(Png, EnlargesEachPixelToABlock) {
    const panel::Picture picture = pattern(128, 66, 2);
    const Png png = read_png(desk::to_png(picture, 4));
    ASSERT_EQ(png.problem, "");
    EXPECT_EQ(png.width, 512);
    EXPECT_EQ(png.height, 264);
    EXPECT_EQ(reduced(png.frames[0].shown, 4), picture);
}

TEST(AnimatedPng, ComposesToEachPicture) {
    std::vector<panel::Picture> pictures = {pattern(40, 30, 1)};
    for (int i = 0; i < 6; i++) {
        panel::Picture next = pictures.back();
        next.set(3 + 5 * i, 2 + 4 * i, !next.at(3 + 5 * i, 2 + 4 * i));
        next.set(39, 29, i % 2 == 0);
        pictures.push_back(next);
    }
    desk::AnimatedPng film(4);
    for (const panel::Picture &picture : pictures) film.add(picture, 250);
    const Png png = read_png(film.bytes(4000));
    ASSERT_EQ(png.problem, "");
    EXPECT_TRUE(png.animated);
    ASSERT_EQ(png.frames.size(), pictures.size());
    for (size_t i = 0; i < pictures.size(); i++) {
        EXPECT_EQ(reduced(png.frames[i].shown, 4), pictures[i]) << "frame " << i;
    }
    EXPECT_EQ(png.frames[0].delay_ms, 250);
    EXPECT_EQ(png.frames.back().delay_ms, 4000);
}

TEST(AnimatedPng, StandsAFrameThatChangesNothing) {
    desk::AnimatedPng film(1);
    film.add(pattern(20, 10, 1), 0);
    film.add(pattern(20, 10, 1), 100);
    film.add(panel::Picture(20, 10), 1000000);
    const Png png = read_png(film.bytes(1));
    ASSERT_EQ(png.problem, "");
    ASSERT_EQ(png.frames.size(), 3u);
    EXPECT_EQ(png.frames[1].shown, pattern(20, 10, 1));
    EXPECT_EQ(png.frames[2].shown, panel::Picture(20, 10));
    EXPECT_EQ(png.frames[1].delay_ms, 65535) << "as long as the format can say";
}

TEST(AnimatedPng, StaysSmallWhenLittleMoves) {
    panel::Picture picture = pattern(200, 140, 1);
    desk::AnimatedPng film(4);
    film.add(picture, 0);
    const size_t alone = film.bytes(1).size();
    for (int i = 0; i < 100; i++) {
        picture.set(100, 70, i % 2 == 0);
        film.add(picture, 100);
    }
    EXPECT_LT(film.bytes(1).size(), alone + 100 * 120);
}
