// The model check itself: that a wrong model is found, that what fails is made as small as it can be, and that what it
// writes can be played.
#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "beside.h"
#include "shrink.h"
#include "simulator/scenario/scenario.h"

namespace {

Step command(const std::string &word) { return {Step::send, word, {}, {}, 0}; }
Step pause_of(uint32_t ms) { return {Step::elapse, "", {}, {}, ms}; }

uint32_t duration_of(const Sequence &sequence) {
    uint32_t ms = 0;
    for (const Step &step : sequence) ms += step.ms;
    return ms;
}

// The first of the sequences that differs, as small as it can be.
Sequence found_with(const Periods &periods) {
    Beside beside(periods);
    const auto differs = [&beside](const Sequence &one) { return beside.run(one).any(); };
    for (uint64_t number = 1; number <= 100; number++) {
        const Sequence sequence = random_sequence(number);
        if (differs(sequence)) return shrunk(sequence, differs);
    }
    return {};
}

} // namespace

// ---- Shrinking

// A power-down that is half a second old when the coprocessor is ready.
static bool planted(const Sequence &sequence) {
    bool down = false;
    uint32_t ms = 0;
    for (const Step &step : sequence) {
        if (down && step.kind == Step::elapse) ms += step.ms;
        if (step.kind == Step::send && step.word == "p_off") down = true;
        if (step.kind == Step::send && step.word.rfind("M4_ready", 0) == 0 && ms >= 500) return true;
    }
    return false;
}

TEST(Shrink, LeavesNothingThatIsNotNeeded) {
    for (uint64_t number = 1; number <= 50; number++) {
        Sequence sequence = random_sequence(number);
        const size_t third = sequence.size() / 3;
        sequence.push_back({Step::send, "M4_ready_more", {}, {Argument("WIFI01"), Argument(7)}, 0});
        sequence.insert(sequence.end() - static_cast<long>(third), {pause_of(301), command("chan_bt"), pause_of(777)});
        sequence.insert(sequence.end() - static_cast<long>(2 * third), command("p_off"));
        ASSERT_TRUE(planted(sequence));
        const std::string small = as_scenario(shrunk(sequence, planted));
        // The start stays where it is, which may be behind one of these.
        const std::string start = "start normal bare\n";
        std::string without = small;
        without.erase(without.find(start), start.size());
        EXPECT_EQ(without, "send p_off\nwait 500ms\nsend M4_ready\n") << "from the sequence " << number;
    }
}

// A firmware update of more than a minute, whose type has an X in it.
static bool planted_arguments(const Sequence &sequence) {
    for (const Step &step : sequence) {
        if (step.kind != Step::send || step.word != "cd_update" || step.arguments.size() < 2) continue;
        if (step.arguments[0].number > 60 && step.arguments[1].text.find('X') != std::string::npos) return true;
    }
    return false;
}

TEST(Shrink, MakesArgumentsPlainer) {
    Sequence sequence = random_sequence(1);
    const Argument more = Argument::of_signature("as");
    sequence.push_back({Step::send, "cd_update", {}, {Argument(70000), Argument("FT_X_MAIN"), more}, 0});
    const Sequence small = shrunk(sequence, planted_arguments);
    ASSERT_EQ(small.size(), 2u) << as_scenario(small);
    EXPECT_EQ(small[1].arguments.size(), 2u);
    EXPECT_LT(small[1].arguments[0].number, 2 * 61);
    EXPECT_EQ(small[1].arguments[1].text, "FT_X") << "what stands behind it is not needed";
}

// ---- Wrong models

TEST(ModelCheck, FindsAModeLineThatIsTooFast) {
    Periods wrong;
    wrong.mode_line = 400;
    const Sequence small = found_with(wrong);
    // The warranty lock is not there, and NO WARRANTY comes.
    EXPECT_EQ(as_scenario(small), "start normal bare\nwait 400ms\n");
}

TEST(ModelCheck, FindsAMeterThatIsAMillisecondLate) {
    Periods wrong;
    wrong.meter = 501;
    const Sequence small = found_with(wrong);
    ASSERT_FALSE(small.empty());
    // A voltage, the start, and the time to its first reading.
    EXPECT_LE(small.size(), 3u) << as_scenario(small);
    EXPECT_EQ(duration_of(small), 500u) << as_scenario(small);
}

TEST(ModelCheck, FindsAnActivityIconThatIsTooSlow) {
    Periods wrong;
    wrong.activity = 110;
    const Sequence small = found_with(wrong);
    EXPECT_EQ(as_scenario(small), "start normal bare\nwait 100ms\n");
}

TEST(ModelCheck, FindsADrawingThatIsTooLate) {
    Periods wrong;
    wrong.refresh = 11;
    const Sequence small = found_with(wrong);
    // The first drawing that the model does not expect yet is no difference: what was there before is not known.
    EXPECT_LE(small.size(), 4u) << as_scenario(small);
    EXPECT_LE(duration_of(small), 110u) << as_scenario(small);
}

TEST(ModelCheck, AgreesOtherwise) {
    const Sequence none = found_with({});
    EXPECT_TRUE(none.empty()) << as_scenario(none);
}

// ---- Sequences

TEST(Sequences, ANumberBringsBackItsOwn) {
    std::set<std::string> all;
    for (uint64_t number = 1; number <= 100; number++) {
        const std::string once = as_scenario(random_sequence(number));
        EXPECT_EQ(once, as_scenario(random_sequence(number)));
        all.insert(once);
    }
    EXPECT_EQ(all.size(), 100u);
}

TEST(Sequences, AreScenarios) {
    size_t lines = 0;
    for (uint64_t number = 1; number <= 300; number++) {
        const Sequence sequence = random_sequence(number);
        const std::string text = as_scenario(sequence);
        try {
            lines += desk::parse_scenario(text, "sequence").size();
        } catch (const desk::Error &problem) {
            FAIL() << problem.what() << "\n" << text;
        }
        // Nothing of it becomes two lines.
        EXPECT_EQ(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')), sequence.size());
    }
    EXPECT_GT(lines, 300u * 10) << "most lines are the language's own";
}
