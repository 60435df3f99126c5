// Whole files. Both functions throw Failure with the path and the system's reason.
#pragma once

#include <string>

namespace panel {

/// What the file holds; `kind` goes before its name in the message, as "the picture ".
std::string load_bytes(const std::string &path, const std::string &kind = "");

/// Writes a file whole or not at all: a full disk leaves the one before, a reader never sees half of it, and a link is
/// replaced and not written through.
void save_bytes(const std::string &path, const std::string &bytes);

/// Writes to what is there, a pipe or a device, too.
void write_bytes(const std::string &path, const std::string &bytes);

} // namespace panel
