#include "support.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "src/lv_misc/lv_gc.h"
#include "src/lv_misc/lv_ll.h"

namespace fs = std::filesystem;

// ---- Time

// In November 2023, and half an hour before the clock's next wrap at 2^31 microseconds.
const int64_t CLOCK_AT_START_US = 395812 * (1LL << 32) + 100000000;
int64_t test_clock_us = CLOCK_AT_START_US;
int64_t test_clock_step_us;

extern "C" int gettimeofday(timeval *__restrict now, void *__restrict) noexcept {
    int64_t seconds = test_clock_us / 1000000;
    if (test_clock_us % 1000000 < 0) --seconds;
    now->tv_sec = static_cast<time_t>(seconds);
    now->tv_usec = static_cast<suseconds_t>(test_clock_us - seconds * 1000000);
    test_clock_us += test_clock_step_us;
    return 0;
}

void run_for(uint32_t ms) {
    for (uint32_t i = 0; i < ms; ++i) {
        test_clock_us += 1000;
        lv_task_handler();
    }
}

// ---- Panel

constexpr int WIDTH = LV_HOR_RES_MAX;
constexpr int HEIGHT = LV_VER_RES_MAX;
static bool panel[HEIGHT][WIDTH];
static uint32_t redrawn;
static uint32_t changed;

static void flush_to_panel(lv_disp_drv_t *driver, const lv_area_t *area, lv_color_t *colors) {
    for (int y = area->y1; y <= area->y2; ++y) {
        for (int x = area->x1; x <= area->x2; ++x, ++colors) {
            ++redrawn;
            if (x < 0 || x >= WIDTH || y < 0 || y >= HEIGHT) continue;
            const bool lit = (colors->full & 1) != 0;
            changed += lit != panel[y][x];
            panel[y][x] = lit;
        }
    }
    lv_disp_flush_ready(driver);
}

static void display_once() {
    static bool done;
    if (done) return;
    done = true;
    static lv_disp_buf_t buffer;
    static lv_color_t pixels[WIDTH * HEIGHT];
    lv_init();
    lv_disp_buf_init(&buffer, pixels, nullptr, WIDTH * HEIGHT);
    lv_disp_drv_t driver;
    lv_disp_drv_init(&driver);
    driver.buffer = &buffer;
    driver.flush_cb = flush_to_panel;
    lv_disp_drv_register(&driver);
}

bool pixel(int x, int y) { return x >= 0 && x < WIDTH && y >= 0 && y < HEIGHT && panel[y][x]; }

const bool *panel_pixels() { return &panel[0][0]; }

int lit_pixels(int x1, int y1, int x2, int y2) {
    int lit = 0;
    for (int y = y1; y <= y2; ++y) {
        for (int x = x1; x <= x2; ++x) lit += pixel(x, y);
    }
    return lit;
}

std::string panel_text() {
    std::string text;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) text += panel[y][x] ? '#' : '.';
        text += '\n';
    }
    return text;
}

void draw_now() { lv_refr_now(lv_disp_get_default()); }

uint32_t redrawn_pixels() { return redrawn; }

uint32_t changed_pixels() { return changed; }

void forget_redraws() {
    draw_now();
    redrawn = 0;
    changed = 0;
}

// ---- Objects

lv_obj_t *active_screen() { return lv_disp_get_scr_act(lv_disp_get_default()); }

std::vector<lv_obj_t *> children_of(const lv_obj_t *object) {
    std::vector<lv_obj_t *> found;
    lv_obj_t *child = nullptr;
    while ((child = lv_obj_get_child_back(object, child)) != nullptr) found.push_back(child);
    return found;
}

bool is_a(lv_obj_t *object, const char *type) {
    lv_obj_type_t types;
    lv_obj_get_type(object, &types);
    return types.type[0] != nullptr && strcmp(types.type[0], type) == 0;
}

lv_obj_t *find_label(const lv_obj_t *object, const std::string &text) {
    for (lv_obj_t *child : children_of(object)) {
        if (is_a(child, "lv_label") && text == lv_label_get_text(child)) return child;
        if (lv_obj_t *deeper = find_label(child, text)) return deeper;
    }
    return nullptr;
}

static std::vector<lv_task_t *> all_tasks() {
    std::vector<lv_task_t *> tasks;
    lv_ll_t *list = &LV_GC_ROOT(_lv_task_ll);
    for (void *node = lv_ll_get_head(list); node != nullptr; node = lv_ll_get_next(list, node)) {
        tasks.push_back(static_cast<lv_task_t *>(node));
    }
    return tasks;
}

