// The gallery in docs/gallery is what the golden panels make of it today, whole and unembellished.
#include <gtest/gtest.h>

#include "simulator/scenario/gallery.h"
#include "simulator/desk/picture.h"
#include "client/vocabulary.h"

#include "png_reader.h"
#include "support.h"

using namespace simulator_test;

static const std::string goldens = TEST_SOURCE_DIR "/tests/goldens";
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

TEST(Gallery, ShowsEveryGoldenAsItIs) {
    const std::string page = read_file(gallery + "/README.md");
    const Folder copy;
    ASSERT_EQ(std::system(("cp -r '" + goldens + "' '" + copy.path() + "'").c_str()), 0);
    int pictures = 0;
    for (const std::string &name : copy.names()) { // "goldens/device/icon_row.pbm"
        const std::string view_and_name = name.substr(8, name.size() - 12);
        const Png png = read_png(read_file(gallery + "/" + view_and_name + ".png"));
        ASSERT_EQ(png.problem, "") << name;
        EXPECT_EQ(reduced(png.frames[0].shown, 4), desk::Picture::from_pbm(copy.read(name))) << name;
        EXPECT_TRUE(contains(page, "src=\"" + view_and_name + ".png\"")) << name;
        pictures++;
    }
    EXPECT_GT(pictures, 100);
}

TEST(Gallery, RemovesWhatIsNoLongerShown) {
    const Folder out;
    out.write("layout/gone.png", "old");
    out.write("layout/note.txt", "somebody else's");
    desk::make_gallery(goldens, out.path());
    EXPECT_FALSE(out.has("layout/gone.png"));
    EXPECT_TRUE(out.has("layout/note.txt"));
}

// What stands in a golden's first line is text for a table's cell.
TEST(Gallery, WritesWhatTheEyeSeesAsText) {
    const Folder folder;
    ASSERT_EQ(std::system(("cp -r '" + goldens + "' '" + folder.path() + "'").c_str()), 0);
    for (const char *view : {"device", "layout"}) {
        folder.write(std::string("goldens/") + view + "/odd_one.pbm", "P1\n# a <b> | c\n2 1\n10\n");
    }
    desk::make_gallery(folder.path() + "/goldens", folder.path() + "/out");
    EXPECT_TRUE(contains(folder.read("out/README.md"), " | a &lt;b> \\| c |\n"));
}

TEST(Gallery, SaysWhatItMisses) {
    const Folder empty;
    empty.write("layout/readme.txt", "");
    const Outcome outcome = display_sim(
        {"gallery", "--goldens", empty.path(), "--out", empty.path() + "/out"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.errors, "no golden panels in " + empty.path())) << outcome.errors;
    EXPECT_EQ(display_sim({"gallery", "--frame"}).status, 2);
}
