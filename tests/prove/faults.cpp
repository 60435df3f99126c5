// Faults of every kind, many times each, against the unmodified daemon:
//
//   faults [--times N] [--seed S] [KIND...]    each kind N times (100), or those named
//   faults --list                              the kinds: the state before, the fault, what must be seen afterwards
//
// A kind is varied at random, with S, S + 1, ... as the seeds of its runs. The first run that fails is told with its
// seed, and the next kind begins; "faults --times 1 --seed SEED KIND" is that run again. A line a kind, then a count.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "faults.h"

namespace {

using faults::Kind;

std::vector<Kind> all_kinds() {
    std::vector<Kind> all;
    for (const auto *group : {&faults::bus_kinds(), &faults::log_kinds(), &faults::framebuffer_kinds(),
                              &faults::tool_kinds(), &faults::file_kinds(), &faults::process_kinds()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

const char *const usage = "faults [--times N] [--seed S] [KIND...] | --list";

struct Wanted {
    long times = 100;
    unsigned seed = 1;
    bool list = false;
    std::vector<std::string> names;
};

long number_behind(int &i, int argc, char **argv) {
    char *end = nullptr;
    const long number = i + 1 < argc ? std::strtol(argv[i + 1], &end, 10) : 0;
    if (end == nullptr || *end != '\0' || number < 1) {
        throw desk::Error(std::string("a number from 1 on belongs behind ") + argv[i]);
    }
    i++;
    return number;
}

Wanted read_words(int argc, char **argv) {
    Wanted wanted;
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        if (word == "--times") {
            wanted.times = number_behind(i, argc, argv);
        } else if (word == "--seed") {
            wanted.seed = static_cast<unsigned>(number_behind(i, argc, argv));
        } else if (word == "--list") {
            wanted.list = true;
        } else if (word == "--help") {
            std::puts(usage);
            std::exit(0);
        } else if (word[0] == '-') {
            throw desk::Error(std::string("usage: ") + usage);
        } else {
            wanted.names.push_back(word);
        }
    }
    return wanted;
}

std::vector<Kind> chosen(const Wanted &wanted) {
    const std::vector<Kind> all = all_kinds();
    if (wanted.names.empty()) return all;
    std::vector<Kind> some;
    for (const std::string &name : wanted.names) {
        const auto found = std::find_if(all.begin(), all.end(), [&](const Kind &kind) { return kind.name == name; });
        if (found == all.end()) throw desk::Error("there is no kind '" + name + "'; --list shows them");
        some.push_back(*found);
    }
    return some;
}

void list(const std::vector<Kind> &kinds) {
    for (const Kind &kind : kinds) {
        std::printf("%s\n    before: %s\n    fault: %s\n    afterwards: %s\n", kind.name, kind.before, kind.fault,
                    kind.afterwards);
    }
}

void progress(const std::string &text) {
    if (isatty(STDERR_FILENO) == 0) return;
    std::fprintf(stderr, "\r\033[K%s", text.c_str());
    std::fflush(stderr);
}

enum class Outcome { passed, failed, skipped };

Outcome run(const Kind &kind, const std::string &which, const Wanted &wanted) {
    const auto begin = std::chrono::steady_clock::now();
    const auto seconds = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    for (long i = 0; i < wanted.times; i++) {
        progress(which + " " + kind.name + ", " + std::to_string(i + 1) + " of " + std::to_string(wanted.times));
        const unsigned seed = wanted.seed + static_cast<unsigned>(i);
        Random random(seed);
        try {
            kind.run(random);
        } catch (const faults::Skipped &reason) {
            progress("");
            std::printf("%-28s skipped: %s\n", kind.name, reason.what());
            return Outcome::skipped;
        } catch (const std::exception &problem) {
            progress("");
            std::printf("%-28s FAILED with --seed %u after %ld of %ld: %s\n", kind.name, seed, i, wanted.times,
                        problem.what());
            return Outcome::failed;
        }
    }
    progress("");
    std::printf("%-28s %4ld of %ld  %7.1f s\n", kind.name, wanted.times, wanted.times, seconds());
    return Outcome::passed;
}

} // namespace

int main(int argc, char **argv) try {
    const Wanted wanted = read_words(argc, argv);
    const std::vector<Kind> kinds = chosen(wanted);
    if (wanted.list) {
        list(kinds);
        return 0;
    }
    int counts[3] = {};
    for (size_t i = 0; i < kinds.size(); i++) {
        const std::string which = std::to_string(i + 1) + "/" + std::to_string(kinds.size());
        counts[static_cast<int>(run(kinds[i], which, wanted))]++;
        std::fflush(stdout);
    }
    std::printf("%d passed, %d failed", counts[0], counts[1]);
    if (counts[2] > 0) std::printf(", %d skipped", counts[2]);
    std::puts("");
    return counts[1] > 0 ? 1 : 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "faults: %s\n", problem.what());
    return 2;
}
