// The look-up of a process by its command name, among real processes with awkward names.
#include "support.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "probes/process_scan.h"

// opendir() fails when a test wants it to.
static int opendir_error;

extern "C" DIR *__real_opendir(const char *path);
extern "C" DIR *__wrap_opendir(const char *path);
extern "C" DIR *__wrap_opendir(const char *path) {
    if (opendir_error == 0) return __real_opendir(path);
    errno = opendir_error;
    return nullptr;
}

// What readdir() has listed since a test cleared it, and a process that ends when it is listed: after the
// list was read and before anybody can look at the process.
static std::vector<std::string> listed;
static pid_t ends_when_listed;

static void note_entry(const char *name) {
    listed.push_back(name);
    if (ends_when_listed == 0 || listed.back() != std::to_string(ends_when_listed)) return;
    kill(ends_when_listed, SIGKILL);
    waitpid(ends_when_listed, nullptr, 0);
    ends_when_listed = 0;
}

// With _FILE_OFFSET_BITS=64 readdir() is this one.
extern "C" dirent64 *__real_readdir64(DIR *list);
extern "C" dirent64 *__wrap_readdir64(DIR *list);
extern "C" dirent64 *__wrap_readdir64(DIR *list) {
    dirent64 *entry = __real_readdir64(list);
    if (entry != nullptr) note_entry(entry->d_name);
    return entry;
}

// Lines that stand in for processes' own stat files, by path: the kernel's threads have longer names than any
// process can give itself.
static std::map<std::string, std::string> made_up_stats;

extern "C" FILE *__real_fopen64(const char *path, const char *mode);
extern "C" FILE *__wrap_fopen64(const char *path, const char *mode);
extern "C" FILE *__wrap_fopen64(const char *path, const char *mode) {
    const auto made_up = made_up_stats.find(path);
    if (made_up == made_up_stats.end()) return __real_fopen64(path, mode);
    return fmemopen(made_up->second.data(), made_up->second.size(), "r");
}

namespace {

// A child process that only waits, under a name of its own.
class Named {
public:
    explicit Named(const std::string &name) {
        int ready[2];
        if (pipe2(ready, O_CLOEXEC) != 0) abort();
        pid = fork();
        if (pid == 0) wait_as(name, ready[1]);
        close(ready[1]);
        char byte;
        if (read(ready[0], &byte, 1) != 1) abort();
        close(ready[0]);
    }
    ~Named() {
        if (pid == 0) return;
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    Named(const Named &) = delete;
    Named &operator=(const Named &) = delete;

    pid_t pid;

private:
    [[noreturn]] static void wait_as(const std::string &name, int ready) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, name.c_str());
        if (write(ready, "r", 1) != 1) _exit(1);
        while (true) pause();
    }
};

struct Found {
    long pid;
    std::string out, err;
    bool survived;
};

// The look-up with its standard streams caught. It runs in a child whose own name nobody looks for.
static Found look_up(const std::string &name) {
    const ChildOutcome outcome = in_child([&name] {
        prctl(PR_SET_NAME, "ct looks");
        const std::string pid = std::to_string(find_process_by_name(name.c_str()));
        fflush(stdout);
        return pid;
    });
    return {atol(outcome.report.c_str()), outcome.out, outcome.err, outcome.survived};
}

static void expect_found(const std::string &name, long pid) {
    const Found found = look_up(name);
    EXPECT_TRUE(found.survived) << name;
    EXPECT_EQ(found.pid, pid) << name;
    EXPECT_EQ(found.out, "") << name;
    EXPECT_EQ(found.err, "") << name;
}

TEST(ProcessScan, NobodyHasTheName) {
    expect_found("ct nobody", -1);
    expect_found("", -1);
}

TEST(ProcessScan, FindsAProcessByItsName) {
    const Named process("ct-plain");
    expect_found("ct-plain", process.pid);
}

TEST(ProcessScan, NameIsComparedWholeAndWithItsCase) {
    const Named process("ct-Plain");
    for (const char *name : {"ct-plain", "CT-PLAIN", "ct-Plai", "ct-Plain2", "t-Plain", " ct-Plain", "ct-Plain "}) {
        expect_found(name, -1);
    }
}

TEST(ProcessScan, NamesWithBlanksAndBrackets) {
    for (const char *name :
         {"ct with blank", " ct", "ct  ", "ct (x", "((ct", "ct\tx", "ct\nx", "ct%d%s", "ct\xff\xfe", "ct S 1 1"}) {
        const Named process(name);
        expect_found(name, process.pid);
    }
}

