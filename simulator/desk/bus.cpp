// The private system bus and the desk's connection to it.
#include "simulator/desk/bus.h"

#include <fstream>
#include <iterator>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include "simulator/desk/bus_configuration.h"
#include "simulator/desk/error.h"

namespace desk {

// The desk hears what others send, to show it.
static const char *const eavesdropping =
    "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
    "    <allow receive_sender=\"*\" eavesdrop=\"true\"/>\n"
    "    <allow eavesdrop=\"true\"/>\n";

static std::string content_of(const std::string &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Ready is when the bus has written its address, a line, to its standard output.
static void start_and_wait(Process &process, const std::string &folder) {
    const std::string output = folder + "/address";
    const std::string errors = folder + "/errors";
    Streams streams;
    streams.output = open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    streams.errors = open(errors.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    process.start(
        {"dbus-daemon", "--nofork", "--nopidfile", "--print-address=1", "--config-file=" + folder + "/bus.conf"},
        streams);
    close(streams.output);
    close(streams.errors);
    const auto ready = [&] { return content_of(output).find('\n') != std::string::npos || !process.alive(); };
    if (!wait_until(ready)) throw Error("dbus-daemon doesn't answer");
    if (!process.alive()) {
        throw Error("dbus-daemon did not start (as root: apt-get install dbus): " + content_of(errors));
    }
}

Bus::Bus(const std::string &folder) : folder_(folder), address_("unix:path=" + folder + "/system") { start_again(); }

void Bus::start_again() {
    stop();
    // The address that the one before has written would look like an answer.
    for (const char *name : {"/address", "/errors", "/system"}) unlink((folder_ + name).c_str());
    std::ofstream(folder_ + "/bus.conf") << bus_configuration(address_, eavesdropping);
    start_and_wait(process_, folder_);
    connect();
}

Bus::~Bus() { stop(); }

using client::BusError;

static void raise_if_set(const BusError &problem, const std::string &doing) {
    if (problem.is_set()) throw Error(doing + ": " + problem.text());
}

client::Connection connect_to(const std::string &address) {
    try {
        return client::connect_to_bus(address);
    } catch (const std::runtime_error &problem) {
        throw Error(std::string("the desk's bus: ") + problem.what());
    }
}

void Bus::connect() {
    dbus_threads_init_default();
    connection_ = connect_to(address_);
}

// The bus handles one connection's messages in order and writes a signal to its receivers at once: when it
// answers the question, whatever was sent before has been delivered.
void Bus::round_trip() {
    BusError problem;
    const client::MessageRef question(
        dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId"));
    const int deadline = static_cast<int>(stretched().count());
    DBusMessage *reply =
        dbus_connection_send_with_reply_and_block(connection_.get(), question.get(), deadline, &problem.error);
    raise_if_set(problem, "the desk's bus doesn't answer");
    dbus_message_unref(reply);
    while (DBusMessage *unasked = dbus_connection_pop_message(connection_.get())) dbus_message_unref(unasked);
}

void Bus::catch_up() {
    if (connection_ != nullptr) round_trip();
}

DBusConnection *Bus::connection() const {
    if (connection_ == nullptr) throw Error("the desk's bus has been stopped");
    return connection_.get();
}

void Bus::send_message(DBusMessage *message, int times) {
    send_messages(std::vector<DBusMessage *>(static_cast<size_t>(times), message));
}

void Bus::send_messages(const std::vector<DBusMessage *> &messages) {
    for (DBusMessage *message : messages) {
        const client::MessageRef copy(dbus_message_copy(message)); // one that has been sent keeps its serial number
        if (!copy || !dbus_connection_send(connection(), copy.get(), nullptr)) {
            throw Error("no memory to send a message");
        }
    }
    dbus_connection_flush(connection());
    round_trip();
}

void Bus::send(const std::string &word, const std::vector<Argument> &further) {
    send_message(client::signal_of(word, further).get());
}

bool Bus::name_has_owner(const std::string &name) {
    BusError problem;
    const bool owned = dbus_bus_name_has_owner(connection(), name.c_str(), &problem.error);
    raise_if_set(problem, "can't ask for the owner of " + name);
    return owned;
}

bool Bus::claim_name(const std::string &name, unsigned flags) {
    BusError problem;
    flags |= DBUS_NAME_FLAG_DO_NOT_QUEUE;
    const int reply = dbus_bus_request_name(connection(), name.c_str(), flags, &problem.error);
    raise_if_set(problem, "can't claim " + name);
    return reply == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER || reply == DBUS_REQUEST_NAME_REPLY_ALREADY_OWNER;
}

void Bus::release_name(const std::string &name) {
    BusError problem;
    dbus_bus_release_name(connection(), name.c_str(), &problem.error);
    raise_if_set(problem, "can't release " + name);
}

std::string Bus::unique_name() const { return dbus_bus_get_unique_name(connection()); }

void Bus::stop() {
    connection_.reset();
    process_.kill();
}

} // namespace desk