// LVGL's own tasks are those that exist before any test has begun.
static std::vector<lv_task_t *> own_tasks_of_lvgl() {
    static const std::vector<lv_task_t *> tasks = all_tasks();
    return tasks;
}

std::vector<lv_task_t *> daemon_tasks() {
    const std::vector<lv_task_t *> own = own_tasks_of_lvgl();
    std::vector<lv_task_t *> tasks;
    for (lv_task_t *task : all_tasks()) {
        if (std::find(own.begin(), own.end(), task) == own.end()) tasks.push_back(task);
    }
    return tasks;
}

lv_task_t *find_task(lv_task_cb_t callback) {
    lv_task_t *found = nullptr;
    for (lv_task_t *task : daemon_tasks()) {
        if (task->task_cb != callback) continue;
        EXPECT_EQ(found, nullptr) << "two tasks with the same callback";
        found = task;
    }
    return found;
}

// ---- Files

static std::map<std::string, std::optional<std::string>> touched; ///< path, and what a plain file there held
static const std::string TOOL_NOTES = "/tmp/.tool_calls";

bool inside_box() {
    const char *box = getenv("DESK_BOX");
    return box != nullptr && strcmp(box, "1") == 0;
}

static void require_box() {
    if (inside_box()) return;
    fprintf(stderr,
            "This test writes below /rodata, /userdata, /tmp, /sys and /usr/local/bin. "
            "Start it inside a box: desk-exec <this program>.\n");
    _exit(2);
}

static std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Cut to size at the end and not emptied first: ext4 writes an emptied and rewritten file to the disk at
// once.
static void replace(const std::string &path, const std::string &bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const bool written = fd >= 0 && write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
                         ftruncate(fd, static_cast<off_t>(bytes.size())) == 0;
    close(fd);
    if (!written) ADD_FAILURE() << "cannot write " << path << ": " << strerror(errno);
}

// Remembers what is there, takes it away and makes sure that the folder exists.
static void make_room(const std::string &path) {
    require_box();
    std::error_code ignored;
    if (touched.count(path) == 0) {
        touched[path] = std::nullopt;
        if (fs::is_regular_file(fs::symlink_status(path, ignored))) touched[path] = content_of(path);
    }
    fs::remove_all(path, ignored);
    fs::create_directories(fs::path(path).parent_path(), ignored);
}

static void restore_files() {
    for (const auto &[path, bytes] : touched) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
        if (bytes) replace(path, *bytes);
    }
    touched.clear();
}

void write_file(const std::string &path, const std::string &bytes) {
    // A plain file is rewritten in place: sweeps write the same few paths many thousand times.
    if (touched.count(path) == 0 || !fs::is_regular_file(fs::symlink_status(path))) make_room(path);
    replace(path, bytes);
}

void make_fifo(const std::string &path) {
    make_room(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0) << path;
}

void make_folder(const std::string &path) {
    make_room(path);
    ASSERT_TRUE(fs::create_directory(path)) << path;
}

void remove_file(const std::string &path) { make_room(path); }

void write_tool(const std::string &name, const std::string &body) {
    const std::string path = "/usr/local/bin/" + name;
    if (touched.count(TOOL_NOTES) == 0) make_room(TOOL_NOTES);
    write_file(path, "#!/bin/sh\n{ printf '" + name + "|'; for a; do printf '%s|' \"$a\"; done; echo; } >>" +
                         TOOL_NOTES + "\n" + body + "\n");
    ASSERT_EQ(chmod(path.c_str(), 0755), 0) << path;
}

std::vector<std::string> tool_calls() {
    std::vector<std::string> calls;
    std::istringstream notes(content_of(TOOL_NOTES));
    for (std::string line; std::getline(notes, line);) calls.push_back(line);
    return calls;
}

// ---- Fixture

static void delete_daemon_tasks() {
    for (lv_task_t *task : daemon_tasks()) lv_task_del(task);
}

static void fresh_screen() {
    lv_obj_t *old = active_screen();
    lv_disp_load_scr(lv_obj_create(nullptr, nullptr));
    lv_obj_del(old);
}

static void forget_everything() {
    delete_daemon_tasks();
    fresh_screen();
    display_state = DisplayState{};
    test_clock_us = CLOCK_AT_START_US;
    test_clock_step_us = 0;
    forget_shell_and_log();
}

void ComponentTest::SetUp() {
    setenv("PATH", "/usr/local/bin:/usr/bin:/bin", 1);
    display_once();
    own_tasks_of_lvgl();
    forget_everything();
    forget_redraws();
}

void ComponentTest::TearDown() {
    forget_everything();
    restore_files();
}
