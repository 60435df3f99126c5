// displayctl view --follow: the panel whenever it changes, in place in a terminal, one picture after the other
// elsewhere.
#include <chrono>
#include <memory>

#include <poll.h>
#include <unistd.h>

#include "panel/terminal.h"
#include "tools/errors.h"
#include "tools/frame_source.h"
#include "tools/show.h"

namespace displayctl {

// How often a file is read, in milliseconds.
constexpr int PERIOD = 100;
constexpr char KEY_QUITS = 'q';

// Where the pictures of one run go.
class Viewer {
public:
    explicit Viewer(const ViewOptions &options) : options_(options) {
        in_place_ = !goes_to_files(options) && panel::look_for(STDOUT_FILENO, options.style).in_place;
        if (in_place_) panel::catch_endings();
    }
    bool in_place() const { return in_place_; }
    /// A picture that differs from the last one is shown.
    void show(const Picture &frame);
    /// Lets time pass, up to `milliseconds` or until there is something to read. False: the person wants the end.
    bool wait(int milliseconds, int descriptor);
    /// The source has ended: what was drawn in place is not lost with the terminal's other screen.
    void leave_last_picture();

private:
    void draw();
    panel::Row line_below(const panel::Drawing &drawing, int columns) const;

    const ViewOptions &options_;
    bool in_place_;
    std::optional<Picture> shown_;
    std::unique_ptr<panel::Screen> screen_; // from the first picture on: until then others may ask for a password
};

void Viewer::show(const Picture &frame) {
    if (shown_ == frame) return;
    shown_ = frame;
    if (goes_to_files(options_)) {
        write_files(frame, options_);
    } else if (in_place_) {
        if (!screen_) screen_ = std::make_unique<panel::Screen>();
        draw();
    } else {
        print_frame(frame, options_);
    }
}

panel::Row Viewer::line_below(const panel::Drawing &drawing, int columns) const {
    const std::string ends = screen_->has_keys() ? "q ends  " : "Ctrl-C ends  ";
    const std::string source = options_.path == "-" ? "standard input" : options_.path;
    const std::string text = ends + what_is_seen(*shown_, drawing) + "  " + source;
    return {panel::printable(text, columns)};
}

void Viewer::draw() {
    const panel::Place place = screen_->place();
    const panel::Look look = panel::look_for(STDOUT_FILENO, options_.style);
    const panel::Drawing drawing = panel::fitted(*shown_, look.style, {place.lines - 1, place.columns});
    std::vector<panel::Row> rows;
    for (const std::string &line : drawing.lines) rows.push_back({panel::dressed(line, look)});
    rows.push_back(line_below(drawing, place.columns));
    screen_->show(rows);
}

bool Viewer::wait(int milliseconds, int descriptor) {
    if (!screen_) {
        pollfd input{descriptor, POLLIN, 0};
        poll(&input, 1, milliseconds);
    } else {
        if (screen_->wait(milliseconds, descriptor).find(KEY_QUITS) != std::string::npos) return false;
        draw(); // the terminal may have another size
    }
    return !panel::end_wanted();
}

void Viewer::leave_last_picture() {
    if (!screen_) return;
    screen_.reset();
    print_frame(*shown_, options_);
}

// A terminal that is slower than its source gets the newest picture, others get each.
static void follow_input(const ViewOptions &options, Viewer *viewer) {
    constexpr int most_left_out = 100;
    constexpr int longest_wait = 1000; // a signal just before a wait would otherwise be seen by the next picture
    FrameStream stream(STDIN_FILENO, options.size.value_or(panel::DEVICE_SIZE));
    std::optional<Picture> newest;
    for (int left_out = 0; !stream.ended();) {
        pollfd input{stream.descriptor(), POLLIN, 0};
        const bool more = poll(&input, 1, 0) > 0;
        if (newest && (!more || !viewer->in_place() || left_out == most_left_out)) {
            viewer->show(*newest);
            newest.reset();
            left_out = 0;
        }
        if (!more && !viewer->wait(longest_wait, stream.descriptor())) return;
        const std::optional<Picture> next = more ? stream.take() : std::nullopt;
        if (!next) continue;
        newest = next;
        left_out++;
    }
    if (newest) viewer->show(*newest);
    viewer->leave_last_picture();
}

// A file that is being written anew can be unreadable for a moment; the last picture stays meanwhile.
static void follow_path(const ViewOptions &options, Viewer *viewer) {
    constexpr int most_failures = 20;
    Picture frame = read_frame(options.path, options.size);
    for (int failures = 0;;) {
        viewer->show(frame);
        if (!viewer->wait(PERIOD, -1)) return;
        try {
            frame = read_frame(options.path, options.size);
            failures = 0;
        } catch (const Failure &) {
            if (++failures == most_failures) throw;
        }
    }
}

void follow(const ViewOptions &options) {
    Viewer viewer(options);
    if (options.path == "-") {
        follow_input(options, &viewer);
    } else {
        follow_path(options, &viewer);
    }
}

} // namespace displayctl
