// The player: a scenario's lines one after the other, its pictures, its expectations, its report.
#include "play.h"

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "play_film.h"

namespace desk {

namespace fs = std::filesystem;

static constexpr int picture_scale = 4;

static const char *const usage =
    "usage: display-sim play FILE [--out DIR] [--update] [--target armhf]\n"
    "  FILE            a scenario, see docs/scenarios.md\n"
    "  --out DIR       where pictures and the film go; a folder named after the scenario otherwise\n"
    "  --update        write the expected pictures beside the scenario instead of comparing with them\n"
    "  --target armhf  the 32-bit ARM daemon under qemu-arm ('./setup armhf' builds it)\n"
    "It ends with status 0 when all went as expected, 1 when something did not, 2 for a bad scenario.\n";

// What a run of the player carries along.
struct Run {
    const PlayOptions &options;
    std::string name; // of the scenario, without folder and ending
    Stage &stage;
    Film &film;
    int pictures = 0;
    int failures = 0;
};

static void complain(Run &run, const ScenarioLine &line, const std::string &problem) {
    run.failures++;
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: %s\n", run.options.scenario.c_str(), line.number, problem.c_str());
}

static void save_picture(const Picture &picture, const std::string &path_without_ending) {
    picture.save_pbm(path_without_ending + ".pbm");
    save_bytes(path_without_ending + ".png", to_png(picture, picture_scale));
}

static void take_picture(Run &run, const std::string &name) {
    for (View view : both_views) {
        save_picture(run.stage.picture(view), run.options.out + "/" + name + "-" + name_of(view));
    }
    run.pictures++;
}

/* ---- expectations ---- */

static View view_of(const std::string &file) {
    return file.find("-layout.pbm") != std::string::npos ? View::layout : View::device;
}

static void update_expected(const fs::path &file, const Picture &actual) {
    if (fs::exists(file) && Picture::load_pbm(file.string()) == actual) return;
    fs::create_directories(file.parent_path());
    actual.save_pbm(file.string());
    std::printf("            wrote %s\n", file.c_str());
}

static void compare(Run &run, const ScenarioLine &line, const fs::path &file, const Picture &actual) {
    const std::string left_behind = run.options.out + "/" + file.stem().string();
    if (!fs::exists(file)) {
        save_picture(actual, left_behind + ".actual");
        return complain(run, line,
                        "there is no picture " + file.string() + "; the panel shows " + left_behind +
                            ".actual.png. Is it right? Then --update writes it.");
    }
    const Picture expected = Picture::load_pbm(file.string());
    if (actual == expected) return;
    save_picture(actual, left_behind + ".actual");
    save_picture(actual.difference(expected), left_behind + ".difference");
    complain(run, line,
             "the panel does not show " + file.string() + ": " +
                 std::to_string(actual.count_different(expected)) + " pixels differ; see " + left_behind +
                 ".actual.png and " + left_behind + ".difference.png");
}

static void expect(Run &run, const ScenarioLine &line) {
    const fs::path file = fs::path(run.options.scenario).parent_path() / line.action.text;
    const Picture actual = run.stage.picture(view_of(line.action.text));
    if (run.options.update) return update_expected(file, actual);
    compare(run, line, file, actual);
}

/* ---- lines ---- */

static void play_line(Run &run, const ScenarioLine &line) {
    const Action &action = line.action;
    std::printf("%8.3f s  %s\n", static_cast<double>(run.stage.now_us()) / 1e6, line.text.c_str());
    std::fflush(stdout);
    run.stage.perform(action);
    run.film.look();
    if (is(action, "note")) run.film.set_caption(action.text);
    if (is(action, "picture")) take_picture(run, action.text);
    if (is(action, "expect")) expect(run, line);
}

// The rest of a story has no meaning after a wait that was not met; a wrong picture stops nothing.
static void play_lines(Run &run, const std::vector<ScenarioLine> &lines) {
    for (const ScenarioLine &line : lines) {
        try {
            play_line(run, line);
        } catch (const Error &problem) {
            return complain(run, line, problem.what());
        }
    }
}

static void report(const Run &run, size_t lines, std::chrono::duration<double> taken) {
    const std::string film = run.options.out + "/" + run.name + "-film.png";
    if (run.film.frames() > 0) run.film.save(film);
    std::printf("%s: %zu lines in %.1f s; %d pictures and a film of %zu frames (%s) in %s: %s\n",
                run.name.c_str(), lines, taken.count(), run.pictures, run.film.frames(),
                fs::path(film).filename().c_str(), run.options.out.c_str(),
                run.failures == 0 ? "as expected"
                                  : (std::to_string(run.failures) + " NOT as expected").c_str());
}

static PlayStatus play_on_stage(PlayOptions options, const std::vector<ScenarioLine> &lines) {
    const auto begin = std::chrono::steady_clock::now();
    const std::string name = fs::path(options.scenario).stem().string();
    if (options.out.empty()) options.out = name;
    fs::create_directories(options.out);
    StageOptions stage_options;
    stage_options.target = options.target;
    Stage stage(stage_options);
    Film film(stage);
    stage.set_watcher([&film] { film.look(); });
    Run run{options, name, stage, film};
    play_lines(run, lines);
    report(run, lines.size(), std::chrono::steady_clock::now() - begin);
    return run.failures == 0 ? play_well : play_unmet;
}

PlayStatus play(const PlayOptions &options) try {
    return play_on_stage(options, load_scenario(options.scenario));
} catch (const ScenarioError &problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return play_bad;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "display-sim: %s\n", problem.what());
    return play_unmet;
}

/* ---- the command line ---- */

static bool parse(const std::vector<std::string> &arguments, PlayOptions &options) {
    for (size_t i = 0; i < arguments.size(); i++) {
        const std::string &word = arguments[i];
        const bool has_value = i + 1 < arguments.size();
        if (word == "--update") {
            options.update = true;
        } else if (word == "--out" && has_value) {
            options.out = arguments[++i];
        } else if (word == "--target" && has_value && arguments[i + 1] == "armhf") {
            options.target = Target::armhf;
            i++;
        } else if (word.empty() || word[0] == '-' || !options.scenario.empty()) {
            return false;
        } else {
            options.scenario = word;
        }
    }
    return !options.scenario.empty();
}

int play_command(const std::vector<std::string> &arguments) {
    if (arguments == std::vector<std::string>{"--help"}) {
        std::fputs(usage, stdout);
        return play_well;
    }
    PlayOptions options;
    if (!parse(arguments, options)) {
        std::fputs(usage, stderr);
        return play_bad;
    }
    return play(options);
}

} // namespace desk
