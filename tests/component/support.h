// What the component tests stand on: a clock they drive, a panel they can look at, the daemon's files and
// tools at their real paths inside a box, and what the daemon said to the shell and to the system log.
//
// Derive fixtures from ComponentTest. It gives every test a fresh screen, a fresh DisplayState, no tasks but
// LVGL's own and no files, so that the tests also pass one after the other in a single process.
// The executable is to be started through desk-exec; outside of a box the file functions end the process.
#pragma once

#include <gtest/gtest.h>

#include <stdint.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/display_state.h"
#include "lvgl.h"

// ---- Time. gettimeofday() answers with this clock in the whole executable; LVGL's tick follows it.

/// Where the clock stands when a test begins.
extern const int64_t CLOCK_AT_START_US;

/// Microseconds since 1970 as gettimeofday() tells them.
extern int64_t test_clock_us;

/// Added to the clock after each gettimeofday(); 0 unless a test sets it.
extern int64_t test_clock_step_us;

/// Lets `ms` milliseconds pass, one at a time, with one lv_task_handler() after each.
void run_for(uint32_t ms);

// ---- Panel: the registered display's pixels, copied by its flush callback.

/// True when the pixel is lit; false outside of the panel.
bool pixel(int x, int y);

/// All pixels, row by row.
const bool *panel_pixels();

/// Lit pixels inside a rectangle, both corners included.
int lit_pixels(int x1, int y1, int x2, int y2);

/// The panel as text, one row a line, '#' lit and '.' dark.
std::string panel_text();

/// Draws what is invalid now, without letting time pass.
void draw_now();

/// Pixels redrawn since the last call of forget_redraws().
uint32_t redrawn_pixels();

/// Of these, those that became others than they were. What changes and changes back counts twice.
uint32_t changed_pixels();

/// Draws what is still invalid and begins to count both anew.
void forget_redraws();

// ---- Objects

lv_obj_t *active_screen();

/// The object's children in the order of their creation.
std::vector<lv_obj_t *> children_of(const lv_obj_t *object);

/// True when the object is of this widget type, such as "lv_label".
bool is_a(lv_obj_t *object, const char *type);

/// The first label with exactly this text below `object`, or NULL.
lv_obj_t *find_label(const lv_obj_t *object, const std::string &text);

/// All LVGL tasks but the display's own refresh and the animations', newest first among equal priorities.
std::vector<lv_task_t *> daemon_tasks();

/// The daemon's only task with this callback, or NULL.
lv_task_t *find_task(lv_task_cb_t callback);

// ---- Files. Each path a test touches gets back what it had before when the test ends.

/// True inside of a box made by desk-exec.
bool inside_box();

/// Writes the bytes as they are, making the folders on the way; replaces whatever has the path now.
void write_file(const std::string &path, const std::string &bytes);
void make_fifo(const std::string &path);
void make_folder(const std::string &path);
void remove_file(const std::string &path);

/// A shell script /usr/local/bin/<name> that notes its arguments and then does `body`.
void write_tool(const std::string &name, const std::string &body);

/// The notes of all such scripts since the test began, in order: name and arguments, each followed by '|',
/// such as "iw|dev|wlan0|link|".
std::vector<std::string> tool_calls();

// ---- Shell: the daemon's popen() and pclose().

using ShellAnswer = std::function<std::optional<std::string>(const std::string &command)>;

/// From now on to the test's end popen() runs nothing: the answer's text is what the command prints, no text
/// means that popen() fails.
void answer_commands(ShellAnswer answer);

/// Every command line given to popen() since the test began, run or not.
extern std::vector<std::string> shell_commands;

/// popen() streams not closed yet; and calls of pclose() with NULL, which would crash in the C library.
extern int open_pipes;
extern int null_pcloses;

/// What a buffer holds after reading a pipe to its end with fgets() and this limit: the last piece up to its
/// first NUL, or what it held before.
std::string last_piece(const std::string &output, size_t limit, const std::string &before);

// ---- System log

struct LogLine {
    int priority;
    std::string text; ///< formatted, as given: most of the daemon's lines end with a newline
};

/// Everything given to syslog() since the test began; nothing of it reaches the system.
extern std::vector<LogLine> log_lines;

// ---- Processes

/// What became of a forked child.
struct ChildOutcome {
    std::string report; ///< what `body` returned
    std::string out;    ///< standard output as it arrived in a pipe; nothing is flushed when the child ends
    std::string err;    ///< standard error
    bool survived;      ///< the child came to the end of `body`
};

/// Runs `body` in a forked child: for code that keeps state for the life of a process, or prints.
/// With `joined` standard error arrives in `out` too, so that their order can be seen.
ChildOutcome in_child(const std::function<std::string()> &body, bool joined = false);

/// Back to the real shell and to empty records; the fixture does it round every test.
void forget_shell_and_log();

class ComponentTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};
