// The desk's parts that everything stands on: children and their ends, and the system log of the box.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "panel/files.h"
#include "simulator/desk/box.h"
#include "simulator/desk/log_socket.h"
#include "panel/picture.h"
#include "simulator/desk/process.h"

#include "support.h"

using namespace simulator_test;
using std::chrono::milliseconds;

/* ---- children ---- */

static void start_shell(desk::Process &process, const std::string &script, const desk::Streams &streams = {}) {
    process.start({"sh", "-c", script}, streams);
}

TEST(Process, TellsHowItEnded) {
    desk::Process process;
    EXPECT_FALSE(process.alive());
    EXPECT_FALSE(process.status()) << "nothing was started";
    EXPECT_THROW(process.wait(), desk::Error);
    for (const auto &[script, status] :
         {std::pair{"exit 0", 0}, {"exit 42", 42}, {"kill -9 $$", 137}, {"kill -6 $$", 134}}) {
        start_shell(process, script);
        EXPECT_EQ(process.wait(), status) << script;
        EXPECT_EQ(process.status(), status) << "also when asked again";
        EXPECT_FALSE(process.alive());
    }
    process.start({"/no/such/program"}, {});
    EXPECT_EQ(process.wait(), 127);
}

TEST(Process, TakesSignalsThoughTheDeskHoldsThemBack) {
    sigset_t held;
    sigset_t before;
    sigemptyset(&held);
    sigaddset(&held, SIGTERM);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &held, &before), 0);
    desk::Process process;
    start_shell(process, "kill -TERM $$; exit 0");
    EXPECT_EQ(process.wait(), 128 + SIGTERM);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(Process, HasADeadline) {
    desk::Process process;
    start_shell(process, "sleep 600");
    EXPECT_FALSE(process.status()) << "it runs";
    EXPECT_THROW(process.wait(milliseconds(20)), desk::Error);
    EXPECT_TRUE(process.alive()) << "waiting in vain ends nothing";
    EXPECT_THROW(start_shell(process, "exit 0"), desk::Error) << "one at a time";
    process.kill();
    EXPECT_EQ(process.status(), 137);
}

static bool exists(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    // One that nobody has asked about yet is gone all the same.
    return std::getline(file, line) && line.substr(line.rfind(')')).find(" Z ") == std::string::npos;
}

TEST(Process, EndsWithEverythingThatItStarted) {
    const Folder folder;
    const std::string note = folder.path() + "/pid";
    for (bool by_destructor : {false, true}) {
        {
            desk::Process process;
            start_shell(process, "(trap '' TERM HUP; echo $$ >/dev/null; sh -c 'echo $$ >" + note + ".new; mv " + note +
                                     ".new " + note + "; exec sleep 600' & wait) & wait");
            ASSERT_TRUE(desk::wait_until([&] { return folder.has("pid"); }));
            if (!by_destructor) {
                process.kill();
                EXPECT_FALSE(process.alive());
            }
        }
        const pid_t grandchild = std::stoi(folder.read("pid"));
        EXPECT_TRUE(desk::wait_until([&] { return !exists(grandchild); })) << by_destructor;
        unlink(note.c_str());
    }
}

TEST(Process, StandsInTheTable) {
    desk::Process process;
    start_shell(process, "sleep 600");
    const auto found = [&] {
        const auto table = desk::process_table();
        return std::any_of(table.begin(), table.end(), [&](const desk::ProcessEntry &entry) {
            return entry.pid == process.pid() && entry.parent == getpid() && entry.group == process.pid();
        });
    };
    EXPECT_TRUE(desk::wait_until(found)) << "as a group of its own";
}

