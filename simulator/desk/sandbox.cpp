// The list of binds, and the two programs that take it.
#include "simulator/desk/sandbox.h"

#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "simulator/desk/error.h"
#include "simulator/desk/process.h"

namespace desk {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

static const char *const search_path = "PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin";

// Links at the root of a merged-/usr system; on another one the folders are bound.
static const char *const system_folders[] = {"/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"};

// What programs need of /etc: finding libraries, and the links behind names such as awk.
static const char *const etc_files[] = {"/etc/ld.so.cache", "/etc/alternatives", "/etc/passwd", "/etc/group",
                                        "/etc/nsswitch.conf"};

static bool is_link(const std::string &path) { return fs::is_symlink(fs::symlink_status(path)); }

const char *coverage_folder() { return std::getenv("DESK_COVERAGE"); }

// The one list of binds, parents first.
static std::vector<Bind> all_binds(const Box &box, const Guest &guest) {
    std::vector<Bind> binds = {{"/usr", "/usr", false}};
    for (const char *folder : system_folders) {
        if (fs::is_directory(folder) && !is_link(folder)) binds.push_back({folder, folder, false});
    }
    for (const char *file : etc_files) {
        if (fs::exists(file)) binds.push_back({file, file, false});
    }
    for (const BoxFolder &folder : box_folders()) {
        binds.push_back({box.folder() + "/" + folder.name, folder.guest, true});
    }
    binds.insert(binds.end(), guest.binds.begin(), guest.binds.end());
    if (const char *counts = coverage_folder()) binds.push_back({counts, counts, true});
    return binds;
}

static void append(Words &words, const Words &more) { words.insert(words.end(), more.begin(), more.end()); }

static Words bwrap_words(const std::vector<Bind> &binds, const Guest &guest) {
    Words words = {"bwrap", "--die-with-parent", "--unshare-pid", "--proc", "/proc"};
    for (const char *folder : system_folders) {
        if (is_link(folder)) append(words, {"--symlink", fs::read_symlink(folder).string(), folder});
    }
    for (const Bind &bind : binds) {
        append(words, {bind.writable ? "--bind" : "--ro-bind", bind.host, bind.guest});
    }
    for (const char *device : host_devices) append(words, {"--dev-bind", device, device});
    append(words, {"--chdir", guest.folder});
    return words;
}

// proot has no switch that ends the inside with it; setpriv gives the first process that property.
static Words proot_words(const Box &box, const std::vector<Bind> &binds, const Guest &guest) {
    const std::string root = box.folder() + "/root";
    fs::create_directories(root);
    for (const char *folder : system_folders) {
        const std::string link = root + folder;
        if (is_link(folder) && !is_link(link)) fs::create_symlink(fs::read_symlink(folder), link);
    }
    Words words = {"proot", "-r", root, "-b", "/proc:/proc"};
    for (const Bind &bind : binds) append(words, {"-b", bind.host + ":" + bind.guest});
    for (const char *device : host_devices) append(words, {"-b", std::string(device) + ":" + device});
    append(words, {"-w", guest.folder, "/usr/bin/setpriv", "--pdeathsig", "KILL"});
    return words;
}

// The environment is set inside, by env, so that a preloaded library reaches the program and not the sandbox.
static Words environment_words(const Guest &guest) {
    Words words = {"/usr/bin/env"};
    if (!guest.keep_environment) words.push_back("-i");
    words.push_back(search_path);
    for (const auto &[name, value] : guest.environment) words.push_back(name + "=" + value);
    return words;
}

static Words wrap(SandboxKind kind, const Box &box, const Guest &guest, const Words &command) {
    const std::vector<Bind> binds = all_binds(box, guest);
    Words words = kind == SandboxKind::bwrap ? bwrap_words(binds, guest) : proot_words(box, binds, guest);
    append(words, environment_words(guest));
    append(words, command);
    return words;
}

static bool works(SandboxKind kind) {
    const Box box(Contents::bare);
    Process probe;
    probe.start(wrap(kind, box, {}, {"/usr/bin/true"}), {});
    return probe.wait() == 0;
}

static SandboxKind find_sandbox_kind() {
    const char *forced = std::getenv("DESK_SANDBOX");
    const std::string name = forced != nullptr ? forced : "";
    if (name == "bwrap") return SandboxKind::bwrap;
    if (name == "proot") return SandboxKind::proot;
    if (!name.empty()) throw Error("DESK_SANDBOX is \"" + name + "\"; it may be bwrap or proot");
    if (works(SandboxKind::bwrap)) return SandboxKind::bwrap;
    if (works(SandboxKind::proot)) return SandboxKind::proot;
    throw Error(
        "bubblewrap can't make a namespace here and proot isn't installed or can't trace processes; "
        "as root: apt-get install bubblewrap proot");
}

SandboxKind sandbox_kind() {
    static const SandboxKind found = find_sandbox_kind();
    return found;
}

std::string sanitizer_options_of_guest() {
    const char *wanted = std::getenv("ASAN_OPTIONS");
    const std::string own = wanted != nullptr ? wanted : "";
    if (sandbox_kind() != SandboxKind::proot) return own;
    return own + (own.empty() ? "" : ":") + "detect_leaks=0";
}

Words command_line(const Box &box, const Guest &guest, const Words &command) {
    return wrap(sandbox_kind(), box, guest, command);
}

static bool lies_in(const std::string &path, const std::string &folder) {
    return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

// Places of the inside that are its own: what the host has there must not come in. /tmp is the exception,
// because build folders like to lie there; they show up inside the box's /tmp.
static bool belongs_to_sandbox(const std::string &path) {
    static const char *const own[] = {"/usr",  "/bin", "/sbin", "/lib",    "/lib32",    "/lib64", "/etc",
                                      "/proc", "/sys", "/dev",  "/rodata", "/userdata", "/desk"};
    for (const char *folder : own) {
        if (lies_in(path, folder)) return true;
    }
    return path == "/" || path == "/tmp";
}

// The box covers /usr/local/bin alone, so everything else in /usr is where it was.
static bool is_there_anyway(const std::string &path) {
    return lies_in(path, "/usr") && !lies_in(path, "/usr/local/bin");
}

std::string bring_program(const std::string &program, Guest &guest) {
    if (program.find('/') == std::string::npos) return program;
    const fs::path whole = fs::absolute(program).lexically_normal();
    if (is_there_anyway(whole.string())) return whole.string();
    if (!fs::exists(whole)) throw Error("there is no program " + whole.string() + "; build it first");
    guest.binds.push_back({whole.parent_path().string(), guest_program_folder, false});
    return std::string(guest_program_folder) + "/" + whole.filename().string();
}

void bring_current_folder(Guest &guest) {
    const std::string folder = fs::current_path().string();
    if (belongs_to_sandbox(folder)) return;
    guest.binds.push_back({folder, folder, true});
    guest.folder = folder;
}

void bring_paths(const Words &words, Guest &guest) {
    for (const std::string &word : words) {
        if (word.empty() || word[0] != '/' || !fs::exists(word)) continue;
        const fs::path whole = fs::path(word).lexically_normal();
        const std::string folder = (fs::is_directory(whole) ? whole : whole.parent_path()).string();
        if (!belongs_to_sandbox(folder)) guest.binds.push_back({folder, folder, false});
    }
}

} // namespace desk
