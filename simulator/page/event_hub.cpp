// Events on their way to the pages.
#include "simulator/page/event_hub.h"

namespace desk {

// A page that does not read for so long is cut off; it comes back by itself and gets the newest state.
static constexpr size_t most_waiting = 1 << 20;

// `data` is JSON in one line.
static std::string as_event(const std::string &name, const std::string &data) {
    return "event: " + name + "\ndata: " + data + "\n\n";
}

static void hand_over(EventHub::Listener &listener, const std::string &event) {
    if (listener.waiting.size() + event.size() > most_waiting) listener.overrun = true;
    if (!listener.overrun) listener.waiting += event;
}

void EventHub::publish(const std::string &name, const std::string &data, Keep keep) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string event = as_event(name, data);
    if (keep == Keep::newest) {
        newest_[name] = event;
    } else {
        history_[name].push_back(event);
        if (history_[name].size() > history_length) history_[name].pop_front();
    }
    for (const auto &listener : listeners_) hand_over(*listener, event);
    published_.notify_all();
}

void EventHub::forget(const std::string &name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    history_.erase(name);
    for (const auto &listener : listeners_) hand_over(*listener, as_event("forget", "\"" + name + "\""));
    published_.notify_all();
}

std::shared_ptr<EventHub::Listener> EventHub::join() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (closed_ || listeners_.size() >= most_listeners) return nullptr;
    auto listener = std::make_shared<Listener>();
    for (const auto &[name, event] : newest_) listener->waiting += event;
    for (const auto &[name, events] : history_) {
        // A page that comes back still shows what it got before.
        listener->waiting += as_event("forget", "\"" + name + "\"");
        for (const std::string &event : events) listener->waiting += event;
    }
    listener->waiting += as_event("caught-up", "true");
    listeners_.insert(listener);
    return listener;
}

void EventHub::leave(const std::shared_ptr<Listener> &listener) {
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners_.erase(listener);
}

std::optional<std::string> EventHub::next(Listener &listener, std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto something = [&] { return closed_ || listener.overrun || !listener.waiting.empty(); };
    published_.wait_for(lock, limit, something);
    if (closed_ || listener.overrun) return std::nullopt;
    std::string text;
    text.swap(listener.waiting);
    return text;
}

size_t EventHub::listeners() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return listeners_.size();
}

void EventHub::close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    published_.notify_all();
}

} // namespace desk
