// The player: a scenario's lines one after the other, its pictures, its expectations, its report.
#include "simulator/scenario/play.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <thread>

#include "panel/files.h"
#include "simulator/scenario/expected_picture.h"
#include "simulator/scenario/play_film.h"
#include "simulator/scenario/program.h"
#include "simulator/scenario/scenario.h"

namespace desk {

namespace fs = std::filesystem;

static constexpr int picture_scale = 4;

static const char *const play_usage =
    "usage: display-sim play FILE... [--out DIR] [--update] [--junit FILE] [--target armhf]\n"
    "  FILE            a scenario, see docs/scenarios.md; - reads it from the standard input\n"
    "  --out DIR       where pictures and the film go, with several scenarios in a folder for each; a fresh folder\n"
    "                  among the temporary files otherwise\n"
    "  --update        write the expected pictures beside the scenario instead of comparing with them\n"
    "  --junit FILE    the results for a CI server, as JUnit writes them\n"
    "  --target armhf  the 32-bit ARM daemon under qemu-arm ('./setup armhf' builds it)\n"
    "It ends with status 0 when all went as expected, 1 when something did not, 2 for a bad scenario or command line,\n"
    "3 when it could not be carried out (no room for a picture, no daemon that starts).\n";

static const char *const exec_usage =
    "usage: display-sim exec [--scenario FILE] [--out DIR] [--junit FILE] [--target armhf] [--] PROGRAM [ARGUMENT...]\n"
    "  PROGRAM          runs beside the display: its system bus is the display's, and /tmp, /userdata, /rodata, /sys\n"
    "                   and /usr/local/bin are the box's; the current folder is at its place; see docs/exec.md\n"
    "  --scenario FILE  what happens meanwhile, and what the panel must show; at its end PROGRAM is ended. Without\n"
    "                   it the run ends with PROGRAM\n"
    "  --out DIR        where the film, the log and pictures go; a fresh folder among the temporary files otherwise\n"
    "  --junit FILE     the result for a CI server, as JUnit writes it\n"
    "  --target armhf   the 32-bit ARM display under qemu-arm ('./setup armhf' builds it)\n"
    "It ends with status 0 when PROGRAM ended with 0, or at the scenario's end, and all went as expected; 1 when\n"
    "something did not, 2 for a bad scenario or command line, 3 when it could not be carried out.\n";

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
    std::optional<Program> program{};
    std::chrono::steady_clock::time_point paced_from{}; // the program's clock and the daemons', at one moment
    int64_t paced_from_us = 0;
    bool paced = true; // until the program has ended
    std::vector<std::string> problems{};
    int pictures = 0;
    int failures = 0;
    bool broken = false;
};

static void say(std::vector<std::string> &problems, const std::string &problem) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", problem.c_str());
    problems.push_back(problem);
}

