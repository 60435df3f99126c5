// The bus: not there, lost, restarted, refusing, garbled, and the name that others want too.
#include <filesystem>
#include <memory>

#include <sys/socket.h>
#include <unistd.h>

#include "bus_relay.h"
#include "faults.h"
#include "simulator/desk/sandbox.h"
#include "tests/end_to_end/other_bus.h"

namespace faults {

static const char *const name = "zor.signal.sink";

// What tells that the tasks go on although nobody sends anything: the supply fails, and the jack has the voltage.
static void must_go_on_drawing(Trial &trial) {
    trial.box().remove_converter();
    trial.box().set_jack_millivolts(12200);
    trial.box().set_jack_ready(true);
    const uint32_t passes = trial.desk().clock().passes();
    trial.desk().advance(1000);
    must_be("passes in a second", trial.desk().clock().passes() - passes, 1000);
    trial.shown.source = "voltage/voltage_from_jack";
    trial.must_show();
}

// ---- Start

static void no_bus_at_start(Random &random) {
    Trial trial(random);
    desk::Bus &bus = trial.desk().bus();
    const std::string socket = trial.box().host_path("/desk/bus/system");
    const std::string aside = socket + "-aside";
    std::unique_ptr<BusRelay> hangs_up;
    bus.stop(); // which leaves its socket behind, with nobody listening
    switch (pick(random, 0, 4)) {
        case 0: break;
        case 1: unlink(socket.c_str()); break;
        case 2: trial.box().write("/desk/bus/system", "no socket"); break;
        case 3:
            unlink(socket.c_str());
            std::filesystem::create_directory(socket);
            break;
        default: unlink(socket.c_str()); hangs_up = std::make_unique<BusRelay>(socket, aside);
    }
    for (int starts = pick(random, 1, 3); starts > 0; starts--) {
        trial.must_end_at_start(1, {{LOG_INFO, "Listening for signals\n"}, {LOG_ERR, "Connection Error (?*)\n"}});
    }
    hangs_up.reset();
    std::filesystem::remove(socket);
    bus.start_again();
    trial.unit_starts_it();
    trial.must_obey();
    trial.must_hold();
}

static desk::Options with_bus_at(const std::string &address) {
    desk::Options options;
    options.environment["DBUS_SYSTEM_BUS_ADDRESS"] = address;
    return options;
}

static void send_through(Trial &trial, BusRelay &relay) {
    trial.send = [&trial, &relay](const std::string &word) {
        trial.desk().bus().send(word);
        relay.catch_up();
    };
}

// Each of the calls of the set-up in turn finds the bus gone.
static void bus_hangs_up_at_start(Random &random) {
    struct Call {
        const char *last_word;
        std::vector<Line> lines;
    };
    const Line listening{LOG_INFO, "Listening for signals\n"};
    const Line connection{LOG_ERR, "Connection Error (?*)\n"};
    const Line name_error{LOG_ERR, "Name Error (?*,-1)\n"};
    const Line match{LOG_ERR, "Match Error (?*)\n"};
    const std::vector<Call> calls = {{"AUTH", {listening, connection}},
                                     {"BEGIN", {listening, connection}},
                                     {"Hello", {listening, connection}},
                                     {"RequestName", {listening, name_error, match}},
                                     {"AddMatch", {listening, match}}};
    Trial trial(random, true, with_bus_at("unix:path=/desk/bus/relay"));
    const Call &call = one_of(random, calls);
    const std::string folder = trial.box().host_path("/desk/bus");
    {
        const BusRelay relay(folder + "/relay", folder + "/system", call.last_word);
        trial.must_end_at_start(1, call.lines);
    }
    BusRelay relay(folder + "/relay", folder + "/system");
    send_through(trial, relay);
    trial.unit_starts_it();
    trial.must_obey();
    trial.must_hold();
}

static desk::Options with_other_bus() {
    desk::Options options = with_bus_at(end_to_end::OtherBus::guest_address());
    options.no_bus = true;
    return options;
}

static void match_refused(Random &random) {
    Trial trial(random, true, with_other_bus());
    {
        const end_to_end::OtherBus bus(trial.box(), "", "<limit name=\"max_match_rules_per_connection\">0</limit>");
        for (int starts = pick(random, 1, 2); starts > 0; starts--) {
            trial.must_end_at_start(1, {{LOG_INFO, "Listening for signals\n"}, {LOG_ERR, "Match Error (?*)\n"}});
        }
    }
    trial.box().remove("/tmp/other-bus");
    end_to_end::OtherBus bus(trial.box(), "", "");
    trial.send = [&bus](const std::string &word) { bus.send(word.c_str()); };
    trial.unit_starts_it();
    trial.must_obey();
}

static void name_refused(Random &random) {
    Trial trial(random, true, with_other_bus());
    const bool by_policy = pick(random, 0, 1) == 1;
    end_to_end::OtherBus bus(trial.box(), by_policy ? "<deny own=\"zor.signal.sink\"/>" : "",
                             by_policy ? "" : "<limit name=\"max_names_per_connection\">1</limit>");
    trial.send = [&bus](const std::string &word) { bus.send(word.c_str()); };
    trial.begin(
        {{{LOG_INFO, "Listening for signals\n"}, {LOG_ERR, "Name Error (?*,-1)\n"}, {LOG_INFO, "Match rule sent\n"}}});
    trial.must_obey();
    trial.must_hold();
}

// ---- Later

static void bus_lost(Random &random) {
    Trial trial(random);
    trial.begin();
    trial.must_obey();
    std::vector<Line> lines;
    for (int i = pick(random, 0, 20); i > 0; i--) {
        const std::string word = "nonsense " + std::to_string(i);
        trial.send(word);
        lines.push_back(received(word)); // it lies in the daemon's socket, and is not lost with the bus
    }
    trial.desk().bus().stop();
    trial.advance(25, 3000);
    trial.must_log(lines);
    trial.must_show();
    trial.must_hold(-1);
    must_go_on_drawing(trial);
    trial.must_log({});
}

// The daemon does not come back by itself: that is the unit's part, which stops it with the bus and starts it again.
static void bus_restarted(Random &random) {
    Trial trial(random);
    trial.begin();
    trial.must_obey();
    desk::Bus &bus = trial.desk().bus();
    bus.stop();
    trial.advance(1, 3000);
    bus.start_again();
    bus.send("chan_usb");
    trial.advance(10, 1000);
    trial.must_log({});
    trial.must_show();
    must(!bus.name_has_owner(name), "the name has an owner although the daemon's connection is gone");
    trial.unit_starts_it();
    must(bus.name_has_owner(name), "the name has no owner after the start");
    trial.must_obey();
    trial.must_hold();
}

static void bus_garbled(Random &random) {
    Trial trial(random, true, with_bus_at("unix:path=/desk/bus/relay"));
    const std::string folder = trial.box().host_path("/desk/bus");
    BusRelay relay(folder + "/relay", folder + "/system");
    send_through(trial, relay);
    trial.begin();
    // No message begins with this letter; 16 bytes are the least that libdbus looks at.
    std::string garbage = "x";
    for (int length = pick(random, 16, 4000); length > 0; length--) garbage += static_cast<char>(pick(random, 0, 255));
    relay.inject(garbage);
    trial.advance(10, 2000);
    trial.must_log({});
    trial.must_show();
    trial.must_hold(-1);
    must_go_on_drawing(trial);
    trial.unit_starts_it_after_repair();
    trial.must_obey();
}

// ---- The name

static void name_taken(Random &random) {
    Trial trial(random);
    desk::Bus &bus = trial.desk().bus();
    client::Connection other = desk::connect_to(bus.address());
    const unsigned flags = pick(random, 0, 1) == 1 ? DBUS_NAME_FLAG_ALLOW_REPLACEMENT : 0;
    dbus_bus_request_name(other.get(), name, flags, nullptr);
    trial.begin();
    const auto other_has_it = [&] {
        return dbus_bus_request_name(other.get(), name, DBUS_NAME_FLAG_DO_NOT_QUEUE, nullptr) ==
               DBUS_REQUEST_NAME_REPLY_ALREADY_OWNER;
    };
    must(other_has_it() == (flags == 0), "who may be replaced is replaced, and nobody else");
    trial.must_obey();
    if (pick(random, 0, 1) == 1) {
        dbus_bus_release_name(other.get(), name, nullptr);
    } else {
        other.reset(); // it ends with the name
    }
    trial.advance(1, 1000);
    must(bus.name_has_owner(name), "the name has no owner although the daemon waits for it");
    must(!bus.claim_name(name, DBUS_NAME_FLAG_REPLACE_EXISTING), "somebody else could take the name from the daemon");
    trial.advance(1, 1000);
    trial.must_log({});
    trial.must_obey();
    trial.must_hold();
}

const std::vector<Kind> &bus_kinds() {
    static const std::vector<Kind> kinds = {
        {"no_bus_at_start", "a healthy box without a bus",
         "no socket, one that nobody listens at, a file or a folder in its place, or one that hangs up",
         "Connection Error logged, status 1, a dark panel; once the bus is there the unit's next start obeys",
         no_bus_at_start},
        {"bus_hangs_up_at_start", "the daemon sets up its connection",
         "the bus hangs up at the authentication, or at the first, second or third call",
         "Connection, Name or Match Error logged, status 1, a dark panel; the unit's next start obeys",
         bus_hangs_up_at_start},
        {"match_refused", "the daemon sets up its connection", "the bus refuses the match rule",
         "Match Error logged, status 1, a dark panel; the unit's next start obeys", match_refused},
        {"name_refused", "the daemon sets up its connection", "the bus refuses the name, by policy or by a limit",
         "Name Error logged with -1; it listens and obeys all the same", name_refused},
        {"bus_lost", "a channel and a mode are shown; up to 20 signals wait", "the bus is killed",
         "it handles what has arrived, logs nothing more, closes the connection, and goes on drawing what it polls",
         bus_lost},
        {"bus_restarted", "a channel and a mode are shown", "the bus is killed and comes back",
         "it does not reconnect; the unit restarts it with the bus: it has the name, shows the icons and obeys",
         bus_restarted},
        {"bus_garbled", "it listens", "up to 4,000 bytes that are no message",
         "nothing logged, the connection closed, and it goes on drawing what it polls; restarted it obeys",
         bus_garbled},
        {"name_taken", "another has the name, and may or may not be replaced",
         "the daemon starts; later the other one releases the name or ends",
         "nothing logged; it obeys with the name and without; the name comes to it and stays", name_taken},
    };
    return kinds;
}

} // namespace faults
