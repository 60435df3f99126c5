// The gallery in docs/gallery is what the scenarios and their pictures make of it today, whole and unembellished.
#include <filesystem>

#include <gtest/gtest.h>

#include "simulator/scenario/gallery.h"
#include "panel/picture.h"
#include "client/vocabulary.h"

#include "png_reader.h"
#include "support.h"

using namespace simulator_test;

static const std::string scenarios = TEST_SOURCE_DIR "/simulator/scenarios";
static const std::string gallery = TEST_SOURCE_DIR "/docs/gallery";

TEST(Gallery, IsFresh) {
    const Folder fresh;
    ASSERT_EQ(display_sim({"gallery", "--out", fresh.path() + "/gallery"}).status, 0);
    const Folder copy; // for its names()
    ASSERT_EQ(std::system(("cp -r '" + gallery + "' '" + copy.path() + "'").c_str()), 0);
    const std::string advice = "; 'display-sim gallery' makes docs/gallery anew";
    ASSERT_EQ(copy.names(), fresh.names()) << "docs/gallery has other files" << advice;
    for (const std::string &name : fresh.names()) {
        EXPECT_TRUE(copy.read(name) == fresh.read(name)) << name << " is stale" << advice;
    }
}

TEST(Gallery, ShowsEveryWord) {
    const std::string page = read_file(gallery + "/README.md");
    for (const auto &word : client::vocabulary()) {
        EXPECT_TRUE(contains(page, "`" + word.word)) << word.word;
    }
}

// All pictures that lie beside its scenarios.
TEST(Gallery, ShowsEveryPictureAsItIs) {
    const std::string page = read_file(gallery + "/README.md");
    int pictures = 0;
    for (const std::string &section : desk::gallery_sections()) {
        for (const auto &item : std::filesystem::directory_iterator(scenarios + "/" + section)) {
            const std::string stem = item.path().stem().string(); // "icon_row-device"
            const size_t dash = stem.rfind('-');
            const std::string shown = stem.substr(dash + 1) + "/" + stem.substr(0, dash) + ".png";
            const Png png = read_png(read_file(gallery + "/" + shown));
            ASSERT_EQ(png.problem, "") << shown;
            EXPECT_EQ(reduced(png.frames[0].shown, 4), panel::Picture::load_pbm(item.path().string())) << shown;
            EXPECT_TRUE(contains(page, "src=\"" + shown + "\"")) << shown;
            pictures++;
        }
    }
    EXPECT_GT(pictures, 100);
}

TEST(Gallery, RemovesWhatIsNoLongerShown) {
    const Folder out;
    out.write("layout/gone.png", "old");
    out.write("layout/note.txt", "somebody else's");
    desk::make_gallery(scenarios, out.path());
    EXPECT_FALSE(out.has("layout/gone.png"));
    EXPECT_TRUE(out.has("layout/note.txt"));
}

/* ---- made from a folder of scenarios of its own ---- */

// A section of no rows for each of the gallery, but for the first one.
static void write_sections(const Folder &folder, const std::string &first) {
    for (const std::string &section : desk::gallery_sections()) {
        const bool is_first = section == desk::gallery_sections().front();
        folder.write(section + ".scenario", is_first ? first : "# Nothing: here.\n");
    }
}

static void write_picture(const Folder &folder, const std::string &name, const std::string &comments) {
    for (const char *view : {"-device.pbm", "-layout.pbm"}) folder.write(name + view, "P1\n" + comments + "2 1\n10\n");
}

static std::string page_of(const Folder &folder) {
    desk::make_gallery(folder.path(), folder.path() + "/out");
    return folder.read("out/README.md");
}

TEST(Gallery, MakesASectionOfAScenario) {
    const Folder folder;
    write_sections(folder,
                   "# A title: with words: and `code`.\n# More.\nnote by `a` | b\nstart\nexpect x/one\n"
                   "expect x/checked\nnote over here\nexpect x/one-layout.pbm\nexpect y/two\n"
                   "note again\nexpect x/one\n");
    write_picture(folder, "x/one", "# the first\n# 1 is a lit pixel of the panel\n");
    write_picture(folder, "y/two", "# 1 is a lit pixel of the panel\n");
    const std::string one =
        "<img src=\"layout/one.png\" width=\"4\" alt=\"one\"> | "
        "<img src=\"device/one.png\" width=\"4\" alt=\"one\"> | the first |\n";
    const std::string two =
        "<img src=\"layout/two.png\" width=\"4\" alt=\"two\"> | "
        "<img src=\"device/two.png\" width=\"4\" alt=\"two\"> |  |\n";
    EXPECT_TRUE(contains(page_of(folder),
                         "\n## A title\n\nwith words: and `code`.\n\n"
                         "| how | layout | device | to be seen |\n|---|---|---|---|\n"
                         "| by `a` | b | " +
                             one + "| over here | " + two + "| again | " + one + "\n"))
        << folder.read("out/README.md");
    EXPECT_TRUE(folder.has("out/device/two.png"));
    EXPECT_FALSE(folder.has("out/device/checked.png")) << "without a note there is no row";
}

// What stands in a picture's comment is text for a table's cell.
TEST(Gallery, WritesWhatTheEyeSeesAsText) {
    const Folder folder;
    write_sections(folder, "# A: b\nnote n\nexpect x/odd_one\n");
    write_picture(folder, "x/odd_one", "# a <b> | c\n");
    EXPECT_TRUE(contains(page_of(folder), " | a &lt;b> \\| c |\n")) << folder.read("out/README.md");
}

TEST(Gallery, SaysWhatItMisses) {
    const Folder folder;
    const std::string first = folder.path() + "/" + desk::gallery_sections().front() + ".scenario";
    const auto problem = [&] {
        const Outcome outcome = display_sim({"gallery", "--scenarios", folder.path(), "--out", folder.path() + "/out"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_FALSE(folder.has("out/README.md"));
        return outcome.errors;
    };
    EXPECT_EQ(problem(), "display-sim: " + first + ": can't read it, or it is empty\n");
    write_sections(folder, "# No title\nstart\n");
    EXPECT_EQ(problem(), "display-sim: " + first +
                             ":1: a section of the gallery begins with "
                             "'# TITLE: INTRODUCTION'\n");
    write_sections(folder, "# A: b\nnote n\nexpect x/one\n");
    EXPECT_TRUE(contains(problem(), "the picture " + folder.path() + "/x/one-"));
    // Two files of one name would be written to one.
    write_sections(folder, "# A: b\nnote n\nexpect x/one\nnote n\nexpect y/one\n");
    write_picture(folder, "x/one", "");
    folder.write("y/one-device.pbm", "P1\n2 1\n10\n");
    folder.write("y/one-layout.pbm", "P1\n2 1\n11\n");
    EXPECT_EQ(problem(), "display-sim: the gallery shows two pictures of the name one\n");
    EXPECT_EQ(display_sim({"gallery", "--frame"}).status, 2);
}
