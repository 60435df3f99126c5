// Where frames come from: a framebuffer device, whose geometry the kernel tells, a file, or standard input.
// Throws Failure with the path and with advice.
#pragma once

#include <optional>
#include <string>

#include "panel/picture.h"

namespace displayctl {

using panel::Picture;
using panel::Size;

/// The frame at `path` as it stands now; "-" is standard input up to its end. `size` overrules what a file's
/// length says; a device's own geometry always counts. `unused`: bytes behind the frame.
Picture read_frame(const std::string &path, std::optional<Size> size, size_t *unused = nullptr);

/// Raw frame after raw frame from a descriptor.
class FrameStream {
public:
    FrameStream(int descriptor, Size size) : descriptor_(descriptor), size_(size) {}
    int descriptor() const { return descriptor_; }
    bool ended() const { return ended_; }
    /// The next frame if all of it has come; otherwise takes what there is, waiting only for the first byte of it.
    /// Throws Failure when the stream ends within a frame.
    std::optional<Picture> take();

private:
    int descriptor_;
    Size size_;
    std::string bytes_;
    bool ended_ = false;
};

} // namespace displayctl
