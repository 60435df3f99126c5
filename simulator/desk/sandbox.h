// The sandbox of a program that runs in a box: bubblewrap where namespaces are allowed, proot elsewhere,
// both with the same list of binds. DESK_SANDBOX=bwrap or proot forces one.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "simulator/desk/box.h"

namespace desk {

enum class SandboxKind { bwrap, proot };

// What works here; tried once a process. Throws Error with advice when neither does.
SandboxKind sandbox_kind();

// Where programs that count their coverage leave their counts: the value of DESK_COVERAGE, a folder that is writable
// inside at its own place. With it a daemon is asked to end (SIGTERM) before it is killed, so that it can write them.
// NULL otherwise.
const char *coverage_folder();

struct Bind {
    std::string host;
    std::string guest;
    bool writable = false; // proot can't tell the difference
};

// What the inside sees beside the box.
struct Guest {
    std::vector<Bind> binds;
    std::map<std::string, std::string> environment;
    bool keep_environment = false; // false: nothing but `environment` and PATH
    std::string folder = "/";      // the current one
};

// ASAN_OPTIONS for a sanitized program inside: the caller's own, without the search for leaks where the sandbox traces
// what runs in it, because that search is a tracer itself.
std::string sanitizer_options_of_guest();

// The places at which the inside finds what belongs to the desk.
constexpr const char *guest_program_folder = "/desk/bin";
constexpr const char *guest_shim = "/desk/shim/libdesk_shim.so";
constexpr const char *guest_clock = "/desk/state/clock";
constexpr const char *guest_bus_address = "unix:path=/desk/bus/system";

// `command` wrapped into the sandbox of `box`, for Process::start or execvp.
std::vector<std::string> command_line(const Box &box, const Guest &guest, const std::vector<std::string> &command);

// A program of the host as the inside calls it: its folder is bound at /desk/bin, unless the sandbox has it
// anyway or it is a bare name that PATH finds.
std::string bring_program(const std::string &program, Guest &guest);

// Makes the current folder the guest's own, writable and at the same place; the root where it is one of the sandbox's.
void bring_current_folder(Guest &guest);

// Makes the absolute paths among `words` that exist on the host readable at the same place inside: folders
// themselves, files with their folder.
void bring_paths(const std::vector<std::string> &words, Guest &guest);

} // namespace desk
