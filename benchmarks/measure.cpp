// Runs one program of the kind of the display at the desk and prints one figure's raw numbers as JSON. The script
// `cost` calls it and makes the tables.
//
//   measure counts PROGRAM MS [LINE...]   under callgrind, in stepped time, from the start on: sets the box as the lines
//                                         say, settles, sends their signals 600 ms apart, runs for so long:
//                                         instructions, allocations
//   measure arm PROGRAM MS                the 32-bit ARM program under qemu-arm, in stepped time: instructions in MS
//                                         milliseconds, after it has settled
//   measure calls PROGRAM MS              under strace, in real time: system calls in MS milliseconds
//   measure idle PROGRAM MS               in real time: CPU seconds, wake-ups, memory, and the time to the first picture
//   measure latency PROGRAM COUNT         in real time: signal to changed pixel, microseconds each
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "simulator/desk/desk.h"
#include "simulator/desk/places.h"
#include "simulator/scenario/controls.h"
#include "simulator/scenario/scenario.h"
#include "simulator/scenario/stage_target.h"

namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

// Until tasks of all periods have run and the first picture stands.
constexpr int64_t settle_ms = 4100;
// Until the slowest row has taken a command up and it is drawn.
constexpr int64_t draw_ms = 600;

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Ends it in a way that lets the tool above it write its result.
void end(desk::Desk &desk) {
    kill(desk.daemon_pid(), SIGTERM);
    desk.wait_for_exit();
}

// Lines of the scenario language: controls of the box before the start, signals afterwards.
void prepare(desk::Box &box, const std::string &line) {
    const std::optional<desk::Action> action = desk::parse_action(line);
    for (const desk::Control &control : desk::controls()) {
        if (action->command->name == control.name) control.access.set(box, action->text);
    }
}

void send_and_draw(desk::Desk &desk, const std::string &line) {
    const std::optional<desk::Action> action = desk::parse_action(line);
    if (!is(*action, "send")) return;
    desk.bus().send(action->text, action->arguments);
    desk.advance(draw_ms);
}

// The total, the allocations, and what each function was called how often for, with all that it calls, out of
// callgrind's file.
json callgrind_counts(const std::string &text) {
    static const std::set<std::string> allocators = {"malloc", "calloc", "realloc"};
    static const std::regex function("c?fn=\\((\\d+)\\)(?: (.*))?");
    std::map<std::string, std::string> names;
    long allocations = 0;
    long long total = 0;
    json functions = json::object();
    std::istringstream lines(text);
    std::string line;
    std::string called;
    while (std::getline(lines, line)) {
        std::smatch match;
        if (std::regex_match(line, match, function)) {
            if (match[2].matched) names[match[1]] = match[2];
            if (line[0] == 'c') called = names[match[1]];
        } else if (line.rfind("calls=", 0) == 0) {
            const long count = std::stol(line.substr(6));
            if (allocators.count(called) > 0) allocations += count;
            std::getline(lines, line); // its place, and the cost
            json &one = functions[called.substr(0, called.find('('))];
            if (one.is_null()) one = {0, 0};
            one[0] = one[0].get<long>() + count;
            one[1] = one[1].get<long long>() + std::stoll(line.substr(line.find(' ')));
        } else if (line.rfind("summary: ", 0) == 0) {
            total = std::stoll(line.substr(9));
        }
    }
    return {{"instructions", total}, {"allocations", allocations}, {"functions", functions}};
}

json counts(const std::string &program, int64_t ms, const Words &lines) {
    desk::Options options;
    options.daemon = program;
    options.runner = {"valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=/tmp/callgrind.out"};
    desk::Desk desk(options);
    for (const std::string &line : lines) prepare(desk.box(), line);
    desk.start();
    desk.advance(settle_ms);
    for (const std::string &line : lines) send_and_draw(desk, line);
    desk.advance(ms);
    end(desk);
    return callgrind_counts(read_file(desk.box().host_path("/tmp/callgrind.out")));
}

json arm(const std::string &program, int64_t ms) {
    desk::Options options;
    choose_armhf(options);
    options.daemon = program;
    options.runner.insert(options.runner.end(), {"-plugin", "/tmp/qemu_count.so,to=/tmp/instructions"});
    desk::Desk desk(options);
    std::filesystem::copy_file(desk::find_program("benchmarks/libqemu_count.so"),
                               desk.box().host_path("/tmp/qemu_count.so"));
    const auto instructions = [&desk] {
        uint64_t count = 0;
        std::ifstream(desk.box().host_path("/tmp/instructions"), std::ios::binary)
            .read(reinterpret_cast<char *>(&count), sizeof count);
        return count;
    };
    desk.start();
    desk.advance(settle_ms);
    const uint64_t before = instructions();
    desk.advance(ms);
    return {{"instructions", instructions() - before}};
}

