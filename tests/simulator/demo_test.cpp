// display-sim into a pipe: the demo, and a command line that says what is wrong with it.
#include <algorithm>

#include <gtest/gtest.h>

#include "simulator/live/demo.h"

#include "support.h"

namespace simulator_test {

static const std::vector<std::string> captions = {
    "Start-up",
    "A phone connects by Bluetooth: chan_bt",
    "The coprocessor is ready: M4_ready",
    "Recording, confirmed by the coprocessor: REC_ON, M4_COMM",
    "Bluetooth gone (chan_timeout), the box joins the network Workshop at -48 dBm",
    "The supply voltage falls",
    "It fails, and the voltage comes from the vehicle jack",
    "A firmware update of 120 s begins: cd_update 120 MAIN_FW",
    "Half of it is done, a minute later",
    "It fails: M4_error",
    "The message is cleared: clear_msg",
    "Power goes down, the serial number shows: p_off",
};

// The lines between each caption and the next, each a picture; empty where a caption is missing.
static std::vector<std::string> pictures_of(const std::string &output) {
    std::vector<std::string> pictures;
    size_t at = 0;
    for (size_t i = 0; i < captions.size(); i++) {
        const std::string line = "\n" + std::to_string(i + 1) + ". " + captions[i] + "\n";
        const size_t begin = output.find(line, at);
        EXPECT_NE(begin, std::string::npos) << "missing, or not in its order: " << line;
        if (begin == std::string::npos) return {};
        at = begin + line.size();
        pictures.push_back(output.substr(at, output.find("\n\n", at) - at));
    }
    return pictures;
}

static int lines_in(const std::string &picture) {
    return 1 + static_cast<int>(std::count(picture.begin(), picture.end(), '\n'));
}

// Something other than blanks: those of plain text and the empty Braille pattern.
static bool lit(std::string picture) {
    const std::string blank = "\u2800";
    for (size_t at; (at = picture.find(blank)) != std::string::npos;) picture.erase(at, blank.size());
    return picture.find_first_not_of(" \n") != std::string::npos;
}

static void expect_demo(const Outcome &outcome, int fewest_lines) {
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    const std::vector<std::string> pictures = pictures_of(outcome.output);
    ASSERT_EQ(pictures.size(), captions.size()) << outcome.output;
    for (size_t i = 0; i < pictures.size(); i++) {
        EXPECT_GE(lines_in(pictures[i]), fewest_lines) << captions[i];
        EXPECT_TRUE(lit(pictures[i])) << captions[i];
        EXPECT_NE(pictures[i], i > 0 ? pictures[i - 1] : "") << captions[i];
    }
}

// The rows of text take 66 pixel rows: four to a line of Braille dots, two to a line of half blocks.
TEST(Demo, ShowsTheDevicesPanelStepByStep) { expect_demo(display_sim({"--demo"}), 17); }

TEST(Demo, ShowsTheLayoutStepByStep) { expect_demo(display_sim({"--demo", "--layout"}), 33); }

TEST(Demo, IsWhatAPipeGets) { EXPECT_EQ(display_sim({}).output, display_sim({"--demo"}).output); }

TEST(Demo, IsDrawnInLettersWhereThereIsNothingElse) {
    for (const auto &[words, environment] :
         {std::pair<std::vector<std::string>, std::string>{{"--demo", "--layout", "--ascii"}, ""},
          {{"--demo", "--layout"}, "LC_ALL=C"}}) {
        const Outcome outcome = display_sim(words, environment);
        expect_demo(outcome, 33);
        EXPECT_TRUE(std::all_of(outcome.output.begin(), outcome.output.end(),
                                [](char letter) { return letter == '\n' || (letter >= ' ' && letter <= '~'); }));
    }
}

TEST(Demo, PlaysTheTargetThatWasAskedFor) {
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"--target", "armhf"}, {"--demo", "--layout", "--target", "armhf"}}) {
        const Outcome outcome = display_sim(words, "DESK_ARMHF=/nowhere/armhf");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "") << "the native daemon must not stand in";
        EXPECT_TRUE(contains(outcome.errors, "/nowhere/armhf/status-display")) << outcome.errors;
    }
    EXPECT_EQ(display_sim({"--demo", "--target", "native"}).status, 0);
}

