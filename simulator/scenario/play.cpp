// The player: a scenario's lines one after the other, its pictures, its expectations, its report.
#include "simulator/scenario/play.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>

#include "panel/files.h"
#include "simulator/scenario/expected_picture.h"
#include "simulator/scenario/play_film.h"
#include "simulator/scenario/scenario.h"

namespace desk {

namespace fs = std::filesystem;

static constexpr int picture_scale = 4;

static const char *const usage =
    "usage: display-sim play FILE [--out DIR] [--update] [--target armhf]\n"
    "  FILE            a scenario, see docs/scenarios.md; - reads it from the standard input\n"
    "  --out DIR       where pictures and the film go; a fresh folder among the temporary files otherwise\n"
    "  --update        write the expected pictures beside the scenario instead of comparing with them\n"
    "  --target armhf  the 32-bit ARM daemon under qemu-arm ('./setup armhf' builds it)\n"
    "It ends with status 0 when all went as expected, 1 when something did not, 2 for a bad scenario or command line,\n"
    "3 when it could not be carried out (no room for a picture, no daemon that starts).\n";

// A file that an "expect" names, as it was before anything was written.
struct Expected {
    fs::path path;
    std::optional<panel::Picture> picture;
    std::string problem; // why there is none
};

// What a run of the player carries along.
struct Run {
    const PlayOptions &options;
    std::string name; // of the scenario, without folder and ending
    Stage &stage;
    Film &film;
    std::map<std::string, Expected> expected; // by their names in the scenario
    std::map<std::string, panel::Picture> updated{};
    std::string note{}; // the last one
    int pictures = 0;
    int failures = 0;
    bool broken = false;
};

static void say(Run &run, const ScenarioLine &line, const std::string &problem) {
    const std::string where = run.options.scenario == "-" ? "standard input" : run.options.scenario;
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: %s\n", where.c_str(), line.number, problem.c_str());
}

static void complain(Run &run, const ScenarioLine &line, const std::string &problem) {
    run.failures++;
    say(run, line, problem);
}

static void save_picture(const panel::Picture &picture, const std::string &path_without_ending) {
    picture.save_pbm(path_without_ending + ".pbm");
    panel::save_bytes(path_without_ending + ".png", to_png(picture, picture_scale));
}

static void take_picture(Run &run, const std::string &name) {
    for (View view : both_views) {
        save_picture(run.stage.picture(view), run.options.out + "/" + name + "-" + name_of(view));
    }
    run.pictures++;
}

/* ---- expectations ---- */

static fs::path expected_path(const PlayOptions &options, const ExpectedFile &file) {
    return fs::path(options.scenario).parent_path() / file.name;
}

static std::map<std::string, Expected> load_expected(const PlayOptions &options,
                                                     const std::vector<ScenarioLine> &lines) {
    std::map<std::string, Expected> all;
    for (const ScenarioLine &line : lines) {
        for (const ExpectedFile &file : expected_files(line.action)) {
            Expected &expected = all[file.name];
            expected.path = expected_path(options, file);
            try {
                if (fs::exists(expected.path)) expected.picture = panel::Picture::load_pbm(expected.path.string());
            } catch (const Error &problem) {
                expected.problem = problem.what();
            }
        }
    }
    return all;
}

// A link stays one: what it leads to is written. What the file says to people stays too; a new one says what the note
// says.
static void update_expected(Run &run, const ScenarioLine &line, const std::string &name, const panel::Picture &actual) {
    const Expected &expected = run.expected.at(name);
    const auto [written, first] = run.updated.emplace(name, actual);
    if (!first) {
        if (written->second == actual) return;
        return complain(run, line, "an earlier line expects another picture in " + expected.path.string());
    }
    if (expected.picture == actual) return;
    fs::create_directories(expected.path.parent_path());
    const std::string comment = fs::exists(expected.path) ? picture_comment(expected.path.string()) : run.note;
    save_expected(fs::weakly_canonical(expected.path).string(), actual, comment);
    std::printf("            wrote %s\n", expected.path.c_str());
}

static void compare(Run &run, const ScenarioLine &line, const Expected &expected, const panel::Picture &actual) {
    const std::string file = expected.path.string();
    const std::string left_behind = run.options.out + "/" + expected.path.stem().string();
    if (!expected.picture) {
        complain(run, line,
                 (expected.problem.empty() ? "there is no picture " + file : file + ": " + expected.problem) +
                     "; the panel shows " + left_behind + ".actual.png. Is it right? Then --update writes it.");
        return save_picture(actual, left_behind + ".actual");
    }
    if (actual == *expected.picture) return;
    complain(run, line,
             "the panel does not show " + file + ": " + std::to_string(actual.count_different(*expected.picture)) +
                 " pixels differ; see " + left_behind + ".actual.png and " + left_behind + ".difference.png");
    save_picture(actual, left_behind + ".actual");
    save_picture(actual.difference(*expected.picture), left_behind + ".difference");
}

static void expect(Run &run, const ScenarioLine &line) {
    for (const ExpectedFile &file : expected_files(line.action)) {
        const panel::Picture actual = run.stage.picture(file.view);
        if (run.options.update) {
            update_expected(run, line, file.name, actual);
        } else {
            compare(run, line, run.expected.at(file.name), actual);
        }
    }
}

/* ---- the folder of the pictures ---- */

// Everything that a run may write there, without the folder.
static std::vector<std::string> names_written(const std::string &name, const std::vector<ScenarioLine> &lines) {
    std::vector<std::string> stems = {name + "-film"};
    for (const ScenarioLine &line : lines) {
        const std::string &text = line.action.text;
        if (is(line.action, "picture")) {
            for (View view : both_views) stems.push_back(text + "-" + name_of(view));
        }
        for (const ExpectedFile &file : expected_files(line.action)) {
            for (const char *kind : {".actual", ".difference"}) {
                stems.push_back(fs::path(file.name).stem().string() + kind);
            }
        }
    }
    std::vector<std::string> names;
    for (const std::string &stem : stems) names.insert(names.end(), {stem + ".pbm", stem + ".png"});
    return names;
}

// By device and inode: no link and no ".." hides that two paths mean one file. One that does not exist yet is told
// by its folder, as far as there is one.
static bool same_file(const fs::path &a, const fs::path &b) {
    std::error_code missing;
    if (fs::exists(a, missing) && fs::exists(b, missing)) return fs::equivalent(a, b, missing);
    const fs::path folder_of_a = fs::absolute(a).parent_path();
    const fs::path folder_of_b = fs::absolute(b).parent_path();
    if (a.filename() == b.filename() && fs::equivalent(folder_of_a, folder_of_b, missing)) return true;
    return fs::weakly_canonical(fs::absolute(a)) == fs::weakly_canonical(fs::absolute(b));
}

// What the scenario is to be compared with must outlive it, and the comparison would be one of a picture with itself.
static void spare_expected(const PlayOptions &options, const std::string &name,
                           const std::vector<ScenarioLine> &lines) {
    std::vector<fs::path> spared = {options.scenario};
    for (const ScenarioLine &line : lines) {
        for (const ExpectedFile &file : expected_files(line.action)) spared.push_back(expected_path(options, file));
    }
    for (const std::string &written : names_written(name, lines)) {
        for (const fs::path &path : spared) {
            if (!same_file(fs::path(options.out) / written, path)) continue;
            throw ScenarioError(
                "display-sim: in --out " + options.out + " this would be written over " + path.string() + ", which " +
                (path == options.scenario ? "is the scenario" : "the scenario expects") + "; give it another folder");
        }
    }
}

static std::string fresh_folder(const std::string &name) {
    std::string folder = (fs::temp_directory_path() / ("display-sim-" + name + "-XXXXXX")).string();
    if (mkdtemp(folder.data()) == nullptr) throw system_error("can't make a folder for the pictures (" + folder + ")");
    return folder;
}

/* ---- lines ---- */

static void play_line(Run &run, const ScenarioLine &line) {
    const Action &action = line.action;
    std::printf("%8.3f s  %s\n", static_cast<double>(run.stage.now_us()) / 1e6, line.text.c_str());
    std::fflush(stdout);
    perform(run.stage, action);
    run.film.look();
    if (is(action, "note")) {
        run.note = action.text;
        run.film.set_caption(action.text);
    }
    if (is(action, "picture")) take_picture(run, action.text);
    if (is(action, "expect")) expect(run, line);
}

static bool daemon_has_ended(Stage &stage) {
    try {
        stage.check_alive();
        return false;
    } catch (const Error &) {
        return true;
    }
}

// The rest of a scenario has no meaning after a wait that was not met; a wrong picture stops nothing.
static void play_lines(Run &run, const std::vector<ScenarioLine> &lines) {
    for (const ScenarioLine &line : lines) {
        try {
            play_line(run, line);
        } catch (const WaitFailed &problem) {
            return complain(run, line, problem.what());
        } catch (const std::exception &problem) {
            if (daemon_has_ended(run.stage)) return complain(run, line, problem.what());
            run.broken = true;
            return say(run, line, problem.what());
        }
    }
}

static std::string verdict(const Run &run, const std::vector<ScenarioLine> &lines) {
    if (run.broken) return "NOT carried out";
    if (run.failures > 0) return std::to_string(run.failures) + " NOT as expected";
    const bool tested =
        std::any_of(lines.begin(), lines.end(), [](const ScenarioLine &line) { return tests_something(line.action); });
    if (!tested) return "NOTHING was tested, for no line expects a picture, a log line, a mode or a still picture";
    return "as expected";
}

static void report(Run &run, const std::vector<ScenarioLine> &lines, std::chrono::duration<double> taken) {
    const std::string film = run.options.out + "/" + run.name + "-film.png";
    try {
        if (run.film.frames() > 0) run.film.save(film);
    } catch (const Error &problem) {
        run.broken = true;
        std::fprintf(stderr, "display-sim: %s\n", problem.what());
    }
    std::printf("%s: %zu lines in %.1f s; %d pictures and a film of %zu frames (%s) in %s: %s\n", run.name.c_str(),
                lines.size(), taken.count(), run.pictures, run.film.frames(), fs::path(film).filename().c_str(),
                run.options.out.c_str(), verdict(run, lines).c_str());
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
    run.broken = true;
    std::fprintf(stderr, "display-sim: %s\n", system_error("can't write the report").what());
}

static PlayStatus play_on_stage(PlayOptions options, const std::vector<ScenarioLine> &lines) {
    const auto begin = std::chrono::steady_clock::now();
    const std::string name = options.scenario == "-" ? "scenario" : fs::path(options.scenario).stem().string();
    if (!options.out.empty()) spare_expected(options, name, lines);
    std::map<std::string, Expected> expected = load_expected(options, lines);
    StageOptions stage_options;
    stage_options.target = options.target;
    Stage stage(stage_options);
    if (options.out.empty()) options.out = fresh_folder(name);
    fs::create_directories(options.out);
    Film film(stage);
    stage.set_watcher([&film] { film.look(); });
    Run run{options, name, stage, film, std::move(expected)};
    play_lines(run, lines);
    report(run, lines, std::chrono::steady_clock::now() - begin);
    if (run.broken) return play_broken;
    return run.failures == 0 ? play_well : play_unmet;
}

PlayStatus play(const PlayOptions &options) try {
    std::signal(SIGXFSZ, SIG_IGN); // a file that grows too large is told like a full disk
    return play_on_stage(options, load_scenario(options.scenario));
} catch (const ScenarioError &problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return play_bad;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "display-sim: %s\n", problem.what());
    return play_broken;
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
        } else if (word.empty() || (word[0] == '-' && word != "-") || !options.scenario.empty()) {
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
