// A relay between the daemon and its bus, which hangs up at a chosen call or puts bytes of its own into the stream.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace faults {

class BusRelay {
public:
    // Listens at `path` for one connection at a time and passes on to the bus at `bus_path`. With `last_word`, the
    // call that contains it is not passed on; the daemon finds its connection closed instead.
    BusRelay(const std::string &path, const std::string &bus_path, const std::string &last_word = "");
    ~BusRelay();
    BusRelay(const BusRelay &) = delete;
    BusRelay &operator=(const BusRelay &) = delete;

    // Returns when all that the bus has written lies in the daemon's socket.
    void catch_up();
    // Sends these bytes to the daemon, as if the bus had.
    void inject(const std::string &bytes);

private:
    void relay_until_stopped();
    // One piece of the stream; false: one side has ended, or the last word was said.
    bool pass_on(int from, int to, bool look) const;
    bool wait_for_client(int &client);
    void relay_for(int client);
    void answer() const;

    std::string path_, bus_path_, last_word_;
    int listener_ = -1;
    int stop_pipe_[2] = {-1, -1};
    int question_pipe_[2] = {-1, -1}; // catch_up() asks with a byte and gets it back
    int answer_pipe_[2] = {-1, -1};
    std::atomic<int> client_{-1};
    std::thread thread_;
};

} // namespace faults