TEST(Process, HasTheStreamsThatItWasGiven) {
    const Folder folder;
    const std::string input = folder.write("input", "typed\n");
    desk::Streams streams;
    streams.input = open(input.c_str(), O_RDONLY | O_CLOEXEC);
    streams.output = open((folder.path() + "/output").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    streams.errors = open((folder.path() + "/errors").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    desk::Process process;
    start_shell(process, "read word; echo got $word; echo oops >&2", streams);
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(folder.read("output"), "got typed\n");
    EXPECT_EQ(folder.read("errors"), "oops\n");
    for (int file : {streams.input, streams.output, streams.errors}) close(file);
    start_shell(process,
                "test \"$(cat)\" = '' && readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2 | grep -v /dev/null");
    EXPECT_EQ(process.wait(), 1) << "all three are nowhere, and none waits for a person";
}

/* ---- the log ---- */

TEST(LogLine, IsTakenApart) {
    const desk::LogLine line = desk::parse_log_line("<142>Nov 21 08:14:00 Display[217]: Got: it\n");
    EXPECT_EQ(line.facility, LOG_LOCAL1);
    EXPECT_EQ(line.priority, LOG_INFO);
    EXPECT_EQ(line.ident, "Display");
    EXPECT_EQ(line.pid, 217);
    EXPECT_EQ(line.text, "Got: it\n") << "byte for byte";
    const desk::LogLine error = desk::parse_log_line("<11>Nov  1 08:14:00 other: failed");
    EXPECT_EQ(error.facility, LOG_USER);
    EXPECT_EQ(error.priority, LOG_ERR);
    EXPECT_EQ(error.ident, "other");
    EXPECT_EQ(error.pid, 0);
    EXPECT_EQ(error.text, "failed");
    EXPECT_EQ(desk::parse_log_line("<142>Display[2]: no stamp").text, "no stamp");
    EXPECT_EQ(desk::parse_log_line("<142>Nov 21 08:14:00 Display[2]: ").text, "");
    for (const char *odd : {"", "plain: text", "<142", "<142>no colon", ">", "<>"}) {
        EXPECT_EQ(desk::parse_log_line(odd).text, odd) << "whole, when it can't be taken apart";
    }
}

// A program that logs to that socket.
class Sender {
public:
    explicit Sender(const std::string &path) : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        connected_ = connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    }
    ~Sender() { close(socket_); }
    bool send(const std::string &text) {
        const std::string line = "<142>Nov 21 08:14:00 Display[2]: " + text;
        return connected_ && ::send(socket_, line.data(), line.size(), 0) == static_cast<ssize_t>(line.size());
    }

private:
    int socket_;
    bool connected_ = false;
};

TEST(LogSocket, HasEverythingThatWasSentBeforeTheQuestion) {
    const Folder folder;
    desk::LogSocket log(folder.path() + "/log");
    Sender sender(folder.path() + "/log");
    for (int i = 0; i < 2000; i++) {
        ASSERT_TRUE(sender.send("line " + std::to_string(i))); // would stand still if nobody read
        if (i % 100 != 0) continue;
        ASSERT_EQ(log.count(""), i + 1);
    }
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2000u);
    for (int i = 0; i < 2000; i++) ASSERT_EQ(lines[static_cast<size_t>(i)].text, "line " + std::to_string(i));
    EXPECT_EQ(log.count("line 199"), 11) << "199 and 1990 to 1999";
    EXPECT_TRUE(log.wait_for("line 1999"));
    EXPECT_FALSE(log.wait_for("line 2000", milliseconds(20)));
    ASSERT_TRUE(sender.send("cleared too"));
    log.clear();
    EXPECT_EQ(log.count(""), 0);
}

TEST(LogSocket, KeepsTextsAsTheyAre) {
    const Folder folder;
    desk::LogSocket log(folder.path() + "/log");
    Sender sender(folder.path() + "/log");
    const std::string large(50000, 'x');
    for (const std::string &text :
         {std::string("two\nlines\n"), std::string("zero\0", 5), large, std::string("\xff%s")}) {
        ASSERT_TRUE(sender.send(text));
    }
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].text, "two\nlines\n");
    EXPECT_EQ(lines[1].text, "zero") << "the terminating zero of some C libraries is no part of it";
    EXPECT_TRUE(lines[2].text == large);
    EXPECT_EQ(lines[3].text, "\xff%s");
}

TEST(LogSocket, ReplacesAStaleOneAndRemovesIt) {
    const Folder folder;
    const std::string path = folder.write("log", "stale");
    {
        desk::LogSocket log(path);
        EXPECT_TRUE(Sender(path).send("hello"));
        EXPECT_EQ(log.count("hello"), 1);
    }
    EXPECT_FALSE(folder.has("log"));
    try {
        desk::LogSocket log(folder.path() + "/" + std::string(100, 'x'));
        FAIL() << "no socket has so long a name";
    } catch (const desk::Error &problem) {
        EXPECT_TRUE(contains(problem.what(), "TMPDIR")) << problem.what();
    }
}

/* ---- pictures as files ---- */

TEST(Picture, IsReadFromWhatIsOneAndFromNothingElse) {
    const panel::Picture picture = panel::Picture::from_pbm("P1 # a comment with 0 1\n3\n2\n# 0 0 0\n10 1\n0 01\n");
    ASSERT_EQ(picture.width(), 3);
    ASSERT_EQ(picture.height(), 2);
    EXPECT_EQ(picture.count_lit(), 3);
    EXPECT_TRUE(picture.at(0, 0) && picture.at(2, 0) && picture.at(2, 1));
    EXPECT_EQ(panel::Picture::from_pbm(picture.to_pbm()), picture);
    for (const char *text : {"", "P1", "P4 1 1 1", "P1 0 1", "P1 2 -1 00", "P1 2 1 1", "P1 2 1 12", "P1 2 1 1x",
                             "P1 2000000000 2000000000 1", "P1 99999999999 1 1", "P1 a b 1"}) {
        EXPECT_THROW(panel::Picture::from_pbm(text), desk::Error) << text;
    }
}

