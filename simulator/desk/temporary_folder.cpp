// Making, locking and sweeping. The lock file is made after its folder, so a folder without one may be just being
// made: it is only removed when it is empty, and whoever loses it that way makes another.
#include "simulator/desk/temporary_folder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simulator/desk/error.h"

namespace desk {

namespace fs = std::filesystem;

static const char *const lock_name = "/.lock";
static constexpr const char *letters = "XXXXXX";
static constexpr int attempts = 20;

// Sockets lie in these folders, and their paths must be short.
static std::string place() {
    const char *wanted = std::getenv("TMPDIR");
    const bool usable = wanted != nullptr && wanted[0] == '/' && std::string(wanted).size() < 60;
    return usable ? wanted : "/tmp";
}

// The lock, or -1: somebody else has it, or sweeps the folder away at this moment.
static int take_lock(const std::string &folder, int flags) {
    const int file = open((folder + lock_name).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600);
    if (file < 0) return -1;
    struct stat known = {};
    if (flock(file, LOCK_EX | LOCK_NB) == 0 && fstat(file, &known) == 0 && known.st_nlink > 0) return file;
    close(file);
    return -1;
}

static void sweep(const std::string &folder) {
    struct stat known = {};
    if (lstat(folder.c_str(), &known) != 0 || !S_ISDIR(known.st_mode) || known.st_uid != geteuid()) return;
    if (rmdir(folder.c_str()) == 0) return;
    const int lock = take_lock(folder, 0);
    if (lock < 0) return;
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    close(lock);
}

// Folders of that prefix, in which nobody lives any more.
static void sweep_all(const std::string &where, const std::string &prefix) {
    std::vector<std::string> found;
    std::error_code ignored;
    for (const auto &item : fs::directory_iterator(where, ignored)) {
        const std::string name = item.path().filename().string();
        const size_t length = prefix.size() + std::string(letters).size();
        if (name.size() == length && name.compare(0, prefix.size(), prefix) == 0) found.push_back(item.path().string());
    }
    for (const std::string &folder : found) sweep(folder);
}

TemporaryFolder::TemporaryFolder(const std::string &prefix) {
    const std::string where = place();
    static const bool swept = (sweep_all(where, prefix), true);
    (void)swept;
    for (int attempt = 0; attempt < attempts; attempt++) {
        std::string name = where + "/" + prefix + letters;
        if (mkdtemp(name.data()) == nullptr) throw system_error("can't make a folder in " + where);
        lock_ = take_lock(name, O_CREAT | O_EXCL);
        path_ = name;
        if (lock_ >= 0) return;
        rmdir(name.c_str());
    }
    throw system_error("can't lock a folder in " + where);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    close(lock_);
}

} // namespace desk