json calls(const std::string &program, int64_t ms) {
    desk::Options options;
    options.daemon = program;
    options.time = desk::Time::real;
    options.runner = {"strace", "-qq", "-o", "/tmp/strace.out"};
    desk::Desk desk(options);
    desk.start();
    const std::string path = desk.box().host_path("/tmp/strace.out");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const size_t from = read_file(path).size();
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    std::istringstream lines(read_file(path).substr(from));
    json counts = json::object();
    std::string line;
    std::getline(lines, line); // it may have begun before
    while (std::getline(lines, line)) {
        const std::string name = line.substr(0, line.find('('));
        counts[name] = counts.value(name, 0) + 1;
    }
    return counts;
}

long field(const std::string &text, const std::string &name) {
    const size_t place = text.find("\n" + name);
    return place == std::string::npos ? -1 : std::atol(text.c_str() + place + 1 + name.size());
}

double cpu_seconds(pid_t pid) {
    const std::string stat = read_file("/proc/" + std::to_string(pid) + "/stat");
    std::istringstream rest(stat.substr(stat.rfind(')') + 2));
    std::string word;
    for (int i = 3; i <= 13; i++) rest >> word;
    long user = 0;
    long system = 0;
    rest >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double ms_since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

// null if the panel stays dark for a second.
json ms_to_first_picture(desk::Desk &desk, std::chrono::steady_clock::time_point begin) {
    while (ms_since(begin) < 1000) {
        if (desk.picture().count_lit() > 0) return ms_since(begin);
    }
    return nullptr;
}

json idle(const std::string &program, int64_t ms) {
    desk::Options options;
    options.daemon = program;
    options.time = desk::Time::real;
    desk::Desk desk(options);
    const auto begin = std::chrono::steady_clock::now();
    desk.start();
    const double start_ms = ms_since(begin);
    const json picture_ms = ms_to_first_picture(desk, begin);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const pid_t pid = desk.daemon_pid();
    const std::string folder = "/proc/" + std::to_string(pid);
    const double cpu_before = cpu_seconds(pid);
    const long woken_before = field(read_file(folder + "/status"), "voluntary_ctxt_switches:");
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    const double seconds = static_cast<double>(ms) / 1000;
    const long woken = field(read_file(folder + "/status"), "voluntary_ctxt_switches:") - woken_before;
    const std::string memory = "\n" + read_file(folder + "/smaps_rollup");
    return {{"cpu", (cpu_seconds(pid) - cpu_before) / seconds},
            {"wake_ups", static_cast<double>(woken) / seconds},
            {"start_ms", start_ms},
            {"picture_ms", picture_ms},
            {"rss_kb", field(memory, "Rss:")},
            {"private_kb", field(memory, "Private_Dirty:")}};
}

json latency(const std::string &program, int count) {
    desk::Options options;
    options.daemon = program;
    options.time = desk::Time::real;
    desk::Desk desk(options);
    desk.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    json all = json::array();
    // Each replaces the other's picture in the row, at once.
    const char *const words[] = {"chan_usb", "chan_bt"};
    for (int i = 0; i < count; i++) {
        const desk::Picture before = desk.picture();
        const auto sent = std::chrono::steady_clock::now();
        desk.bus().send(words[i % 2], {});
        while (desk.picture() == before) {
            if (std::chrono::steady_clock::now() - sent > std::chrono::seconds(5))
                throw desk::Error("no pixel changes");
        }
        all.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - sent).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + i % 7));
    }
    return all;
}

} // namespace

int main(int argc, char **argv) try {
    const Words words(argv + 1, argv + argc);
    if (words.size() < 3) throw desk::Error("see the head of benchmarks/measure.cpp");
    const int64_t number = std::stol(words[2]);
    json result;
    if (words[0] == "counts") result = counts(words[1], number, {words.begin() + 3, words.end()});
    if (words[0] == "arm") result = arm(words[1], number);
    if (words[0] == "calls") result = calls(words[1], number);
    if (words[0] == "idle") result = idle(words[1], number);
    if (words[0] == "latency") result = latency(words[1], static_cast<int>(number));
    std::puts(result.dump().c_str());
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "measure: %s\n", problem.what());
    return 1;
}
