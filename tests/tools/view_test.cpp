// displayctl view: what it writes for frames of each kind. PNGs are read back by decode_png.py, which shares
// nothing with the encoder.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support.h"
#include "panel/drawing.h"
#include "panel/png.h"

using namespace panel;
using namespace tools_test;

static std::string to_half_blocks(const Picture &frame) { return drawn(frame, Marks::half_blocks); }

static std::string decoded(const std::string &path) {
    const Result result = run({PYTHON, TEST_SOURCE_DIR "/tests/support/decode_png.py", path});
    return result.status == 0 ? result.output : result.errors;
}

static Picture enlarged(const Picture &frame, int scale) {
    Picture large(frame.width() * scale, frame.height() * scale);
    for (int y = 0; y < large.height(); y++) {
        for (int x = 0; x < large.width(); x++) large.set(x, y, frame.at(x / scale, y / scale));
    }
    return large;
}

TEST(Png, ShowsTheFrame) {
    const Folder folder;
    for (const Size size : {Size{64, 128}, Size{128, 66}, Size{1, 1}, Size{7, 3}, Size{9, 1}}) {
        const Picture frame = pattern(size);
        EXPECT_EQ(decoded(folder.write("a.png", to_png(frame))), frame.to_pbm());
    }
}

TEST(Png, MayBeEnlarged) {
    const Folder folder;
    // The last is longer than one stored block of 65535 bytes.
    for (const int scale : {2, 3, 32}) {
        const Picture frame = pattern(DEVICE_SIZE);
        EXPECT_EQ(decoded(folder.write("a.png", to_png(frame, scale))), enlarged(frame, scale).to_pbm());
    }
}

// ---- Pictures from each source ----

TEST(View, RawAndPbmFilesToPngAndPbm) {
    const Folder folder;
    for (const Size size : {DEVICE_SIZE, LAYOUT_SIZE}) {
        const Picture frame = pattern(size);
        for (const std::string &content : {raw_of(frame), frame.to_pbm()}) {
            const std::string source = folder.write("frame", content);
            const Result result = displayctl(
                {"view", source, "--png", folder.file("a.png"), "--pbm", folder.file("a.pbm"), "--scale", "2"});
            EXPECT_EQ(result.status, 0) << result.errors;
            EXPECT_EQ(result.output + result.errors, "");
            EXPECT_EQ(decoded(folder.file("a.png")), enlarged(frame, 2).to_pbm());
            EXPECT_EQ(read_file(folder.file("a.pbm")), frame.to_pbm());
        }
    }
}

TEST(View, StandardInputToTheTerminal) {
    const Picture frame = pattern(DEVICE_SIZE);
    for (const std::string &content : {raw_of(frame), frame.to_pbm()}) {
        const Result result = displayctl({"view", "-"}, content);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, to_half_blocks(frame));
        EXPECT_EQ(result.errors, "");
    }
}

TEST(View, WithoutATerminalTheWholePictureComesInTheStyleAskedFor) {
    const Picture frame = pattern(DEVICE_SIZE);
    const struct {
        const char *option;
        Marks marks;
    } styles[] = {{"--blocks", Marks::half_blocks}, {"--braille", Marks::braille}, {"--ascii", Marks::ascii}};
    for (const auto &style : styles) {
        const Result result = displayctl({"view", style.option, "-"}, raw_of(frame));
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, drawn(frame, style.marks)) << style.option;
    }
}

TEST(View, AWholeMemoryPageIsShownWithANote) {
    const Picture frame = pattern(DEVICE_SIZE);
    const Result result = displayctl({"view", "-"}, raw_of(frame) + std::string(3072, 'x'));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, to_half_blocks(frame));
    EXPECT_NE(result.errors.find("3072 bytes behind"), std::string::npos) << result.errors;
}

TEST(View, TheSizeCanBeGiven) {
    const Picture frame = pattern({40, 30});
    const Result result = displayctl({"view", "--size", "40x30", "--pbm", "-", "-"}, raw_of(frame));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, frame.to_pbm());
}

TEST(View, APngGoesToStandardOutputToo) {
    const Folder folder;
    const Picture frame = pattern(LAYOUT_SIZE);
    const Result result = displayctl({"view", "--png", "-", "-"}, raw_of(frame));
    EXPECT_EQ(decoded(folder.write("a.png", result.output)), frame.to_pbm());
}

// ---- Following ----

