// Watching the stage and composing frames.
#include "simulator/scenario/play_film.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "panel/files.h"
#include "simulator/scenario/stage_text.h"

namespace desk {

// Quiet times are cut to this; a film of ten minutes would not be watched.
static constexpr int64_t longest_frame_ms = 1500;
// Programs that show films make up a time of their own for frames of none.
static constexpr int64_t shortest_frame_ms = 40;
static constexpr int64_t last_frame_ms = 4000;
// Enough for each second of a long update; whatever follows is left out.
static constexpr size_t most_frames = 3000;

// A frame line two pixels outside each panel.
static constexpr int margin = 6;
static constexpr int layout_width = 128;
static constexpr int layout_height = 66;
static constexpr int device_width = 64;
static constexpr int device_height = 128;
static constexpr int device_x = margin + layout_width + 2 * margin;

static void draw_frame(panel::Picture &canvas, int x, int y, int width, int height) {
    for (int i = x - 3; i < x + width + 3; i++) {
        canvas.set(i, y - 3, true);
        canvas.set(i, y + height + 2, true);
    }
    for (int i = y - 3; i < y + height + 3; i++) {
        canvas.set(x - 3, i, true);
        canvas.set(x + width + 2, i, true);
    }
}

// Lines of words that fit below the layout.
static std::vector<std::string> wrapped(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const std::string longer = lines.empty() ? word : lines.back() + " " + word;
        if (!lines.empty() && text_picture(longer).width() <= layout_width) {
            lines.back() = longer;
        } else {
            lines.push_back(word);
        }
    }
    return lines;
}

panel::Picture side_by_side(const panel::Picture &layout, const panel::Picture &device, const std::string &caption) {
    panel::Picture canvas(device_x + device_width + margin, device_height + 2 * margin);
    draw_frame(canvas, margin, margin, layout_width, layout_height);
    draw_frame(canvas, device_x, margin, device_width, device_height);
    copy_lit(layout, canvas, margin, margin);
    copy_lit(device, canvas, device_x, margin);
    int y = margin + layout_height + margin;
    for (const std::string &line : wrapped(caption)) {
        copy_lit(text_picture(line).part(0, 0, layout_width, text_height), canvas, margin, y);
        y += text_height - 2;
    }
    return canvas;
}

// Most looks end at the comparison of the raw bytes.
bool Film::panels_changed(const Moment &now) {
    bool changed = false;
    for (View view : both_views) {
        const auto panel = static_cast<size_t>(view == View::layout);
        if (now.panels[panel] == bytes_[panel]) continue;
        bytes_[panel] = now.panels[panel];
        const Picture before = std::exchange(panels_[panel], stage_.desk(view).panel().picture_of(bytes_[panel]));
        const auto still = view == View::layout ? without_activity_icon : [](const Picture &all) { return all; };
        changed = changed || still(before) != still(panels_[panel]);
    }
    return changed;
}

// A restart sets the clock back; the picture before it then counts as shown for as long as is usual.
void Film::shoot(int64_t now_us) {
    if (pictures_.frames() >= most_frames) return;
    const int64_t shown_ms = now_us >= shot_at_us_ ? (now_us - shot_at_us_) / 1000 : longest_frame_ms;
    pictures_.add(side_by_side(panels_[1], panels_[0], caption_),
                  std::clamp(shown_ms, shortest_frame_ms, longest_frame_ms));
    shot_at_us_ = now_us;
}

void Film::look(const Moment &now) {
    if (panels_changed(now)) shoot(now.now_us);
}

void Film::set_caption(const std::string &text) {
    caption_ = text;
    const Moment now = stage_.moment();
    panels_changed(now);
    shoot(now.now_us);
}

std::string Film::bytes() const { return pictures_.bytes(last_frame_ms); }

void Film::save(const std::string &path) const { panel::save_bytes(path, bytes()); }

} // namespace desk