static void say(Run &run, const ScenarioLine &line, const std::string &problem) {
    const std::string where = run.options.scenario == "-" ? "standard input" : run.options.scenario;
    say(run.problems, where + ":" + std::to_string(line.number) + ": " + problem);
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
    std::vector<fs::path> spared;
    if (!options.scenario.empty()) spared.push_back(options.scenario);
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

/* ---- the program beside ---- */

// After each start of the daemons, whose clock begins anew then.
static void start_program(Run &run) {
    if (run.options.program.empty()) return;
    if (!run.program) run.program.emplace(run.stage, run.options.program);
    run.paced_from = std::chrono::steady_clock::now();
    run.paced_from_us = run.stage.now_us();
}

// The daemons run no faster than the program, which knows the wall clock alone.
static void keep_pace(const Run &run) {
    if (!run.program || !run.paced) return;
    const std::chrono::microseconds passed(run.stage.now_us() - run.paced_from_us);
    std::this_thread::sleep_until(run.paced_from + passed);
}

static std::string end_of_program(int status) {
    if (status <= 128) return "ended with status " + std::to_string(status);
    return std::string("was ended by a signal: ") + strsignal(status - 128);
}

static void finish_program(Run &run) {
    // What it sent last takes up to two seconds to the panel; but nobody waits for them by the wall clock any more. The
    // bus, which may hold a whole socket of it, gets its turn in between: it reads some 2 kB at a time.
    constexpr int64_t aftermath_ms = 2500;
    if (!run.program) return;
    if (run.options.scenario.empty()) {
        while (!run.program->status()) run.stage.pass(watch_step_ms);
        run.paced = false;
        for (int64_t passed = 0; passed < aftermath_ms; passed += watch_step_ms) {
            if (!run.stage.bus().ended()) run.stage.bus().catch_up();
            run.stage.pass(watch_step_ms);
        }
    }
    const std::optional<int> status = run.program->status();
    run.program->end();
    if (!status || *status == 0) return;
    run.failures++;
    say(run.problems, "display-sim: " + run.options.program[0] + " " + end_of_program(*status));
}

static void save_log(Run &run, const std::string &path) {
    std::string text;
    for (const LogLine &line : run.stage.log(View::device)) {
        text += line.text;
        if (line.text.empty() || text.back() != '\n') text += '\n';
    }
    panel::save_bytes(path, text);
}

/* ---- lines ---- */

static void play_line(Run &run, const ScenarioLine &line) {
    const Action &action = line.action;
    const bool starts = is(action, "start");
    if (!run.options.program.empty() && !action.command->prepares_box && !starts) {
        if (!run.stage.started()) run.stage.start();
        if (!run.program) start_program(run);
    }
    std::printf("%8.3f s  %s\n", static_cast<double>(run.stage.now_us()) / 1e6, line.text.c_str());
    std::fflush(stdout);
    perform(run.stage, action);
    if (starts) start_program(run);
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
    if (run.options.scenario.empty()) return "the program ended with status 0";
    const bool tested =
        std::any_of(lines.begin(), lines.end(), [](const ScenarioLine &line) { return tests_something(line.action); });
    if (!tested) return "NOTHING was tested, for no line expects a picture, a log line, a mode or a still picture";
    return "as expected";
}

static void report(Run &run, const std::vector<ScenarioLine> &lines, std::chrono::duration<double> taken) {
    const std::string film = run.options.out + "/" + run.name + "-film.png";
    try {
        if (run.film.frames() > 0) run.film.save(film);
        if (run.program) save_log(run, run.options.out + "/" + run.name + "-log.txt");
    } catch (const Error &problem) {
        run.broken = true;
        say(run.problems, std::string("display-sim: ") + problem.what());
    }
    std::printf("%s: %zu lines in %.1f s; %d pictures and a film of %zu frames (%s) in %s: %s\n", run.name.c_str(),
                lines.size(), taken.count(), run.pictures, run.film.frames(), fs::path(film).filename().c_str(),
                run.options.out.c_str(), verdict(run, lines).c_str());
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
    run.broken = true;
    say(run.problems, std::string("display-sim: ") + system_error("can't write the report").what());
}

// A start in an empty box would make another box than the program's.
static void refuse_another_box(const std::vector<ScenarioLine> &lines) {
    bool started = false;
    for (const ScenarioLine &line : lines) {
        if (started && is(line.action, "start") && line.action.start.bare) {
            throw ScenarioError("display-sim: line " + std::to_string(line.number) +
                                " makes an empty box while the program runs; only the first start can");
        }
        started = started || !line.action.command->prepares_box;
    }
}

static std::string name_of_run(const PlayOptions &options) {
    if (options.scenario == "-") return "scenario";
    return fs::path(options.scenario.empty() ? options.program[0] : options.scenario).stem().string();
}

static void play_on_stage(PlayOptions options, PlayResult &result) {
    const std::vector<ScenarioLine> lines =
        options.scenario.empty() ? std::vector<ScenarioLine>{} : load_scenario(options.scenario);
    if (!options.program.empty()) refuse_another_box(lines);
    if (!options.out.empty()) spare_expected(options, result.name, lines);
    const auto begin = std::chrono::steady_clock::now();
    std::map<std::string, Expected> expected = load_expected(options, lines);
    StageOptions stage_options;
    stage_options.target = options.target;
    Stage stage(stage_options);
    if (options.out.empty()) options.out = fresh_folder(result.name);
    fs::create_directories(options.out);
    Film film(stage);
    Run run{options, result.name, stage, film, std::move(expected)};
    stage.set_viewer([&film](const Moment &moment) { film.look(moment); });
    if (!options.program.empty()) stage.set_watcher([&run] { keep_pace(run); });
    play_lines(run, lines);
    if (!run.program && !options.program.empty() && !run.broken && run.failures == 0) {
        if (!stage.started()) stage.start();
        start_program(run);
    }
    try {
        finish_program(run);
    } catch (const std::exception &problem) { // a daemon has ended
        run.failures++;
        say(run.problems, std::string("display-sim: ") + problem.what());
    }
    report(run, lines, std::chrono::steady_clock::now() - begin);
    result.problems = run.problems;
    result.status = run.broken ? play_broken : run.failures > 0 ? play_unmet : play_well;
}

PlayResult play(const PlayOptions &options) {
    std::signal(SIGXFSZ, SIG_IGN); // a file that grows too large is told like a full disk
    const auto begin = std::chrono::steady_clock::now();
    PlayResult result;
    result.name = name_of_run(options);
    try {
        play_on_stage(options, result);
    } catch (const ScenarioError &problem) {
        result.status = play_bad;
        say(result.problems, problem.what());
    } catch (const std::exception &problem) {
        result.status = play_broken;
        say(result.problems, std::string("display-sim: ") + problem.what());
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

/* ---- results for a CI server ---- */

// XML 1.0 has no place for most control characters, not even by number.
static std::string xml_text(const std::string &text) {
    std::string escaped;
    for (char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        if (letter == '&') {
            escaped += "&amp;";
        } else if (letter == '<') {
            escaped += "&lt;";
        } else if (letter == '"') {
            escaped += "&quot;";
        } else {
            escaped += code < 0x20 && letter != '\n' && letter != '\t' ? '?' : letter;
        }
    }
    return escaped;
}

static std::string seconds_text(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", seconds);
    return text;
}

void save_junit(const std::string &path, const std::vector<PlayResult> &results) {
    int failures = 0;
    int errors = 0;
    double seconds = 0.0;
    std::string cases;
    for (const PlayResult &result : results) {
        seconds += result.seconds;
        cases += "  <testcase classname=\"display-sim\" name=\"" + xml_text(result.name) + "\" time=\"" +
                 seconds_text(result.seconds) + "\">\n";
        // A failure is the display's or the program's, an error is that nothing can be said of them.
        const std::string kind = result.status == play_unmet ? "failure" : "error";
        failures += result.status == play_unmet;
        errors += result.status > play_unmet;
        if (result.status != play_well) {
            std::string all;
            for (const std::string &problem : result.problems) all += problem + "\n";
            const std::string first = result.problems.empty() ? "" : result.problems[0];
            cases += "    <" + kind + " message=\"" + xml_text(first) + "\">" + xml_text(all) + "</" + kind + ">\n";
        }
        cases += "  </testcase>\n";
    }
    panel::save_bytes(path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"display-sim\" tests=\"" +
                                std::to_string(results.size()) + "\" failures=\"" + std::to_string(failures) +
                                "\" errors=\"" + std::to_string(errors) + "\" time=\"" + seconds_text(seconds) +
                                "\">\n" + cases + "</testsuite>\n");
}

/* ---- the command line ---- */

struct PlayRequest {
    PlayOptions options;
    std::vector<std::string> scenarios;
    std::string junit;
};

// What both commands have. False: it is none of these.
static bool take_common_option(const std::vector<std::string> &arguments, size_t &i, PlayRequest &request) {
    if (i + 1 == arguments.size()) return false;
    const std::string &word = arguments[i];
    const std::string &value = arguments[i + 1];
    if (word == "--out") {
        request.options.out = value;
    } else if (word == "--junit") {
        request.junit = value;
    } else if (word == "--target" && value == "armhf") {
        request.options.target = Target::armhf;
    } else {
        return false;
    }
    i++;
    return true;
}

static bool parse_play(const std::vector<std::string> &arguments, PlayRequest &request) {
    for (size_t i = 0; i < arguments.size(); i++) {
        const std::string &word = arguments[i];
        if (take_common_option(arguments, i, request)) continue;
        if (word == "--update") {
            request.options.update = true;
        } else if (word.empty() || (word[0] == '-' && word != "-")) {
            return false;
        } else {
            request.scenarios.push_back(word);
        }
    }
    return !request.scenarios.empty();
}

static bool parse_exec(const std::vector<std::string> &arguments, PlayRequest &request) {
    size_t i = 0;
    for (; i < arguments.size() && !arguments[i].empty() && arguments[i][0] == '-' && arguments[i] != "--"; i++) {
        if (take_common_option(arguments, i, request)) continue;
        if (arguments[i] != "--scenario" || i + 1 == arguments.size()) return false;
        request.options.scenario = arguments[++i];
    }
    if (i < arguments.size() && arguments[i] == "--") i++;
    request.options.program.assign(arguments.begin() + static_cast<std::ptrdiff_t>(i), arguments.end());
    return !request.options.program.empty() && !request.options.program[0].empty();
}

static int finish(const PlayRequest &request, const std::vector<PlayResult> &results) {
    int worst = play_well;
    size_t well = 0;
    for (const PlayResult &result : results) {
        worst = std::max<int>(worst, result.status);
        well += result.status == play_well;
    }
    if (results.size() > 1) std::printf("%zu scenarios, %zu as expected\n", results.size(), well);
    if (request.junit.empty()) return worst;
    try {
        save_junit(request.junit, results);
    } catch (const Error &problem) {
        std::fprintf(stderr, "display-sim: %s\n", problem.what());
        worst = play_broken;
    }
    return worst;
}

// Two scenarios of one name would write to one folder.
static std::string repeated_name(const std::vector<std::string> &scenarios) {
    std::set<std::string> names;
    for (const std::string &scenario : scenarios) {
        const std::string name = fs::path(scenario).stem().string();
        if (!names.insert(name).second) return name;
    }
    return "";
}

int play_command(const std::vector<std::string> &arguments) {
    if (arguments == std::vector<std::string>{"--help"}) {
        std::fputs(play_usage, stdout);
        return play_well;
    }
    PlayRequest request;
    if (!parse_play(arguments, request)) {
        std::fputs(play_usage, stderr);
        return play_bad;
    }
    const std::string repeated = repeated_name(request.scenarios);
    if (!repeated.empty()) {
        std::fprintf(stderr, "display-sim: two scenarios are called %s; play them one by one\n", repeated.c_str());
        return play_bad;
    }
    std::vector<PlayResult> results;
    for (const std::string &scenario : request.scenarios) {
        PlayOptions options = request.options;
        options.scenario = scenario;
        const bool several = request.scenarios.size() > 1;
        if (several && !options.out.empty()) options.out += "/" + name_of_run(options);
        results.push_back(play(options));
    }
    return finish(request, results);
}

int exec_command(const std::vector<std::string> &arguments) {
    if (arguments == std::vector<std::string>{"--help"}) {
        std::fputs(exec_usage, stdout);
        return play_well;
    }
    PlayRequest request;
    if (!parse_exec(arguments, request)) {
        std::fputs(exec_usage, stderr);
        return play_bad;
    }
    return finish(request, {play(request.options)});
}

} // namespace desk
