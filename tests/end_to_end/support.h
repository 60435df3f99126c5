// What every end-to-end test stands on: one desk a test, the whole unmodified daemon in it, stepped time.
//
// A test prepares the box, starts the daemon, sends signals and looks at the panel, the log and the streams.
// Nothing here sleeps: time passes only in desk().advance(). The last question of each test is "still alive?"
// (TearDown), unless the test has said that the daemon is to end.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <syslog.h>

#include "simulator/desk/desk.h"

namespace panel {

// Failed comparisons show the picture.
void PrintTo(const Picture &picture, std::ostream *out);

} // namespace panel

namespace end_to_end {

class DaemonTest : public ::testing::Test {
protected:
    // Makes the desk without starting the daemon, so that the box can be prepared. The one before it goes.
    desk::Desk &prepare(const desk::Options &options = {});
    // prepare(), for the binary that draws the whole layout.
    desk::Desk &prepare_layout(desk::Options options = {});
    desk::Desk &desk() { return *desk_; }
    desk::Box &box() { return desk_->box(); }
    void start() { desk_->start(); }

    // Sends a command and lets the tasks that answer it run.
    void command(const std::string &word, const std::vector<desk::Argument> &further = {});
    void error_code(const std::string &code) { command("Error_Code", {code}); }
    // Runs the daemon until `ms` after its start.
    void run_until(int64_t ms);

    // TearDown no longer asks whether the daemon lives.
    void expect_end() { end_expected_ = true; }

    // The lines logged so far, as their texts, and those from `first` on.
    std::vector<std::string> log_texts(size_t first = 0);
    size_t log_size() { return desk().log().lines().size(); }

    // What the daemon's process holds now, as the kernel counts it.
    int64_t descriptors();
    long resident_kilobytes();
    // The pages of its own variables that begin as zero, each whether it has been touched.
    std::vector<bool> touched_pages();

    void TearDown() override;

private:
    std::unique_ptr<desk::Desk> desk_;
    bool end_expected_ = false;
};

// The same test on both panels; the parameter says whether it is the layout's.
class BothPanels : public DaemonTest, public ::testing::WithParamInterface<bool> {
protected:
    desk::Desk &prepare(desk::Options options = {});
    void prepare_and_start();
};

// For INSTANTIATE_TEST_SUITE_P: names the two instances "device" and "layout".
std::string panel_name(const ::testing::TestParamInfo<bool> &info);

// Log lines as the daemon writes them, for comparisons that show both sides when they fail.
std::string received(const std::string &word);

} // namespace end_to_end
