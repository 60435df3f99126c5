// The system log of the box: the datagram socket /dev/log, read by a thread so that the daemon never blocks
// on a full queue. Texts are kept byte for byte, a trailing newline included.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/desk/error.h"

namespace desk {

// One message: "<142>Nov 21 08:14:00 Display[2]: text" is facility LOG_LOCAL1, priority LOG_INFO, ident
// "Display", pid 2, text "text".
struct LogLine {
    int facility = 0; // as in syslog.h: LOG_LOCAL1 is 17 << 3
    int priority = 0; // LOG_INFO, LOG_ERR, ...
    std::string ident;
    int pid = 0; // 0: the message carried none
    std::string text;
};

// A datagram of the C library's syslog(), taken apart. What can't be taken apart comes back whole as `text`.
LogLine parse_log_line(const std::string &datagram);

class LogSocket {
public:
    explicit LogSocket(const std::string &path);
    ~LogSocket();
    LogSocket(const LogSocket &) = delete;
    LogSocket &operator=(const LogSocket &) = delete;

    // Everything logged up to now, in order.
    std::vector<LogLine> lines();
    // How many lines contain `part`.
    int count(const std::string &part);
    // Waits for a line that contains `part`. False: the deadline passed.
    bool wait_for(const std::string &part, std::chrono::milliseconds deadline = usual_deadline);
    bool wait_for(const std::function<bool(const LogLine &)> &condition,
                  std::chrono::milliseconds deadline = usual_deadline);
    void clear();
    // Nobody listens any more, as if the system's logger had ended.
    void hang_up();

private:
    void drain();
    void read_until_stopped();

    std::string path_;
    int socket_ = -1;
    int stop_pipe_[2] = {-1, -1};
    std::mutex mutex_;
    std::vector<LogLine> lines_;
    std::thread reader_;
};

} // namespace desk
