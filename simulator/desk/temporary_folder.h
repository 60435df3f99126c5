// A folder below TMPDIR or /tmp that goes with its owner. Who is killed leaves it behind; the next one that makes such
// a folder removes it. A lock on a file in it, which ends with the process that holds it, tells the living from the
// dead.
#pragma once

#include <string>

namespace desk {

class TemporaryFolder {
public:
    // Makes <TMPDIR or /tmp>/<prefix>XXXXXX.
    explicit TemporaryFolder(const std::string &prefix);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::string &path() const { return path_; }

private:
    std::string path_;
    int lock_ = -1;
};

} // namespace desk