TEST(ProcessScan, ClosingBracketCutsTheName) {
    const Named process("ct)tail");
    expect_found("ct)tail", -1);
    expect_found("ct", process.pid);
}

TEST(ProcessScan, EveryPlaceOfAClosingBracket) {
    for (size_t at = 1; at < 8; ++at) {
        const std::string name = std::string("ctabcdefgh").insert(at + 2, ")");
        const Named process(name);
        expect_found(name, -1);
        expect_found(name.substr(0, at + 2), process.pid);
    }
}

TEST(ProcessScan, KernelKeepsFifteenCharacters) {
    const Named fifteen("ct-456789012345");
    expect_found("ct-456789012345", fifteen.pid);
    const Named sixteen("ct-abcdefghijklm");
    expect_found("ct-abcdefghijklm", -1);
    expect_found("ct-abcdefghijkl", sixteen.pid);
}

// A kernel worker tells what it works on behind its name: up to 63 characters.
TEST(ProcessScan, NamesOfKernelThreadsAreReadWhole) {
    const Named thread("ct-thread");
    const Named behind("ct-behind");
    ASSERT_LT(thread.pid, behind.pid);
    const std::string number = std::to_string(thread.pid);
    for (const std::string &name : {std::string("kworker/u16:3-events_unbound"), std::string(16, 'k'),
                                    std::string(63, 'k'), std::string(99, 'k')}) {
        made_up_stats = {{"/proc/" + number + "/stat", number + " (" + name + ") I 2 0 0 0 -1 69238880 0 0\n"}};
        expect_found(name, thread.pid);
        expect_found(name.substr(0, 15), -1);
        expect_found("ct-behind", behind.pid);
        made_up_stats.clear();
    }
}

// The process of "/proc/<number>" is told by that number, whatever the line itself says.
TEST(ProcessScan, NumberIsThatOfTheFolder) {
    const Named process("ct-number");
    made_up_stats = {{"/proc/" + std::to_string(process.pid) + "/stat", "-7 (ct-elsewhere) R\n"}};
    expect_found("ct-elsewhere", process.pid);
    made_up_stats.clear();
}

// All three items are needed, and nothing behind them.
TEST(ProcessScan, LineThatIsCutShort) {
    const Named process("ct-cut");
    const std::string path = "/proc/" + std::to_string(process.pid) + "/stat";
    for (const char *line : {"x", "1", "1 ", "1 (", "1 (ct-cut", "1 (ct-cut)", "1 (ct-cut) ", "x (ct-cut) S"}) {
        made_up_stats = {{path, line}};
        const Found found = look_up("ct-cut");
        EXPECT_EQ(found.pid, -1) << line;
        EXPECT_EQ(found.out, "fscanf failed \n") << line;
    }
    for (const char *line : {"1 (ct-cut) S", "1(ct-cut)S", " 1  (ct-cut) S\n"}) {
        made_up_stats = {{path, line}};
        EXPECT_EQ(look_up("ct-cut").pid, process.pid) << line;
    }
    made_up_stats.clear();
}

TEST(ProcessScan, NamesLongerThanTheReadersBuffer) {
    for (size_t length : {98u, 99u, 100u, 101u, 511u, 512u, 600u, 100000u}) expect_found(std::string(length, 'c'), -1);
}

TEST(ProcessScan, FindsItself) {
    const ChildOutcome outcome = in_child([] {
        prctl(PR_SET_NAME, "ct-itself");
        return find_process_by_name("ct-itself") == getpid() ? std::string("itself") : std::string("not");
    });
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.report, "itself");
}

TEST(ProcessScan, FirstInTheListOfProcesses) {
    std::vector<std::unique_ptr<Named>> namesakes;
    for (int i = 0; i < 5; ++i) namesakes.push_back(std::make_unique<Named>("ct-namesake"));
    long first = -1;
    DIR *list = opendir("/proc");
    ASSERT_NE(list, nullptr);
    while (const dirent *entry = readdir(list)) {
        for (const auto &process : namesakes) {
            if (first == -1 && std::to_string(process->pid) == entry->d_name) first = process->pid;
        }
    }
    closedir(list);
    expect_found("ct-namesake", first);
    namesakes.clear();
    expect_found("ct-namesake", -1);
}

TEST(ProcessScan, ProcessThatHasEndedButIsNotYetCollected) {
    Named process("ct-zombie");
    kill(process.pid, SIGKILL);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(process.pid), &info, WEXITED | WNOWAIT);
    expect_found("ct-zombie", process.pid);
}