TEST(Follow, AFileIsShownAgainWhenItChanges) {
    const Folder folder;
    const Picture first = pattern(DEVICE_SIZE, 1);
    const Picture second = pattern(DEVICE_SIZE, 2);
    const std::string path = folder.write("fb0", raw_of(first));
    Running view({"view", "--follow", path});
    ASSERT_TRUE(view.wait_for(to_half_blocks(first)));
    folder.write("fb0", raw_of(second));
    ASSERT_TRUE(view.wait_for(to_half_blocks(second)));
    EXPECT_EQ(view.output(), to_half_blocks(first) + to_half_blocks(second));
}

TEST(Follow, APictureFileIsRenewed) {
    const Folder folder;
    const Picture second = pattern(DEVICE_SIZE, 2);
    const std::string path = folder.write("fb0", raw_of(pattern(DEVICE_SIZE, 1)));
    Running view({"view", "--follow", "--pbm", folder.file("a.pbm"), path});
    ASSERT_TRUE(wait_until([&] { return access(folder.file("a.pbm").c_str(), F_OK) == 0; }));
    EXPECT_EQ(read_file(folder.file("a.pbm")), pattern(DEVICE_SIZE, 1).to_pbm());
    folder.write("fb0", raw_of(second));
    EXPECT_TRUE(wait_until([&] { return read_file(folder.file("a.pbm")) == second.to_pbm(); }));
}

static std::vector<std::string> names_in(const Folder &folder) {
    std::vector<std::string> names;
    for (const auto &item : std::filesystem::directory_iterator(folder.file("."))) {
        names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Whoever has the old picture open keeps all of it.
TEST(Follow, APictureFileIsReplacedInOneStep) {
    const Folder folder;
    const std::string source = folder.write("fb0", raw_of(pattern(DEVICE_SIZE, 1)));
    for (const std::string option : {"--pbm", "--png"}) {
        const std::string path = folder.write("picture", "old");
        FILE *old = fopen(path.c_str(), "r");
        EXPECT_EQ(displayctl({"view", option, path, source}).status, 0);
        char content[8] = "";
        EXPECT_EQ(fread(content, 1, sizeof content, old), 3u) << option;
        EXPECT_STREQ(content, "old");
        fclose(old);
        EXPECT_NE(read_file(path), "old");
        EXPECT_EQ(names_in(folder), (std::vector<std::string>{"fb0", "picture"}));
    }
}

TEST(Follow, AnUnfinishedPictureIsNotLeft) {
    const Folder folder;
    const std::string source = folder.write("fb0", raw_of(pattern(DEVICE_SIZE)));
    const Result blocked = displayctl({"view", "--pbm", folder.file("missing/picture"), source});
    EXPECT_EQ(blocked.status, 1);
    EXPECT_NE(blocked.errors.find("can't write " + folder.file("missing/picture")), std::string::npos)
        << blocked.errors;
    // A limit on the size of files is as good as a full disk.
    Words command{"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "sh"};
    for (const std::string &word : displayctl_command({"view", "--pbm", folder.file("b"), source})) {
        command.push_back(word);
    }
    const Result full = run(command);
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.errors.find("File too large"), std::string::npos) << full.errors;
    EXPECT_EQ(names_in(folder), std::vector<std::string>{"fb0"}) << "half a picture is left";
    EXPECT_NE(access(folder.file("b").c_str(), F_OK), 0);
}

TEST(View, ALinkIsWrittenThrough) {
    const Folder folder;
    const Picture frame = pattern(DEVICE_SIZE);
    folder.write("target", "old");
    ASSERT_EQ(symlink("target", folder.file("link").c_str()), 0);
    EXPECT_EQ(displayctl({"view", "--pbm", folder.file("link"), "-"}, raw_of(frame)).status, 0);
    EXPECT_EQ(read_file(folder.file("target")), frame.to_pbm());
}

// Returns when another process has read the file that is at `path` now so often.
static void wait_until_read(const std::string &path, int times = 1) {
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, path.c_str(), IN_CLOSE_NOWRITE), 0);
    for (int i = 0; i < times; i++) {
        const auto was_read = [&] { // equal events that follow each other may come as one
            inotify_event event;
            return read(watch, &event, sizeof event) > 0;
        };
        if (!wait_until(was_read)) {
            ADD_FAILURE() << "nobody reads " << path;
            break;
        }
    }
    close(watch);
}

