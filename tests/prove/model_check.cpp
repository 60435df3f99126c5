// Random courses of events against the daemon's own code, beside a plain model of it: after each step the record, the
// log, what was asked of the shell and every pixel of the panel are compared.
//
//   model_check [--seed N] [--sequences N]    sequence N is made from the seed plus N; --seed alone brings back the one
//
// It writes to the daemon's absolute paths: start it in a box, with desk-exec --bare. One line of progress each tenth,
// then what was compared and "ok"; or the first sequence that differs, made as small as it can be and written as a
// scenario for ./run play, and status 1.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <string>

#include "beside.h"
#include "shrink.h"

namespace {

// What the comment lines of a scenario tell.
std::string commented(const std::string &text) {
    std::string out = "# ";
    for (const char c : text) out += c == '\n' ? std::string("\n# ") : std::string(1, c);
    return out + "\n";
}

void print_failure(Beside &beside, uint64_t seed, const Sequence &sequence) {
    const Sequence small = shrunk(sequence, [&beside](const Sequence &one) { return beside.run(one).any(); });
    const Difference difference = beside.run(small);
    printf("# The sequence of the seed %s, of %zu steps, in %zu. To play it: ./run play FILE\n",
           std::to_string(seed).c_str(), sequence.size(), small.size());
    printf("%s", as_scenario(small).c_str());
    printf("# Behind step %zu:\n", difference.step + 1);
    if (!difference.record.empty()) printf("%s", commented(difference.record).c_str());
    if (!difference.panel.empty()) printf("%s", commented(difference.panel).c_str());
    puts("picture difference");
}

bool all_agree(uint64_t seed, uint64_t sequences) {
    Beside beside;
    const auto begin = std::chrono::steady_clock::now();
    uint64_t tenth = 0;
    for (uint64_t i = 0; i < sequences; i++) {
        const Sequence sequence = random_sequence(seed + i);
        if (beside.run(sequence).any()) {
            print_failure(beside, seed + i, sequence);
            return false;
        }
        if ((i + 1) * 10 / sequences == tenth) continue;
        tenth = (i + 1) * 10 / sequences;
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begin;
        const double left = spent.count() * static_cast<double>(sequences - i - 1) / static_cast<double>(i + 1);
        printf("%3s %%  %s sequences, %.0f s, %.0f s left\n", std::to_string(tenth * 10).c_str(),
               std::to_string(i + 1).c_str(), spent.count(), left);
        fflush(stdout);
    }
    printf("%sok: %s sequences\n", beside.summary().c_str(), std::to_string(sequences).c_str());
    return true;
}

uint64_t number_of(const char *text) {
    char *end = nullptr;
    const uint64_t number = strtoull(text, &end, 10);
    if (*text == '\0' || *end != '\0') {
        fprintf(stderr, "model_check: '%s' is no number\n", text);
        exit(2);
    }
    return number;
}

} // namespace

int main(int argc, char **argv) {
    uint64_t seed = 1, sequences = 0;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            seed = number_of(argv[++i]);
            if (sequences == 0) sequences = 1;
        } else if (strcmp(argv[i], "--sequences") == 0 && i + 1 < argc) {
            sequences = number_of(argv[++i]);
        } else {
            fprintf(stderr, "Usage: model_check [--seed N] [--sequences N]\n");
            return 2;
        }
    }
    if (!inside_box()) {
        fprintf(stderr, "model_check writes to the daemon's files: start it with desk-exec --bare.\n");
        return 2;
    }
    return all_agree(seed, sequences == 0 ? 1000 : sequences) ? 0 : 1;
}
