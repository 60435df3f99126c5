#include "tools/frame_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/errors.h"

namespace displayctl {

// Ends endless input (a pipe from yes, /dev/zero) before it fills the memory.
constexpr size_t LONGEST_INPUT = 20u << 20;

// A file descriptor that closes itself.
struct Descriptor {
    explicit Descriptor(int opened) : number(opened) {}
    ~Descriptor() {
        if (number >= 0) close(number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int number;
};

static std::string reason() { return strerror(errno); }

// At most `length` bytes; fewer when the input ends.
static std::string read_bytes(int descriptor, size_t length) {
    std::string bytes;
    char part[4096];
    while (bytes.size() < length) {
        const ssize_t count = read(descriptor, part, std::min(sizeof part, length - bytes.size()));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw Failure("reading failed: " + reason());
        if (count == 0) break;
        bytes.append(part, size_t(count));
    }
    return bytes;
}

static std::string read_to_the_end(int descriptor) {
    std::string bytes = read_bytes(descriptor, LONGEST_INPUT + 1);
    if (bytes.size() <= LONGEST_INPUT) return bytes;
    throw Failure("more than " + std::to_string(LONGEST_INPUT >> 20) +
                  " MiB without an end: this is no frame (for a stream of frames give --follow)");
}

// The driver on the box counts a pixel's bit with the visible width, whatever the line length is.
static Picture read_device(int descriptor, const fb_var_screeninfo &info) {
    const Size size{int(info.xres), int(info.yres)};
    if (info.bits_per_pixel != 1) {
        throw Failure("this framebuffer has " + std::to_string(info.bits_per_pixel) +
                      " bits per pixel, the status display's has 1: give the right device");
    }
    if (info.xres < 1 || info.yres < 1 || info.xres > panel::LARGEST_SIDE || info.yres > panel::LARGEST_SIDE ||
        info.xoffset > panel::LARGEST_SIDE || info.yoffset > panel::LARGEST_SIDE) {
        throw Failure("the framebuffer's geometry can't be that of a panel: give the right device");
    }
    const size_t first_bit = info.xoffset + size_t(info.yoffset) * info.xres;
    const size_t length = (first_bit + size_t(info.xres) * info.yres + 7) / 8;
    return panel::Picture::from_raw(read_bytes(descriptor, length), size, first_bit);
}

static Picture read_opened(int descriptor, std::optional<Size> size, size_t *unused) {
    fb_var_screeninfo info;
    if (ioctl(descriptor, FBIOGET_VSCREENINFO, &info) == 0) return read_device(descriptor, info);
    struct stat about;
    if (fstat(descriptor, &about) == 0 && S_ISCHR(about.st_mode)) {
        throw Failure("this device is no framebuffer: give one such as /dev/fb0, or a file");
    }
    return panel::Picture::from_bytes(read_to_the_end(descriptor), size, unused);
}

static Picture read_path(const std::string &path, std::optional<Size> size, size_t *unused) {
    if (path == "-") return panel::Picture::from_bytes(read_to_the_end(STDIN_FILENO), size, unused);
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number >= 0) return read_opened(file.number, size, unused);
    const bool forbidden = errno == EACCES;
    const std::string said = "can't open it: " + reason();
    if (forbidden) throw Failure(said + ": try as root");
    throw Failure(said + ": name a framebuffer device, a file, or - for standard input");
}

Picture read_frame(const std::string &path, std::optional<Size> size, size_t *unused) {
    if (unused != nullptr) *unused = 0;
    try {
        return read_path(path, size, unused);
    } catch (const Failure &failure) {
        throw Failure((path == "-" ? "standard input" : path) + ": " + failure.what());
    }
}

std::optional<Picture> FrameStream::take() {
    const size_t length = panel::raw_length(size_);
    if (bytes_.size() < length && !ended_) {
        char part[4096];
        const ssize_t count = read(descriptor_, part, std::min(sizeof part, length - bytes_.size()));
        if (count < 0 && errno != EINTR) throw Failure("standard input: reading failed: " + reason());
        ended_ = count == 0;
        if (count > 0) bytes_.append(part, size_t(count));
    }
    if (ended_ && !bytes_.empty()) {
        throw Failure("standard input ended after " + std::to_string(bytes_.size()) + " of the " +
                      std::to_string(length) + " bytes of a frame: check its size (--size WxH)");
    }
    if (bytes_.size() < length) return std::nullopt;
    const Picture frame = panel::Picture::from_raw(bytes_, size_);
    bytes_.clear();
    return frame;
}

} // namespace displayctl