TEST(Follow, AMomentWithoutAFrameIsBridgedAndALongOneEnds) {
    const Folder folder;
    const Picture first = pattern(DEVICE_SIZE, 1);
    const Picture second = pattern(DEVICE_SIZE, 2);
    const std::string path = folder.write("fb0", raw_of(first));
    Running view({"view", "--follow", path});
    ASSERT_TRUE(view.wait_for(to_half_blocks(first)));
    wait_until_read(folder.write("fb0", "half a frame"));
    folder.write("fb0", raw_of(second));
    ASSERT_TRUE(view.wait_for(to_half_blocks(second)));
    unlink(path.c_str());
    EXPECT_EQ(view.wait(), 1);
}

// Twenty bad frames in a row are the end, not twenty in a day.
TEST(Follow, OnlyBadFramesInARowAreCounted) {
    const Folder folder;
    const std::string path = folder.write("fb0", raw_of(pattern(DEVICE_SIZE, 1)));
    Running view({"view", "--follow", path});
    ASSERT_TRUE(view.wait_for(to_half_blocks(pattern(DEVICE_SIZE, 1))));
    for (unsigned seed = 2; seed < 5; seed++) {
        wait_until_read(folder.write("fb0", "half a frame"), 9);
        folder.write("fb0", raw_of(pattern(DEVICE_SIZE, seed)));
        ASSERT_TRUE(view.wait_for(to_half_blocks(pattern(DEVICE_SIZE, seed)))) << seed;
    }
}

TEST(Follow, AFileThatStaysTheSameIsShownOnce) {
    const Folder folder;
    const std::string frame = raw_of(pattern(DEVICE_SIZE, 1));
    const std::string path = folder.write("fb0", frame);
    Running view({"view", "--follow", path});
    wait_until_read(path, 2);
    wait_until_read(folder.write("fb0", frame), 2);
    folder.write("fb0", raw_of(pattern(DEVICE_SIZE, 2)));
    ASSERT_TRUE(view.wait_for(to_half_blocks(pattern(DEVICE_SIZE, 2))));
    EXPECT_EQ(view.output(), to_half_blocks(pattern(DEVICE_SIZE, 1)) + to_half_blocks(pattern(DEVICE_SIZE, 2)));
}

TEST(Follow, AReaderThatHasGoneEndsIt) {
    const Folder folder;
    const std::string path = folder.write("fb0", raw_of(pattern(DEVICE_SIZE, 1)));
    Words command{"/bin/sh", "-c", "\"$@\" | head -n 1", "sh"};
    for (const std::string &word : displayctl_command({"view", "--follow", path})) command.push_back(word);
    std::atomic<bool> ended{false};
    std::thread writer([&] { // new frames, for a writer notices at its next write
        for (unsigned seed = 2; !ended; seed++) {
            folder.write("fb0", raw_of(pattern(DEVICE_SIZE, seed)));
            poll(nullptr, 0, 20);
        }
    });
    EXPECT_EQ(run(command).status, 0);
    ended = true;
    writer.join();
}

TEST(Follow, StandardInputIsFrameAfterFrame) {
    const Picture first = pattern(DEVICE_SIZE, 1);
    const Picture second = pattern(DEVICE_SIZE, 2);
    Running view({"view", "--follow", "-"});
    view.write(raw_of(first).substr(0, 500));
    view.write(raw_of(first).substr(500));
    ASSERT_TRUE(view.wait_for(to_half_blocks(first)));
    view.write(raw_of(first));
    view.write(raw_of(second));
    ASSERT_TRUE(view.wait_for(to_half_blocks(second)));
    EXPECT_EQ(view.output(), to_half_blocks(first) + to_half_blocks(second));
    view.close_input();
    EXPECT_EQ(view.wait(), 0);
}

TEST(Follow, APipeGetsEachFrameOfAStream) {
    std::string frames;
    std::string pictures;
    for (unsigned seed = 1; seed < 6; seed++) {
        frames += raw_of(pattern(DEVICE_SIZE, seed));
        pictures += to_half_blocks(pattern(DEVICE_SIZE, seed));
    }
    const Result result = displayctl({"view", "--follow", "-"}, frames);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, pictures);
}

TEST(Follow, AStreamThatEndsWithinAFrameIsAFailure) {
    const Result result = displayctl({"view", "--follow", "--size", "128x66", "-"}, std::string(1500, '\0'));
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("444 of the 1056 bytes"), std::string::npos) << result.errors;
}

