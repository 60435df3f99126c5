// displayctl send: one display command onto the bus.
#include <cstdio>

#include "app/signal_names.h"
#include "client/sender.h"
#include "tools/commands.h"
#include "tools/errors.h"
#include "tools/options.h"

namespace displayctl {

using namespace client;

static constexpr char HELP[] =
    R"(Usage: displayctl send [--wait] [--force] [--bus ADDRESS] [--] WORD [ARGUMENT...]

Sends a display command as the signal zor.signal.Type.Display.
'displayctl words' lists the words and their arguments.

  --wait         return only when the bus has taken the message; warn when no status display is known to
                 listen
  --force        send any word; arguments are text, or 32-bit integers when written as i:5 (s:i:5 is the
                 text "i:5")
  --bus ADDRESS  another bus than the system bus, e.g. unix:path=/tmp/bus
  --help, -h     this text
  --             the options end here; needed before an argument that begins with '-'

The display matches words by their beginning: Check_Ignition acts as Check_Igni.

Examples:
  displayctl send chan_bt
  displayctl send Error_Code E-1042
  displayctl send --wait cd_update 120 M4

Exit status: 0 sent, 1 the bus could not be reached or did not answer, 2 the command line is wrong and
nothing was sent.
)";

static constexpr char NO_ADDRESS[] = "--bus needs an address, e.g. unix:path=/tmp/bus";

struct SendOptions {
    bool help = false;
    bool wait = false;
    bool force = false;
    std::string bus;
    std::vector<std::string> operands;
};

static SendOptions parse(int argc, char **argv) {
    static const option table[] = {{"help", no_argument, nullptr, 'h'},
                                   {"wait", no_argument, nullptr, 'w'},
                                   {"force", no_argument, nullptr, 'f'},
                                   {"bus", required_argument, nullptr, 'b'},
                                   {nullptr, 0, nullptr, 0}};
    SendOptions result;
    Options options(argc, argv, table);
    for (int found; (found = options.next()) != -1;) {
        if (found == 'h') result.help = true;
        if (found == 'w') result.wait = true;
        if (found == 'f') result.force = true;
        if (found == 'b') result.bus = options.value();
        if (found == 'b' && result.bus.empty()) throw UsageError(NO_ADDRESS);
    }
    result.operands = options.operands();
    return result;
}

static Message message_from(const SendOptions &options) {
    if (options.operands.empty()) throw UsageError("which word? 'displayctl words' lists them");
    const std::string &word = options.operands.front();
    const std::vector<std::string> arguments(options.operands.begin() + 1, options.operands.end());
    return options.force ? forced_message(word, arguments) : checked_message(word, arguments);
}

// Said only after the message is out: what the person might not expect of it.
static void note_prefix(const Message &message) {
    if (message.acts_as == nullptr || message.acts_as->word == message.word) return;
    fprintf(stderr, "displayctl: note: '%s' begins with '%s' and acts as that\n", message.word.c_str(),
            message.acts_as->word.c_str());
}

// Exactly what is known, for the message is out in every case.
static void warn_of_deaf_ears(Listening listening) {
    const std::string name = DISPLAY_BUS_NAME;
    std::string text;
    if (listening == Listening::nobody) {
        text =
            "nobody listens: no program on this bus has asked for display commands; start the status display and "
            "send again";
    } else if (listening == Listening::unnamed) {
        text = "a program on this bus listens for display commands, but none owns the name " + name +
               ": a status display that could not take it, or another listener";
    } else if (listening == Listening::unknown) {
        text = "no program on this bus owns the name " + name +
               "; whether a status display listens without it is "
               "not known: this bus does not tell (it may tell root)";
    }
    if (!text.empty()) fprintf(stderr, "displayctl: warning: %s\n", text.c_str());
}

int send_command(int argc, char **argv) {
    const SendOptions options = parse(argc, argv);
    if (options.help) {
        fputs(HELP, stdout);
        return 0;
    }
    const Message message = message_from(options);
    const Connection connection = connect_to_bus(options.bus);
    emit(connection.get(), message);
    note_prefix(message);
    if (options.wait) warn_of_deaf_ears(wait_until_taken(connection.get()));
    return 0;
}

} // namespace displayctl
