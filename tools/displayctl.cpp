// displayctl: a small program for people beside the status display. It sends display commands, lists them and
// shows what the panel shows. This file picks the subcommand and turns what goes wrong into words and an exit
// status; the work is in send.cpp, words.cpp and view.cpp.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "tools/commands.h"
#include "tools/errors.h"

using namespace displayctl;

static constexpr char HELP[] =
    R"(Usage: displayctl COMMAND [OPTION...] [ARGUMENT...]

  displayctl send WORD [ARGUMENT...]  send a display command over the system bus
  displayctl words                    list the words that the display acts on
  displayctl view [FILE | -]          show a panel in the terminal or as a picture file
  displayctl --version                print the version
  displayctl --help                   print this text

'displayctl COMMAND --help' explains a command.
Exit status: 0 done, 1 failed, 2 the command line is wrong.
)";

struct Subcommand {
    const char *name;
    int (*run)(int argc, char **argv);
};

static constexpr Subcommand SUBCOMMANDS[] = {
    {"send", send_command},
    {"words", words_command},
    {"view", view_command},
};

// Standard output may be a full disk; that is a failure like any other.
static void finish_output() {
    if (fflush(stdout) != 0 || ferror(stdout)) {
        throw Failure(std::string("can't write standard output: ") + strerror(errno));
    }
}

static int run(int argc, char **argv) {
    const std::string name = argc > 1 ? argv[1] : "";
    if (name == "--help" || name == "-h") {
        fputs(HELP, stdout);
        return 0;
    }
    if (name == "--version") {
        puts("displayctl " DISPLAYCTL_VERSION);
        return 0;
    }
    for (const Subcommand &subcommand : SUBCOMMANDS) {
        if (name == subcommand.name) return subcommand.run(argc - 1, argv + 1);
    }
    throw UsageError((name.empty() ? "which command?" : "unknown command '" + name + "':") +
                     std::string(" there are send, words and view; 'displayctl --help' explains them"));
}

int main(int argc, char **argv) {
    try {
        const int status = run(argc, argv);
        finish_output();
        return status;
    } catch (const UsageError &error) {
        fprintf(stderr, "displayctl: %s\n", error.what());
        return 2;
    } catch (const std::exception &error) {
        fprintf(stderr, "displayctl: %s\n", error.what());
        return 1;
    }
}