// The line that follows a unit over ssh, as the help gives it.
static std::string line_for_the_box() {
    const std::string help = displayctl({"view", "--help"}).output;
    const size_t start = help.find("ssh box 'while ");
    EXPECT_NE(start, std::string::npos) << help;
    return start == std::string::npos ? "" : help.substr(start, help.find('\n', start) - start);
}

static std::string replaced(std::string text, const std::string &old, const std::string &with) {
    for (size_t at = text.find(old); at != std::string::npos; at = text.find(old, at + with.size())) {
        text.replace(at, old.size(), with);
    }
    return text;
}

// When the reader goes, ssh closes the pipe on the box: a loop that does not see it there runs on for ever.
TEST(Follow, TheLineForTheBoxEndsWithItsReader) {
    const Folder folder;
    const std::string frame = raw_of(pattern(DEVICE_SIZE));
    const std::string line = line_for_the_box();
    const size_t start = line.find('\'') + 1;
    const std::string on_the_box = line.substr(start, line.find('\'', start) - start);
    const std::string here = replaced(on_the_box, "/dev/fb0", folder.write("fb0", frame));
    ASSERT_NE(here, on_the_box) << line;
    const Result reader = run(
        {"sh", "-c", "(timeout 20 sh -c \"$1\"; echo $? >\"$2\") | head -c 2048", "sh", here, folder.file("status")});
    EXPECT_EQ(reader.output, frame + frame) << reader.errors;
    EXPECT_NE(read_file(folder.file("status")), "124\n") << "it had to be ended: " << here;
}

TEST(Follow, TheLineForTheBoxIsTheSameEverywhere) {
    const std::string line = line_for_the_box();
    EXPECT_NE(read_file(TEST_SOURCE_DIR "/tools/README.md").find("    " + line + "\n"), std::string::npos) << line;
    const std::string manual = read_file(TEST_SOURCE_DIR "/tools/displayctl.1");
    EXPECT_NE(replaced(replaced(manual, "\\-", "-"), "\\(aq", "'").find("\n" + line + "\n"), std::string::npos) << line;
}

// ---- What goes wrong ----

TEST(View, FailuresSayWhatToDo) {
    const Folder folder;
    const std::string frame = folder.write("frame", std::string(1024, '\0'));
    const struct {
        Words words;
        int status;
        const char *said;
    } cases[] = {
        {{"/nonexistent"}, 1, "name a framebuffer device, a file, or -"},
        {{"/dev/null"}, 1, "no framebuffer"},
        {{folder.write("odd", "12345")}, 1, "--size WxH"},
        {{frame, "--size", "128x66"}, 1, "has 1056 bytes"},
        {{frame, "--png", "/nonexistent/a.png"}, 1, "can't write /nonexistent/a.png"},
        {{frame, "--png", "/dev/full"}, 1, "can't write /dev/full"},
        {{frame, "--size", "64"}, 2, "WIDTHxHEIGHT"},
        {{frame, "--size", "0x128"}, 2, "from 1 to 4096"},
        {{frame, "--size", "64x5000"}, 2, "from 1 to 4096"},
        {{frame, "--scale", "33"}, 2, "from 1 to 32"},
        {{folder.write("wide", std::string(512, 'x')), "--size", "4096x1", "--scale", "5", "--png", "-"},
         1,
         "smaller --scale"},
        {{frame, "--scale", "two"}, 2, "not 'two'"},
        {{frame, "--png"}, 2, "'--png' needs a value"},
        {{frame, "--png", ""}, 2, "--png needs a file name"},
        {{frame, "--png", "-", "--pbm", "-"}, 2, "only one"},
        {{frame, "--ascii", "--braille"}, 2, "give one of"},
        {{frame, "--blocks", "--png", "-"}, 2, "are for text"},
        {{frame, frame}, 2, "leave"},
    };
    for (const auto &one : cases) {
        Words words = one.words;
        words.insert(words.begin(), "view");
        const Result result = displayctl(words);
        EXPECT_EQ(result.status, one.status) << one.said;
        EXPECT_NE(result.errors.find(one.said), std::string::npos) << result.errors;
        EXPECT_EQ(result.output, "");
    }
}

TEST(View, EndlessInputIsAFailure) {
    const Result result = displayctl({"view", "-"}, std::string((20u << 20) + 1, '\0'));
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("without an end"), std::string::npos) << result.errors;
}