// Each step is printed before it is judged, so that people see what is wrong.
TEST(Demo, EndsWhereThePanelDoesNotFollow) {
    testing::internal::CaptureStdout();
    std::string problem;
    try {
        ::desk::play_demo({}, "note One\nwait 1s\nnote Two\nwait 1s\nnote Three\nsend chan_usb\n");
    } catch (const desk::Error &error) {
        problem = error.what();
    }
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(problem, "the panel does not follow the step \"Two\"") << "the activity icon alone is no answer";
    EXPECT_TRUE(contains(output, "\n2. Two\n")) << output;
    EXPECT_FALSE(contains(output, "Three")) << output;
    EXPECT_FALSE(contains(output, "export PATH")) << output;
}

// The words, and what the message must say.
struct Refusal {
    std::vector<std::string> words;
    std::string message;
};

static void expect_refused(const std::vector<Refusal> &refusals) {
    for (const Refusal &refusal : refusals) {
        const Outcome outcome = display_sim(refusal.words);
        EXPECT_EQ(outcome.status, 2) << refusal.message;
        EXPECT_EQ(outcome.output, "") << refusal.message;
        EXPECT_TRUE(contains(outcome.errors, "display-sim: " + refusal.message)) << outcome.errors;
    }
}

TEST(Demo, RefusesByNameWhatItCannotHeed) {
    expect_refused({
        {{"--demo", "--speed", "10"}, "--speed does not go with --demo"},
        {{"--port", "8080", "--demo"}, "--port does not go with --demo"},
        {{"--demo", "--page"}, "--page does not go with --demo"},
        {{"--speed", "10"}, "--speed needs the live view, and the output is no terminal"},
        {{"--port", "8080"}, "--port needs the live view, and the output is no terminal"},
    });
}

TEST(CommandLine, SaysWhatIsWrong) {
    expect_refused({
        {{"--speed", "x"}, "--speed takes a number from 0 to 100, not 'x'"},
        {{"--speed", "101"}, "--speed takes a number from 0 to 100, not '101'"},
        {{"--speed", "-1"}, "--speed takes a number from 0 to 100, not '-1'"},
        {{"--speed", "nan"}, "--speed takes a number from 0 to 100, not 'nan'"},
        {{"--speed", ""}, "--speed takes a number from 0 to 100, not ''"},
        {{"--speed"}, "--speed needs a value after it"},
        {{"--port", "65536"}, "--port takes a whole number from 0 to 65535, not '65536'"},
        {{"--port", "80.5"}, "--port takes a whole number from 0 to 65535, not '80.5'"},
        {{"--target", "mips"}, "--target takes native or armhf, not 'mips'"},
        {{"--fast"}, "there is no option '--fast'"},
        {{"paly"}, "'paly' is neither an option nor 'play', 'exec' or 'gallery'"},
        {{"--page", "--no-page"}, "--page and --no-page exclude each other"},
        {{"--no-page", "--port", "8080"}, "--port and --no-page exclude each other"},
        {{"--demo", "--ascii", "--blocks"}, "--blocks, --braille and --ascii exclude each other"},
        {{"--page", "--braille"}, "--braille and --page exclude each other"},
    });
}

TEST(CommandLine, ExplainsItself) {
    for (const char *option : {"--help", "-h"}) {
        const Outcome outcome = display_sim({option});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors, "");
        for (const char *word : {"usage: display-sim", "--layout", "--target", "--speed", "--port", "--page",
                                 "--no-page", "--demo", "--blocks", "--braille", "--ascii", "play FILE", "gallery"}) {
            EXPECT_TRUE(contains(outcome.output, word)) << word;
        }
    }
}

} // namespace simulator_test
