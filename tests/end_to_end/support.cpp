#include "support.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

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

// Of the first mapping of no file behind one of the daemon's own.
std::vector<bool> DaemonTest::touched_pages() {
    constexpr uint64_t in_memory_or_swapped = uint64_t{3} << 62;
    const auto page_size = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    std::ifstream maps(proc_of(desk()) / "maps");
    bool behind_own = false;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string range, permissions, offset, device, node, path;
        words >> range >> permissions >> offset >> device >> node >> path;
        if (behind_own && path.empty()) {
            const uint64_t begin = std::stoull(range, nullptr, 16) / page_size;
            const uint64_t end = std::stoull(range.substr(range.find('-') + 1), nullptr, 16) / page_size;
            std::vector<uint64_t> entries(end - begin);
            const size_t bytes = entries.size() * sizeof(uint64_t);
            const int pages = open((proc_of(desk()) / "pagemap").c_str(), O_RDONLY | O_CLOEXEC);
            const ssize_t got = pread(pages, entries.data(), bytes, static_cast<off_t>(begin * sizeof(uint64_t)));
            close(pages);
            EXPECT_EQ(got, static_cast<ssize_t>(bytes)) << "can't read which pages the daemon has";
            std::vector<bool> touched;
            for (const uint64_t entry : entries) touched.push_back((entry & in_memory_or_swapped) != 0);
            return touched;
        }
        behind_own = path.find("/status-display") != std::string::npos;
    }
    ADD_FAILURE() << "the daemon's variables are nowhere";
    return {};
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
