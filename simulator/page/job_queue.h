// The way from the web server's threads to the one thread that drives the stage: a job is handed over here
// and its sender waits until it has been done. What a job throws, its sender gets.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>

namespace desk {

class JobQueue {
public:
    // From any thread but the driving one: returns when `job` is done. Throws what it threw, or Error when
    // the queue has been closed.
    void run(const std::function<void()> &job);

    // The driving thread: does the jobs that arrive until `end`; at least those that are waiting.
    void work_until(std::chrono::steady_clock::time_point end);

    // How many wait.
    size_t waiting();

    // Nothing is done any more: whoever waits gets an Error.
    void close();

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::packaged_task<void()>> jobs_;
    bool closed_ = false;
};

} // namespace desk
