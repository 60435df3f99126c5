// The millisecond clock at its wraps, against a calculation of its own.
//
// The clock keeps its origin for the life of a process and LVGL takes it early, so a process is forked
// before any test begins; for each origin it forks a child that has never looked at the clock.
#include "support.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "port/tick.h"

namespace {

constexpr int64_t WRAP_US = 1LL << 32;

// ---- The fresh process

struct Request {
    int64_t count;
    int64_t step_us;
};

static int fresh_process = -1; ///< socket to the fresh process

static void read_all(int fd, void *data, size_t size) {
    char *at = static_cast<char *>(data);
    while (size > 0) {
        const ssize_t got = read(fd, at, size);
        if (got <= 0) _exit(0);
        at += got;
        size -= static_cast<size_t>(got);
    }
}

static void write_all(int fd, const void *data, size_t size) {
    const char *at = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t put = write(fd, at, size);
        if (put <= 0) abort();
        at += put;
        size -= static_cast<size_t>(put);
    }
}

static void answer_request(int fd, const Request &request, const std::vector<int64_t> &clocks) {
    std::vector<uint32_t> ticks;
    test_clock_step_us = request.step_us;
    for (int64_t clock : clocks) {
        test_clock_us = clock;
        ticks.push_back(custom_tick_get());
    }
    write_all(fd, ticks.data(), ticks.size() * sizeof(ticks[0]));
}

[[noreturn]] static void fresh_process_loop(int fd) {
    while (true) {
        Request request;
        read_all(fd, &request, sizeof(request));
        std::vector<int64_t> clocks(static_cast<size_t>(request.count));
        read_all(fd, clocks.data(), clocks.size() * sizeof(clocks[0]));
        const pid_t child = fork();
        if (child == 0) {
            answer_request(fd, request, clocks);
            _exit(0);
        }
        waitpid(child, nullptr, 0);
    }
}

class FreshProcess : public ::testing::Environment {
public:
    void SetUp() override {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) abort();
        process = fork();
        if (process == 0) {
            close(ends[0]);
            fresh_process_loop(ends[1]);
        }
        close(ends[1]);
        fresh_process = ends[0];
    }
    void TearDown() override {
        close(fresh_process);
        waitpid(process, nullptr, 0);
    }

private:
    pid_t process = -1;
};

static const ::testing::Environment *const registered = ::testing::AddGlobalTestEnvironment(new FreshProcess);

/// The ticks that a process which has never looked at the clock before reads at these clock readings.
static std::vector<uint32_t> fresh_ticks(const std::vector<int64_t> &clocks, int64_t step_us = 0) {
    const Request request = {static_cast<int64_t>(clocks.size()), step_us};
    write_all(fresh_process, &request, sizeof(request));
    write_all(fresh_process, clocks.data(), clocks.size() * sizeof(clocks[0]));
    std::vector<uint32_t> ticks(clocks.size());
    read_all(fresh_process, ticks.data(), ticks.size() * sizeof(ticks[0]));
    return ticks;
}

// ---- The reference: the same clock with unlimited integers and an explicit fold into 32 bits.

static int64_t wrapped_ms(int64_t clock_us) {
    int64_t folded = clock_us % WRAP_US;
    if (folded < 0) folded += WRAP_US;
    if (folded >= WRAP_US / 2) folded -= WRAP_US;
    return folded < 0 ? -(-folded / 1000) : folded / 1000;
}

static std::vector<uint32_t> expected_ticks(const std::vector<int64_t> &clocks) {
    std::vector<uint32_t> ticks;
    int64_t origin = 0;
    for (int64_t clock : clocks) {
        if (origin == 0) origin = wrapped_ms(clock);
        ticks.push_back(static_cast<uint32_t>((wrapped_ms(clock) - origin + WRAP_US) % WRAP_US));
    }
    return ticks;
}

// Every place where something wraps or changes its sign, and ordinary days between them.
static std::vector<int64_t> interesting_clocks() {
    std::vector<int64_t> epochs = {0, 1700000000000000, 1000000000, 86400000000, 951782400000000};
    for (int64_t wrap : {1LL, 2LL, 3LL, 100LL, 395812LL, 499999LL}) {
        epochs.push_back(wrap * WRAP_US);
        epochs.push_back(wrap * WRAP_US + WRAP_US / 2);
    }
    if (sizeof(time_t) > 4) {
        for (int64_t second : {2147483647LL, 2147483648LL, 4294967295LL, 4294967296LL, 32503680000LL, -1LL}) {
            epochs.push_back(second * 1000000);
        }
    }
    std::vector<int64_t> clocks;
    for (int64_t epoch : epochs) {
        for (int64_t near :
             {-2000001, -2000, -1001, -1000, -999, -500, -1, 0, 1, 2, 500, 999, 1000, 1001, 2000, 5000}) {
            if (sizeof(time_t) > 4 || epoch + near >= 0) clocks.push_back(epoch + near);
        }
    }
    return clocks;
}

