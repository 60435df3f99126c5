// The events that the page gets: what is published here goes to everyone who listens. A newcomer first gets
// what it must know: the newest event of each kept name, the newest ones of those names that are a history,
// and an event "caught-up". Published by the driving thread, listened to by the web server's threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace desk {

enum class Keep {
    newest,  // a newcomer gets the newest one of this name
    history, // a newcomer gets the newest `history_length` of them, in order
};

constexpr size_t history_length = 400;

class EventHub {
public:
    // One stream of events, as text in the form of Server-Sent Events.
    struct Listener {
        std::string waiting;
        bool overrun = false;
    };

    void publish(const std::string &name, const std::string &data, Keep keep);
    // Forgets the history of that name and tells all listeners with an event "forget".
    void forget(const std::string &name);

    // Nothing when too many listen already or when the hub is closed.
    std::shared_ptr<Listener> join();
    void leave(const std::shared_ptr<Listener> &listener);
    // What has come for this listener; empty when `limit` passed without any. Nothing when the stream is
    // over: the hub is closed, or the listener was too slow and must join anew.
    std::optional<std::string> next(Listener &listener, std::chrono::milliseconds limit);

    size_t listeners();
    void close();

private:
    std::mutex mutex_;
    std::condition_variable published_;
    std::map<std::string, std::string> newest_;
    std::map<std::string, std::deque<std::string>> history_;
    std::set<std::shared_ptr<Listener>> listeners_;
    bool closed_ = false;
};

// A stream holds one thread of the web server.
constexpr size_t most_listeners = 24;

} // namespace desk
