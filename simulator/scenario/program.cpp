#include "simulator/scenario/program.h"

#include <csignal>

#include <unistd.h>

#include "simulator/desk/sandbox.h"

namespace desk {

Program::Program(Stage &stage, const std::vector<std::string> &command) {
    Guest guest;
    guest.keep_environment = true;
    guest.environment["DBUS_SYSTEM_BUS_ADDRESS"] = guest_bus_address;
    bring_current_folder(guest);
    bring_paths({command.begin() + 1, command.end()}, guest);
    std::vector<std::string> words = command;
    words[0] = bring_program(words[0], guest);
    process_.start(command_line(stage.box(), guest, words), {-1, STDOUT_FILENO, STDERR_FILENO});
}

void Program::end() {
    if (!process_.alive()) return;
    // All but the sandbox itself, which would take the others along at once.
    for (const ProcessEntry &entry : process_table()) {
        if (entry.group == process_.pid() && entry.pid != process_.pid()) ::kill(entry.pid, SIGTERM);
    }
    wait_until([this] { return !process_.alive(); }, std::chrono::seconds(3));
    process_.kill();
}

} // namespace desk