TEST(Tick, ReferenceFoldsByHand) {
    EXPECT_EQ(wrapped_ms(1999), 1);
    EXPECT_EQ(wrapped_ms(2147483647), 2147483);
    EXPECT_EQ(wrapped_ms(2147483648), -2147483);
    EXPECT_EQ(wrapped_ms(WRAP_US - 1999), -1);
    EXPECT_EQ(wrapped_ms(WRAP_US - 999), 0);
    EXPECT_EQ(wrapped_ms(WRAP_US), 0);
}

TEST(Tick, FirstCallIsZeroWhereverTheClockStands) {
    for (int64_t clock : interesting_clocks()) EXPECT_EQ(fresh_ticks({clock})[0], 0u) << clock;
}

TEST(Tick, EveryOriginAgainstEveryReading) {
    const std::vector<int64_t> readings = interesting_clocks();
    for (int64_t origin : readings) {
        std::vector<int64_t> clocks = {origin};
        clocks.insert(clocks.end(), readings.begin(), readings.end());
        const std::vector<uint32_t> ticks = fresh_ticks(clocks);
        const std::vector<uint32_t> expected = expected_ticks(clocks);
        for (size_t i = 0; i < clocks.size(); ++i) {
            ASSERT_EQ(ticks[i], expected[i]) << "origin " << origin << ", clock " << clocks[i];
        }
    }
}

TEST(Tick, RisesByOneEveryMillisecond) {
    std::vector<int64_t> clocks;
    for (int64_t ms = 0; ms < 20000; ++ms) clocks.push_back(7000123 + ms * 1000);
    const std::vector<uint32_t> ticks = fresh_ticks(clocks);
    for (size_t ms = 0; ms < ticks.size(); ++ms) ASSERT_EQ(ticks[ms], ms);
}

TEST(Tick, JumpsBackWhenTheMicrosecondsWrap) {
    const int64_t wrap = 10 * WRAP_US + WRAP_US / 2;
    const std::vector<uint32_t> ticks = fresh_ticks({wrap - 1000000, wrap - 1, wrap, wrap + 1000000});
    EXPECT_EQ(ticks[1], 1000u);
    EXPECT_EQ(ticks[2], 1000u - 4294966u); // 2147483 ms down to -2147483 ms
    EXPECT_GT(ticks[2], 0x80000000u);
    EXPECT_EQ(ticks[3], ticks[2] + 1000u);
}

TEST(Tick, NegativeMicrosecondsAreCutTowardsZero) {
    // -2 ms as origin; 999 us on either side of zero count as the same millisecond.
    const std::vector<uint32_t> ticks = fresh_ticks(
        {WRAP_US - 2000, WRAP_US - 1001, WRAP_US - 1000, WRAP_US - 999, WRAP_US - 1, WRAP_US + 999, WRAP_US + 1000});
    EXPECT_EQ(ticks, (std::vector<uint32_t>{0, 1, 1, 2, 2, 2, 3}));
}

TEST(Tick, OriginOfZeroIsTakenAgain) {
    for (int64_t base : {int64_t{0}, WRAP_US, 395812 * WRAP_US}) {
        const std::vector<uint32_t> ticks = fresh_ticks({base, base + 999, base + 5000, base + 6000, base + 3000});
        EXPECT_EQ(ticks, (std::vector<uint32_t>{0, 0, 0, 1, 0xfffffffeu})) << base;
    }
}

TEST(Tick, OriginOfZeroIsTakenAgainFromTheNegativeSide) {
    const std::vector<uint32_t> ticks = fresh_ticks({WRAP_US - 999, WRAP_US + 7000, WRAP_US + 9000});
    EXPECT_EQ(ticks, (std::vector<uint32_t>{0, 0, 2}));
}

TEST(Tick, OriginAndReadingAreTwoLooksAtTheClock) {
    // The clock moves 3 ms with every look: the first call looks twice, each later one once.
    const std::vector<uint32_t> ticks = fresh_ticks({1000000, 2000000, 3000000}, 3000);
    EXPECT_EQ(ticks, (std::vector<uint32_t>{3, 1000, 2000}));
}

class TickInLvgl : public ComponentTest {};

TEST_F(TickInLvgl, LvglReadsTime) {
    const uint32_t before = lv_tick_get();
    test_clock_us += 1234 * 1000;
    EXPECT_EQ(lv_tick_elaps(before), 1234u);
    EXPECT_EQ(lv_tick_get(), custom_tick_get());
}

} // namespace
