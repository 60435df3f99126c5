#include "support.h"

#include <filesystem>
#include <fstream>
#include <iostream>

#include "panel/drawing.h"

namespace panel {

void PrintTo(const Picture &picture, std::ostream *out) { *out << "\n" << drawn(picture, Marks::half_blocks); }

} // namespace panel

namespace end_to_end {

desk::Desk &DaemonTest::prepare(const desk::Options &options) {
    desk_.reset();
    desk_ = std::make_unique<desk::Desk>(options);
    return *desk_;
}

desk::Desk &DaemonTest::prepare_layout(desk::Options options) {
    options.layout = true;
    return prepare(options);
}

void DaemonTest::command(const std::string &word, const std::vector<desk::Argument> &further) {
    desk().send_and_settle(word, further);
}

void DaemonTest::run_until(int64_t ms) {
    const int64_t now_ms = desk().clock().now_us() / 1000;
    ASSERT_LE(now_ms, ms) << "that moment has passed";
    if (now_ms < ms) desk().advance(ms - now_ms);
}

std::vector<std::string> DaemonTest::log_texts(size_t first) {
    std::vector<std::string> texts;
    const std::vector<desk::LogLine> lines = desk().log().lines();
    for (size_t i = first; i < lines.size(); i++) texts.push_back(lines[i].text);
    return texts;
}

static std::filesystem::path proc_of(desk::Desk &desk) {
    return std::filesystem::path("/proc") / std::to_string(desk.daemon_pid());
}

int64_t DaemonTest::descriptors() {
    const std::filesystem::path folder = proc_of(desk()) / "fd";
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

long DaemonTest::resident_kilobytes() {
    std::ifstream status(proc_of(desk()) / "status");
    for (std::string word; status >> word;) {
        long kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes) return kilobytes;
    }
    ADD_FAILURE() << "no VmRSS of the daemon";
    return 0;
}

// The first mapping of no file behind one of the daemon's own.
DaemonTest::Zeroed DaemonTest::zeroed() {
    std::ifstream maps(proc_of(desk()) / "smaps");
    bool behind_own = false;
    Zeroed found;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string first, permissions, offset, device, node, path;
        words >> first >> permissions >> offset >> device >> node >> path;
        if (first.find('-') != std::string::npos) { // a mapping begins
            if (found.kilobytes > 0) return found;
            if (behind_own && path.empty()) found.kilobytes = -1;
            behind_own = path.find("/status-display") != std::string::npos;
        } else if (found.kilobytes != 0) {
            if (first == "Size:") found.kilobytes = std::stol(permissions);
            if (first == "Rss:") found.touched = std::stol(permissions);
        }
    }
    ADD_FAILURE() << "the daemon's variables are nowhere";
    return found;
}

static std::string all_lines(desk::Desk &desk) {
    std::string text;
    for (const desk::LogLine &line : desk.log().lines()) text += "  " + line.text.substr(0, 200) + "\n";
    return text;
}

void DaemonTest::TearDown() {
    if (!desk_) return;
    if (!end_expected_ && !desk().alive()) ADD_FAILURE() << "the daemon has ended";
    const std::string errors = desk().errors();
    EXPECT_EQ(errors.find("Sanitizer"), std::string::npos);
    EXPECT_EQ(errors.find("runtime error"), std::string::npos);
    if (HasFailure()) {
        std::cout << "---- log\n" << all_lines(desk()) << "---- standard error\n" << errors << "----\n";
    }
}

desk::Desk &BothPanels::prepare(desk::Options options) {
    options.layout = GetParam();
    return DaemonTest::prepare(options);
}

void BothPanels::prepare_and_start() {
    prepare();
    start();
}

std::string panel_name(const ::testing::TestParamInfo<bool> &info) { return info.param ? "layout" : "device"; }

std::string received(const std::string &word) { return "Got Signal with value " + word + "\n"; }

} // namespace end_to_end
