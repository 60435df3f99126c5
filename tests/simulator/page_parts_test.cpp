// What the page stands on, part by part and without a browser: the events for the pages, the jobs from their threads,
// the recorder and the pace.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "simulator/page/event_hub.h"
#include "simulator/page/job_queue.h"
#include "simulator/page/page_json.h"
#include "simulator/scenario/pace.h"
#include "simulator/scenario/recorder.h"
#include "simulator/scenario/scenario.h"

#include "support.h"

using namespace simulator_test;
using desk::EventHub;
using desk::Keep;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// Long enough for a thread that must act at once, on any machine.
static const milliseconds generous = desk::stretched(milliseconds(5000));
static constexpr milliseconds at_once{0};

static double seconds_since(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

static std::string event(const std::string &name, const std::string &data) {
    return "event: " + name + "\ndata: " + data + "\n\n";
}

/* ---- events ---- */

TEST(EventHub, GivesANewcomerTheNewest) {
    EventHub hub;
    hub.publish("time", "1", Keep::newest);
    hub.publish("picture", "\"a\"", Keep::newest);
    hub.publish("time", "2", Keep::newest);
    const auto listener = hub.join();
    const std::string got = hub.next(*listener, at_once).value_or("over");
    EXPECT_EQ(got, event("picture", "\"a\"") + event("time", "2") + event("caught-up", "true"));
    EXPECT_EQ(hub.next(*listener, at_once), "") << "each event comes once";
    hub.publish("time", "3", Keep::newest);
    hub.publish("time", "4", Keep::newest);
    EXPECT_EQ(hub.next(*listener, at_once), event("time", "3") + event("time", "4"));
}

TEST(EventHub, KeepsAHistoryThatEnds) {
    EventHub hub;
    const int published = static_cast<int>(desk::history_length) * 3 + 7;
    for (int i = 0; i < published; i++) hub.publish("log", std::to_string(i), Keep::history);
    std::string wanted = event("forget", "\"log\"");
    for (int i = published - static_cast<int>(desk::history_length); i < published; i++) {
        wanted += event("log", std::to_string(i));
    }
    EXPECT_EQ(hub.next(*hub.join(), at_once), wanted + event("caught-up", "true"));
}

TEST(EventHub, ForgetsAHistoryAndSaysSo) {
    EventHub hub;
    hub.publish("log", "1", Keep::history);
    hub.publish("other", "1", Keep::history);
    const auto listener = hub.join();
    hub.next(*listener, at_once);
    hub.forget("log");
    EXPECT_EQ(hub.next(*listener, at_once), event("forget", "\"log\""));
    const std::string newcomer = hub.next(*hub.join(), at_once).value_or("over");
    EXPECT_FALSE(contains(newcomer, event("log", "1"))) << newcomer;
    EXPECT_TRUE(contains(newcomer, event("other", "1"))) << newcomer;
}

TEST(EventHub, CutsOffWhoDoesNotRead) {
    EventHub hub;
    const auto slow = hub.join();
    const auto quick = hub.join();
    const std::string data(10000, '1');
    for (int i = 0; i < 400; i++) {
        hub.publish("log", data, Keep::newest);
        ASSERT_TRUE(hub.next(*quick, at_once)) << "who reads is not cut off: " << i;
    }
    EXPECT_LT(slow->waiting.size(), 2u << 20) << "what waits for it has an end";
    EXPECT_FALSE(hub.next(*slow, at_once));
}

TEST(EventHub, HasRoomForSoMany) {
    EventHub hub;
    std::vector<std::shared_ptr<EventHub::Listener>> all;
    for (size_t i = 0; i < desk::most_listeners; i++) all.push_back(hub.join());
    EXPECT_EQ(std::count(all.begin(), all.end(), nullptr), 0);
    EXPECT_EQ(hub.listeners(), desk::most_listeners);
    EXPECT_EQ(hub.join(), nullptr);
    hub.leave(all.back());
    EXPECT_NE(hub.join(), nullptr);
}

// What is published, and the end, wake a stream that waits.
TEST(EventHub, WakesWhoWaits) {
    EventHub hub;
    const auto listener = hub.join();
    hub.next(*listener, at_once);
    const auto begin = Clock::now();
    auto waiting = std::async(std::launch::async, [&] { return hub.next(*listener, 2 * generous); });
    hub.publish("time", "1", Keep::newest);
    EXPECT_EQ(waiting.get(), event("time", "1"));
    waiting = std::async(std::launch::async, [&] { return hub.next(*listener, 2 * generous); });
    hub.forget("log");
    EXPECT_EQ(waiting.get(), event("forget", "\"log\""));
    waiting = std::async(std::launch::async, [&] { return hub.next(*listener, 2 * generous); });
    hub.close();
    EXPECT_FALSE(waiting.get());
    EXPECT_EQ(hub.join(), nullptr);
    EXPECT_LT(Clock::now() - begin, generous);
}

/* ---- jobs ---- */

// Works until the test has what it waits for.
class Driver {
public:
    explicit Driver(desk::JobQueue &queue)
        : thread_([this, &queue] {
              while (!done_) queue.work_until(Clock::now() + milliseconds(5));
          }) {}
    ~Driver() {
        done_ = true;
        thread_.join();
    }
    std::thread::id id() const { return thread_.get_id(); }

private:
    std::atomic<bool> done_{false};
    std::thread thread_;
};

TEST(JobQueue, DoesJobsInTheDrivingThread) {
    desk::JobQueue queue;
    const Driver driver(queue);
    std::thread::id where;
    queue.run([&] { where = std::this_thread::get_id(); });
    EXPECT_EQ(where, driver.id()) << "and it is done when run() returns";
}

TEST(JobQueue, GivesBackWhatAJobThrew) {
    desk::JobQueue queue;
    const Driver driver(queue);
    EXPECT_THROW(queue.run([] { throw desk::ScenarioError("bad"); }), desk::ScenarioError);
    bool done = false;
    queue.run([&] { done = true; });
    EXPECT_TRUE(done) << "the next one is done all the same";
}

TEST(JobQueue, DoesWhatWaitsInOrderThoughItsTimeIsOver) {
    desk::JobQueue queue;
    std::vector<int> order;
    std::vector<std::future<void>> senders;
    for (size_t i = 0; i < 3; i++) {
        const auto job = [&order, i] { order.push_back(static_cast<int>(i)); };
        senders.push_back(std::async(std::launch::async, [&queue, job] { queue.run(job); }));
        ASSERT_TRUE(desk::wait_until([&queue, i] { return queue.waiting() == i + 1; }));
    }
    const auto work = [&] {
        queue.work_until(Clock::now() - std::chrono::seconds(1));
        return order.size() == 3;
    };
    EXPECT_TRUE(desk::wait_until(work));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    queue.close();
    for (auto &sender : senders) EXPECT_NO_THROW(sender.get());
}

TEST(JobQueue, ListensUntilItsEndAndNoLonger) {
    desk::JobQueue queue;
    const auto begin = Clock::now();
    queue.work_until(begin + milliseconds(50));
    EXPECT_GE(Clock::now() - begin, milliseconds(50));
    EXPECT_LT(Clock::now() - begin, generous);
}

TEST(JobQueue, WakesForAJob) {
    desk::JobQueue queue;
    const auto begin = Clock::now();
    std::thread driver([&] { queue.work_until(begin + std::chrono::seconds(2)); });
    std::this_thread::sleep_for(milliseconds(50)); // it waits by now, most likely
    queue.run([] {});
    EXPECT_LT(seconds_since(begin), 1.5) << "not only at the end of its turn";
    driver.join();
}

TEST(JobQueue, TellsTheEndToWhoWaitsAndWhoComes) {
    desk::JobQueue queue;
    std::atomic<bool> done{false};
    const auto job = [&] { done = true; };
    auto sender = std::async(std::launch::async, [&] { queue.run(job); });
    EXPECT_TRUE(desk::wait_until([&] {
        queue.close(); // again and again: the job may come after the first
        return sender.wait_for(at_once) == std::future_status::ready;
    }));
    const Driver driver(queue); // so that nobody who was forgotten waits for ever
    EXPECT_THROW(sender.get(), desk::Error);
    EXPECT_THROW(queue.run(job), desk::Error);
    EXPECT_FALSE(done);
}

/* ---- the recorder ---- */

static std::string recorded(const desk::Recorder &recorder) {
    const std::string text = recorder.text();
    EXPECT_EQ(text.rfind("# ", 0), 0u) << "it begins with how to play it: " << text;
    EXPECT_NO_THROW(desk::parse_scenario(text, "recording")) << text;
    return text.substr(text.find('\n') + 1);
}

TEST(Recorder, WritesLinesAndTheTimeBetween) {
    desk::Recorder recorder;
    EXPECT_EQ(recorder.text(), "") << "nothing was ever recorded";
    recorder.note("send chan_bt", 1000, 1000);
    EXPECT_EQ(recorder.lines(), 0u) << "it does not run yet";
    recorder.begin({"supply 11.8", "start"}, 0);
    EXPECT_TRUE(recorder.running());
    recorder.note("send chan_bt", 1500000, 1500000);
    recorder.note("send chan_usb", 1500000, 1500000);
    recorder.note("wait 100ms", 1507000, 1607000);
    recorder.note("send REC_ON", 1607000, 1607000);
    EXPECT_EQ(recorded(recorder),
              "supply 11.8\nstart\nwait 1500ms\nsend chan_bt\nsend chan_usb\nwait 7ms\nwait 100ms\n"
              "send REC_ON\n");
    recorder.end(1650000);
    EXPECT_FALSE(recorder.running());
    const std::string all = recorded(recorder);
    EXPECT_TRUE(contains(all, "send REC_ON\nwait 43ms\n")) << all;
    recorder.end(9000000);
    recorder.note("send p_off", 9000000, 9000000);
    EXPECT_EQ(recorded(recorder), all) << "it has ended";
    recorder.begin({"start"}, 0);
    EXPECT_EQ(recorded(recorder), "start\n") << "it begins anew";
}

// The daemons' clock begins anew with them.
TEST(Recorder, CountsFromARestart) {
    desk::Recorder recorder;
    recorder.begin({"start"}, 4000);
    recorder.note("start debug", 3004000, 0);
    recorder.note("send chan_bt", 250000, 250000);
    EXPECT_EQ(recorded(recorder), "start\nwait 3000ms\nstart debug\nwait 250ms\nsend chan_bt\n");
}

// What came from outside while a line waited cuts it in two.
TEST(Recorder, CutsAWaitInTwo) {
    desk::Recorder recorder;
    recorder.begin({"start"}, 0);
    recorder.note("send chan_bt", 700000, 700000);
    recorder.note("wait log Got", 100000, 1500000);
    recorder.note("send chan_usb", 1500000, 1500000);
    recorder.note("wait log Got", 1600000, 1800000);
    EXPECT_EQ(recorded(recorder),
              "start\nwait 700ms\nsend chan_bt\nwait 800ms\nsend chan_usb\nwait 100ms\nwait log Got\n");
}

TEST(Recorder, NeverWaitsLongerThanAWaitMay) {
    desk::Recorder recorder;
    recorder.begin({"start"}, 0);
    const int64_t total_ms = 2 * desk::longest_pause_ms + 5;
    recorder.end(total_ms * 1000);
    double sum = 0.0;
    for (const desk::ScenarioLine &line : desk::parse_scenario(recorder.text(), "recording")) sum += line.action.number;
    EXPECT_DOUBLE_EQ(sum, static_cast<double>(total_ms));
}

/* ---- the pace ---- */

static void turns(desk::Pace &pace, int number, milliseconds apart) {
    for (int i = 0; i < number; i++) {
        std::this_thread::sleep_for(apart);
        pace.turn();
    }
}

TEST(Pace, KeepsUpWithTheWallClock) {
    desk::Stage stage;
    stage.start();
    const auto begin = Clock::now();
    desk::Pace pace(stage, 10.0);
    turns(pace, 20, milliseconds(5));
    // 5 ms at least each time; no more than has really passed.
    EXPECT_GE(stage.now_us(), 999 * 1000);
    EXPECT_LE(static_cast<double>(stage.now_us()), seconds_since(begin) * 10.0 * 1e6);
    pace.set_speed(0.05);
    const int64_t before = stage.now_us();
    turns(pace, 60, milliseconds(2));
    EXPECT_GE(stage.now_us() - before, 5000) << "parts of a millisecond add up";
}

TEST(Pace, LetsALongLagGo) {
    desk::Stage stage;
    stage.start();
    desk::Pace pace(stage, 2.0);
    turns(pace, 1, milliseconds(400));
    EXPECT_GT(stage.now_us(), 0);
    EXPECT_LE(stage.now_us(), 200 * 1000) << "the page would stand still meanwhile";
    const int64_t before = stage.now_us();
    std::this_thread::sleep_for(milliseconds(400));
    const auto begin = Clock::now();
    pace.forget_lag();
    pace.turn();
    EXPECT_LE(static_cast<double>(stage.now_us() - before), seconds_since(begin) * 2.0 * 1e6);
}

TEST(Pace, StandsStillAndRefusesWhatIsNoSpeed) {
    desk::Stage stage;
    stage.start();
    desk::Pace pace(stage, 0.0);
    turns(pace, 3, milliseconds(10));
    EXPECT_EQ(stage.now_us(), 0);
    for (double speed : {-0.1, 100.1, std::nan(""), static_cast<double>(INFINITY)}) {
        EXPECT_THROW(pace.set_speed(speed), desk::Error) << speed;
    }
    EXPECT_EQ(pace.speed(), 0.0);
    std::this_thread::sleep_for(milliseconds(50));
    const auto begin = Clock::now();
    pace.set_speed(100.0);
    pace.turn();
    EXPECT_LE(static_cast<double>(stage.now_us()), seconds_since(begin) * 100.0 * 1e6)
        << "the time that stood still is not made up for";
}

/* ---- what is sent ---- */

TEST(PageJson, SendsAnybodysBytesAsOneLine) {
    EXPECT_EQ(desk::one_line({{"text", "a\nb\xff\xc3"}}), "{\"text\":\"a\\nb\xef\xbf\xbd\xef\xbf\xbd\"}");
}
