// The desk itself: how long it waits for a daemon that moves or hangs, and what a killed desk leaves behind.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/desk/desk.h"
#include "simulator/desk/places.h"
#include "simulator/desk/temporary_folder.h"
#include "support.h"

namespace simulator_test {

namespace fs = std::filesystem;

// A variable of the environment for as long as a test runs.
class Variable {
public:
    Variable(const char *name, const std::string &value) : name_(name) {
        const char *before = std::getenv(name);
        had_ = before != nullptr;
        before_ = had_ ? before : "";
        setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (had_) {
            setenv(name_, before_.c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

private:
    const char *name_;
    bool had_ = false;
    std::string before_;
};

/* ---- deadlines ---- */

// Below 6 V the meter asks a tool twice a second, here one that does what `body` says.
static void ask_tool_each_time(desk::Desk &desk, const std::string &body) {
    desk.box().set_supply_volts(3.0);
    desk.box().set_jack_ready(true);
    desk.box().write_script("/usr/local/bin/vcicp", "#!/bin/sh\n" + body + "\n");
}

TEST(DeskDeadline, SlowDaemonThatMovesIsWaitedFor) {
    desk::Desk desk;
    desk.start();
    ask_tool_each_time(desk, "/usr/bin/sleep 0.3; echo 12000");
    const Variable stretched("DESK_PATIENCE", "0.1");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_NO_THROW(desk.advance(10000));
    EXPECT_EQ(desk.clock().now_us(), 10000000);
    // Otherwise it has proved nothing: the deadline is a second.
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

static std::string what_advance_throws(desk::Desk &desk) {
    try {
        desk.advance(2000);
    } catch (const desk::Error &problem) {
        return problem.what();
    }
    return "nothing";
}

TEST(DeskDeadline, HangIsToldWithTheWayOut) {
    desk::Desk desk;
    desk.start();
    ask_tool_each_time(desk, "/usr/bin/sleep 20");
    const Variable stretched("DESK_PATIENCE", "0.05");
    const auto begin = std::chrono::steady_clock::now();
    const std::string said = what_advance_throws(desk);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_TRUE(contains(said, "hangs in the next 2000 ms")) << said;
    EXPECT_TRUE(contains(said, "DESK_PATIENCE=")) << said;
    EXPECT_TRUE(contains(said, "Match rule sent")) << said;
}

// Processor time of the daemon's group counts as progress, but not without end.
TEST(DeskDeadline, WhatSpinsHasHung) {
    desk::Desk desk;
    desk.start();
    ask_tool_each_time(desk, "/usr/bin/timeout --foreground 60 /bin/sh -c 'while :; do :; done'");
    const Variable stretched("DESK_PATIENCE", "0.05");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(contains(what_advance_throws(desk), "hangs in the next 2000 ms"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(40));
}

/* ---- what killed desks leave ---- */

// A desk-exec that is killed with its folder in `where`; the folder's path.
static std::string folder_of_a_killed_desk(const std::string &where) {
    const pid_t pid = fork();
    if (pid == 0) {
        setenv("TMPDIR", where.c_str(), 1);
        const std::string program = desk::find_program("simulator/desk-exec");
        execl(program.c_str(), program.c_str(), "--", "/bin/sleep", "60", nullptr);
        _exit(127);
    }
    std::string found;
    desk::wait_until([&] {
        for (const auto &item : fs::directory_iterator(where)) {
            const bool complete = fs::exists(item.path() / "usr-local-bin/vcicp") && fs::exists(item.path() / ".lock");
            if (fs::is_directory(item.path()) && complete) found = item.path().string();
        }
        return !found.empty();
    });
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return found;
}

TEST(Leftovers, FolderOfAKilledDeskGoesWithTheNext) {
    const Folder place;
    const std::string left = folder_of_a_killed_desk(place.path());
    ASSERT_TRUE(!left.empty() && fs::exists(left));
    const Outcome next = display_sim({"--demo"}, "TMPDIR='" + place.path() + "'");
    EXPECT_EQ(next.status, 0) << next.errors;
    EXPECT_FALSE(fs::exists(left));
    EXPECT_TRUE(fs::is_empty(place.path()));
}

// A process sweeps once, when it makes its first folder: another desk comes and goes.
static void run_another_desk(const std::string &where) {
    const std::string program = desk::find_program("simulator/desk-exec");
    ASSERT_EQ(std::system(("TMPDIR='" + where + "' '" + program + "' /bin/true").c_str()), 0);
}

TEST(Leftovers, FolderOfALivingDeskStays) {
    const Folder place;
    const Variable temporary("TMPDIR", place.path());
    const desk::TemporaryFolder living("desk-");
    std::ofstream(living.path() + "/file") << "content";
    run_another_desk(place.path());
    EXPECT_TRUE(fs::exists(living.path() + "/file"));
    EXPECT_TRUE(fs::exists(living.path() + "/.lock"));
}

// Not a desk's: another name, a file, a folder without a lock that holds something.
TEST(Leftovers, WhatIsNoDesksStays) {
    const Folder place;
    for (const char *name : {"desk-abc", "desk-abcdefg", "other-abcdef"}) {
        place.write(std::string(name) + "/.lock", "");
    }
    place.write("desk-withou/file", "content");
    place.write("desk-afile1", "content");
    run_another_desk(place.path());
    const std::vector<std::string> all = {"desk-abc/.lock", "desk-abcdefg/.lock", "desk-afile1", "desk-withou/file",
                                          "other-abcdef/.lock"};
    EXPECT_EQ(place.names(), all);
}

TEST(Leftovers, LinksAreNotFollowed) {
    const Folder place;
    const Folder elsewhere;
    elsewhere.write("target/.lock", "");
    elsewhere.write("target/file", "content");
    // In a desk's place, in the lock's, and in what a dead desk has left.
    fs::create_directory_symlink(elsewhere.path() + "/target", place.path() + "/desk-linked");
    fs::create_directory(place.path() + "/desk-lockln");
    fs::create_symlink(elsewhere.path() + "/target/.lock", place.path() + "/desk-lockln/.lock");
    place.write("desk-ldead1/.lock", "");
    fs::create_directory_symlink(elsewhere.path() + "/target", place.path() + "/desk-ldead1/link");
    run_another_desk(place.path());
    EXPECT_TRUE(elsewhere.has("target/file"));
    EXPECT_TRUE(fs::is_symlink(place.path() + "/desk-linked"));
    EXPECT_TRUE(fs::exists(place.path() + "/desk-lockln"));
    EXPECT_FALSE(fs::exists(place.path() + "/desk-ldead1"));
}

TEST(Leftovers, FolderOfAnotherUserStays) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can make a folder of another user";
    const Folder place;
    place.write("desk-other1/.lock", "");
    ASSERT_EQ(chown((place.path() + "/desk-other1").c_str(), 65534, 65534), 0);
    run_another_desk(place.path());
    EXPECT_TRUE(place.has("desk-other1/.lock"));
}

} // namespace simulator_test
