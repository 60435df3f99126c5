// The system bus of the component tests: the listener's connection ends here, and a test fills it.
#pragma once

#include <dbus/dbus.h>

#include <deque>
#include <string>
#include <vector>

struct ListenerBus {
    std::deque<DBusMessage *> socket; ///< arrived and not read
    std::deque<DBusMessage *> queue;  ///< read and not taken
    size_t messages_a_read = 15;
    bool memory_is_short = false;                     ///< what is queued can't be handed out
    DBusDispatchStatusFunction tell_status = nullptr; ///< called when the status changes, as libdbus does
    DBusDispatchStatus told = DBUS_DISPATCH_COMPLETE;
    int status_asked = 0;
    size_t most_queued = 0;         ///< the longest that the queue has been
    std::vector<std::string> calls; ///< of the set-up and of each poll, in order

    /// Puts a message into the socket and notes when it is released for good; takes over the reference.
    void receive(DBusMessage *message);
    int alive = 0; ///< received and not released
};

/// The one bus. Tests begin with `listener_bus = {}`.
extern ListenerBus listener_bus;
