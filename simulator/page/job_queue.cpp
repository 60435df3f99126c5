// Jobs for the driving thread.
#include "simulator/page/job_queue.h"

#include <utility>

#include "simulator/desk/error.h"

namespace desk {

static const char *const closed_text = "the simulator is ending";

void JobQueue::run(const std::function<void()> &job) {
    std::packaged_task<void()> task(job);
    std::future<void> done = task.get_future();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) throw Error(closed_text);
        jobs_.push_back(std::move(task));
    }
    arrived_.notify_one();
    try {
        done.get();
    } catch (const std::future_error &) { // dropped by close()
        throw Error(closed_text);
    }
}

void JobQueue::work_until(std::chrono::steady_clock::time_point end) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (arrived_.wait_until(lock, end, [this] { return !jobs_.empty(); })) {
        std::packaged_task<void()> task = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

size_t JobQueue::waiting() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return jobs_.size();
}

void JobQueue::close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    jobs_.clear();
}

} // namespace desk
