#include "panel/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "panel/failure.h"

namespace panel {

static Failure failure(const std::string &doing) { return Failure(doing + ": " + strerror(errno)); }

std::string load_bytes(const std::string &path, const std::string &kind) {
    FILE *file = fopen(path.c_str(), "rbe");
    if (file == nullptr) throw failure("can't read " + kind + path);
    std::string bytes;
    char part[4096];
    for (size_t count; (count = fread(part, 1, sizeof part, file)) > 0;) bytes.append(part, count);
    const bool read = ferror(file) == 0;
    const int reason = errno;
    fclose(file);
    errno = reason;
    if (!read) throw failure("can't read " + kind + path);
    return bytes;
}

static bool written(const std::string &path, const std::string &bytes) {
    FILE *file = fopen(path.c_str(), "wbe");
    if (file == nullptr) return false;
    const bool taken = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int reason = errno;
    if (fclose(file) != 0) return false;
    errno = reason;
    return taken;
}

void write_bytes(const std::string &path, const std::string &bytes) {
    if (!written(path, bytes)) throw failure("can't write " + path);
}

void save_bytes(const std::string &path, const std::string &bytes) {
    const std::string fresh = path + "." + std::to_string(getpid()) + ".part";
    if (written(fresh, bytes) && rename(fresh.c_str(), path.c_str()) == 0) return;
    const Failure problem = failure("can't write " + path);
    unlink(fresh.c_str());
    throw problem;
}

} // namespace panel
