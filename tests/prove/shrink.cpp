#include "shrink.h"

#include <algorithm>

#include "component/model.h"

namespace {

bool take_if_it_fails(Sequence &sequence, const Sequence &smaller, const Fails &fails) {
    if (!fails(smaller)) return false;
    sequence = smaller;
    return true;
}

// Runs of steps, long ones first: half of the sequence, a quarter, and so on to single ones.
bool leave_out_steps(Sequence &sequence, const Fails &fails) {
    bool any = false;
    for (size_t length = sequence.size() / 2; length > 0; length /= 2) {
        for (size_t from = 0; from < sequence.size();) {
            const size_t to = std::min(from + length, sequence.size());
            Sequence smaller(sequence.begin(), sequence.begin() + static_cast<long>(from));
            for (size_t i = from; i < sequence.size(); i++) {
                if (i >= to || sequence[i].kind == Step::start) smaller.push_back(sequence[i]);
            }
            if (smaller.size() < sequence.size() && take_if_it_fails(sequence, smaller, fails))
                any = true;
            else
                from = to;
        }
    }
    return any;
}

// Found by halving: the shortest time that still fails if all longer ones do.
bool shorten(Sequence &sequence, size_t at, const Fails &fails) {
    bool any = false;
    uint32_t passes = 0;
    while (sequence[at].ms - passes > 1) {
        Sequence smaller = sequence;
        smaller[at].ms = passes + (sequence[at].ms - passes) / 2;
        const uint32_t tried = smaller[at].ms;
        if (take_if_it_fails(sequence, smaller, fails))
            any = true;
        else
            passes = tried;
    }
    return any;
}

// Where a time that is short fails and some longer ones don't, only trying finds it.
bool try_all_times(Sequence &sequence, const Fails &fails) {
    bool any = false;
    for (size_t i = 0; i < sequence.size(); i++) {
        Sequence smaller = sequence;
        for (uint32_t ms = 1; ms < sequence[i].ms; ms++) {
            smaller[i].ms = ms;
            if (take_if_it_fails(sequence, smaller, fails)) any = true;
        }
    }
    return any;
}

// A wait becomes a part of the next one.
bool join_waits(Sequence &sequence, const Fails &fails) {
    const auto is_wait = [](const Step &step) { return step.kind == Step::elapse; };
    bool any = false;
    for (size_t i = 0; i < sequence.size();) {
        Sequence smaller = sequence;
        const auto next = std::find_if(smaller.begin() + static_cast<long>(i) + 1, smaller.end(), is_wait);
        const bool both = is_wait(sequence[i]) && next != smaller.end();
        if (both) {
            next->ms += sequence[i].ms;
            smaller.erase(smaller.begin() + static_cast<long>(i));
        }
        if (both && take_if_it_fails(sequence, smaller, fails))
            any = true;
        else
            i++;
    }
    return any;
}

// What is tried in place of a step, the plainest first. Each is plainer than the step, so that this comes to an end.
std::vector<Step> plainer(const Step &step) {
    std::vector<Step> all;
    const auto with = [&all, &step](auto change) {
        Step other = step;
        change(other);
        all.push_back(other);
    };
    if (step.kind == Step::start && step.word != "normal") with([](Step &s) { s.word = "normal"; });
    const bool message = step.kind == Step::send || step.kind == Step::message;
    if (message) with([](Step &s) { s = {Step::elapse, "", {}, {}, 1}; }); // the pass that a message takes
    if (message && !step.arguments.empty()) {
        with([](Step &s) { s.arguments.clear(); });
        with([](Step &s) { s.arguments.pop_back(); });
    }
    for (size_t i = 0; message && i < step.arguments.size(); i++) {
        const int32_t number = step.arguments[i].number;
        if (step.arguments[i].code == "i" && (number > 1 || number < -1)) {
            with([i](Step &s) { s.arguments[i].number = 1; });
            with([i](Step &s) { s.arguments[i].number /= 2; });
        }
        if (step.arguments[i].code != "s" || step.arguments[i].text.size() < 2) continue;
        with([i](Step &s) { s.arguments[i].text.resize(1); });
        with([i](Step &s) { s.arguments[i].text.pop_back(); });
    }
    if (step.kind == Step::message) with([](Step &s) { s = {Step::send, "clear_msg", {}, {}, 0}; });
    if (step.kind == Step::send && std::find(ALL_WORDS.begin(), ALL_WORDS.end(), step.word) == ALL_WORDS.end()) {
        for (const std::string &word : ALL_WORDS) {
            if (step.word.rfind(word, 0) == 0) with([&word](Step &s) { s.word = word; });
        }
        with([](Step &s) { s.word = "clear_msg"; });
    }
    return all;
}

bool make_plainer(Sequence &sequence, size_t at, const Fails &fails) {
    for (const Step &step : plainer(sequence[at])) {
        Sequence smaller = sequence;
        smaller[at] = step;
        if (take_if_it_fails(sequence, smaller, fails)) return true;
    }
    return false;
}

} // namespace

Sequence shrunk(Sequence sequence, const Fails &fails) {
    for (bool any = true; any;) {
        any = leave_out_steps(sequence, fails);
        any = join_waits(sequence, fails) || any;
        for (size_t i = 0; i < sequence.size(); i++) {
            if (sequence[i].kind == Step::elapse) any = shorten(sequence, i, fails) || any;
            while (make_plainer(sequence, i, fails)) any = true;
        }
        if (!any) any = try_all_times(sequence, fails);
    }
    return sequence;
}

std::string as_scenario(const Sequence &sequence) {
    std::string text;
    for (const Step &step : sequence) text += scenario_line(step) + "\n";
    return text;
}