// A name that begins with ")" cannot be read: the scan says so and gives up.
TEST(ProcessScan, NameThatCannotBeReadEndsTheScan) {
    for (const char *name : {")", ")ct", ""}) {
        const Named before("ct-before");
        const Named awkward(name);
        const Named after("ct-after");
        ASSERT_LT(before.pid, awkward.pid);
        ASSERT_LT(awkward.pid, after.pid);
        expect_found("ct-before", before.pid);
        const Found found = look_up("ct-after");
        EXPECT_TRUE(found.survived);
        EXPECT_EQ(found.pid, -1);
        EXPECT_EQ(found.out, "fscanf failed \n");
        EXPECT_EQ(found.err, "");
    }
}

TEST(ProcessScan, ListOfProcessesThatCannotBeOpened) {
    for (int error : {EACCES, ENOENT, EMFILE}) {
        opendir_error = error;
        const Found found = look_up("ct-anything");
        opendir_error = 0;
        EXPECT_TRUE(found.survived);
        EXPECT_EQ(found.pid, -1);
        EXPECT_EQ(found.out, "");
        EXPECT_EQ(found.err, std::string("can't open /proc: ") + strerror(error) + "\n");
    }
}

static int open_files() {
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd) count += fcntl(fd, F_GETFD) != -1;
    return count;
}

TEST(ProcessScan, EverythingIsClosedAgain) {
    const Named plain("ct-plain");
    const Named awkward(")");
    const ChildOutcome outcome = in_child([] {
        find_process_by_name("ct-plain");
        const int before = open_files();
        for (int i = 0; i < 50; ++i) {
            find_process_by_name("ct-plain");
            find_process_by_name("ct-nobody");
        }
        return std::to_string(open_files() - before);
    });
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.report, "0");
}

// The wrapped readdir() ends the first process and leaves its number in the list.
TEST(ProcessScan, ProcessThatEndsAfterItWasListedIsPassedOver) {
    for (const char *wanted : {"ct-ending", "ct-stays"}) {
        const ChildOutcome outcome = in_child([wanted] {
            Named ending("ct-ending");
            const Named stays("ct-stays");
            if (ending.pid > stays.pid) return std::string("the numbers began anew");
            ends_when_listed = std::exchange(ending.pid, 0);
            const long found = find_process_by_name(wanted);
            fflush(stdout);
            if (ends_when_listed != 0) return std::string("never listed");
            return std::string(found == stays.pid ? "ct-stays" : found == -1 ? "nobody" : "another");
        });
        EXPECT_TRUE(outcome.survived) << wanted;
        EXPECT_EQ(outcome.report, std::string(wanted) == "ct-stays" ? "ct-stays" : "nobody");
        EXPECT_EQ(outcome.out, "") << wanted;
        EXPECT_EQ(outcome.err, "") << wanted;
    }
}

TEST(ProcessScan, EntriesThatAreNoProcessesArePassedOverSilently) {
    const ChildOutcome outcome = in_child([] {
        listed.clear();
        std::string report = std::to_string(find_process_by_name("ct-nobody"));
        for (const char *name : {".", "..", "self", "net", "sys"}) {
            if (std::count(listed.begin(), listed.end(), name) == 1) report += std::string(" ") + name;
        }
        fflush(stdout);
        return report;
    });
    EXPECT_TRUE(outcome.survived);
    EXPECT_EQ(outcome.report, "-1 . .. self net sys");
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
}

TEST(ProcessScan, ProcessesThatComeAndGoMeanwhile) {
    const ChildOutcome outcome = in_child([] {
        int wrong = 0;
        for (int i = 0; i < 200; ++i) {
            const pid_t short_lived = fork();
            if (short_lived == 0) _exit(0);
            wrong += find_process_by_name("ct-nobody") != -1;
            waitpid(short_lived, nullptr, 0);
        }
        fflush(stdout);
        return std::to_string(wrong);
    });
    EXPECT_EQ(outcome.report, "0");
    EXPECT_EQ(outcome.err, "");
    // Any process of the machine may end between open and read; such a stat file can't be parsed.
    std::string out = outcome.out;
    static const std::string unreadable = "fscanf failed \n";
    while (out.compare(0, unreadable.size(), unreadable) == 0) out.erase(0, unreadable.size());
    EXPECT_EQ(out, "");
}

} // namespace
