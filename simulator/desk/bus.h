// A private system bus: a dbus-daemon with an allow-all policy on a socket in the box, and a connection of
// the desk's own for sending. A message that send() or send_message() has handed over lies in the receivers'
// sockets when the call returns, so in stepped time the daemon's next pass takes it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/sender.h"
#include "simulator/desk/process.h"

namespace desk {

// One further argument of a display command.
using Argument = client::Value;

// A further connection of the desk to its bus. Throws Error.
client::Connection connect_to(const std::string &address);

class Bus {
public:
    // Starts dbus-daemon; its socket and configuration go to `folder`. Returns when it answers.
    explicit Bus(const std::string &folder);
    ~Bus();
    Bus(const Bus &) = delete;
    Bus &operator=(const Bus &) = delete;

    // "unix:path=..." as seen on the host.
    const std::string &address() const { return address_; }

    // Emits the signal zor.signal.Type.Display from /zor/signal with `word` and the further arguments.
    void send(const std::string &word, const std::vector<Argument> &further = {});
    // Sends any message, made by the caller with libdbus, so many times in a row; the caller keeps its reference.
    void send_message(DBusMessage *message, int times = 1);
    // Sends several at once.
    void send_messages(const std::vector<DBusMessage *> &messages);

    // Gives the bus time to pass on what it holds. A message larger than a socket's buffer reaches the daemon in
    // pieces, while the daemon reads; this between its passes keeps their number the same on a busy machine.
    // Nothing happens when the bus has been stopped.
    void catch_up();

    bool name_has_owner(const std::string &name);
    // Owns `name` with the desk's connection, e.g. before the daemon asks for it; `flags` as libdbus names them,
    // and it never waits for the name. False: somebody has it already.
    bool claim_name(const std::string &name, unsigned flags = 0);
    void release_name(const std::string &name);
    // The unique name of the desk's connection (":1.0").
    std::string unique_name() const;

    // Ends the dbus-daemon, as if the system bus went away.
    void stop();
    // How the dbus-daemon ended, as Process::status(); nothing while it runs.
    std::optional<int> ended() { return process_.status(); }
    // A new dbus-daemon at the same address, after one that has ended. Throws Error.
    void start_again();

private:
    void connect();
    DBusConnection *connection() const;
    void round_trip();

    std::string folder_;
    std::string address_;
    Process process_;
    client::Connection connection_;
};

} // namespace desk