TEST(SaveBytes, WritesAFileWholeOrNotAtAll) {
    const Folder folder;
    const std::string path = folder.write("a", "before");
    const std::string other = folder.path() + "/b";
    ASSERT_EQ(link(path.c_str(), other.c_str()), 0);
    panel::save_bytes(path, std::string("new\0\n", 5));
    EXPECT_EQ(folder.read("a"), std::string("new\0\n", 5));
    EXPECT_EQ(folder.read("b"), "before") << "not written in place";
    EXPECT_THROW(panel::save_bytes(folder.path() + "/none/a", "x"), desk::Error);
    folder.write("folder/c", "");
    EXPECT_THROW(panel::save_bytes(folder.path() + "/folder", "x"), desk::Error);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a", "b", "folder/c"})) << "nothing half-done is left";
}

/* ---- the box's files, whatever somebody put there ---- */

static const char *const serial = "/rodata/serial_number";

TEST(BoxFiles, AreReadWithABoundAndWithoutWaiting) {
    desk::Box box;
    const std::string path = box.host_path(serial);
    box.write(serial, "SN-1\nmore\n");
    EXPECT_EQ(box.first_line(serial), "SN-1");
    ASSERT_EQ(truncate(path.c_str(), 300 << 20), 0);
    EXPECT_LE(box.read(serial).size(), 16u << 10);
    EXPECT_EQ(box.first_line(serial), "SN-1");
    std::ofstream(path) << std::string(1 << 20, 'x');
    EXPECT_LE(box.first_line(serial).size(), 16u << 10);
    box.remove(serial);
    EXPECT_EQ(box.first_line(serial), "") << "no file";
    EXPECT_FALSE(box.exists(serial));
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); // a reader that waits would hang the test
    EXPECT_TRUE(box.exists(serial));
    EXPECT_THROW(box.first_line(serial), desk::Error);
    box.remove(serial);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_THROW(box.first_line(serial), desk::Error);
    EXPECT_THROW(box.write(serial, "x\n"), desk::Error);
    std::ofstream(path + "/file") << "x";
    box.remove(serial);
    EXPECT_FALSE(box.exists(serial)) << "a folder goes with what is in it";
}

TEST(BoxFiles, NoLinkLeadsOutOfTheBox) {
    const Folder outside;
    const std::string file = outside.write("file", "outside\n");
    desk::Box box;
    const std::string path = box.host_path(serial);
    box.remove(serial);
    ASSERT_EQ(symlink(file.c_str(), path.c_str()), 0);
    EXPECT_THROW(box.first_line(serial), desk::Error);
    box.write(serial, "SN-2\n");
    EXPECT_EQ(box.first_line(serial), "SN-2") << "writing replaces a link";
    EXPECT_EQ(outside.read("file"), "outside\n");
    box.remove(serial);
    ASSERT_EQ(symlink(file.c_str(), path.c_str()), 0);
    box.remove(serial);
    EXPECT_EQ(outside.read("file"), "outside\n");
    // A folder that is a link.
    const std::string folder = box.host_path("/rodata");
    ASSERT_EQ(rename(folder.c_str(), (box.folder() + "/kept").c_str()), 0);
    ASSERT_EQ(symlink(outside.path().c_str(), folder.c_str()), 0);
    const std::string there = outside.write("serial_number", "outside\n");
    EXPECT_THROW(box.first_line(serial), desk::Error);
    EXPECT_THROW(box.write(serial, "x\n"), desk::Error);
    EXPECT_THROW(box.write_script(serial, "x\n"), desk::Error);
    EXPECT_THROW(box.remove(serial), desk::Error);
    EXPECT_EQ(outside.read("serial_number"), "outside\n");
    // The file that every write makes first.
    ASSERT_EQ(unlink(folder.c_str()), 0);
    ASSERT_EQ(rename((box.folder() + "/kept").c_str(), folder.c_str()), 0);
    ASSERT_EQ(symlink(file.c_str(), (box.folder() + "/fresh").c_str()), 0);
    box.write(serial, "SN-3\n");
    EXPECT_EQ(box.first_line(serial), "SN-3");
    EXPECT_EQ(outside.read("file"), "outside\n");
}
