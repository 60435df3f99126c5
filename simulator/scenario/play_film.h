// The film of a scenario: both panels side by side, the caption below the layout, one frame for each change.
#pragma once

#include <string>
#include <vector>

#include "simulator/scenario/apng.h"
#include "simulator/scenario/stage.h"

namespace desk {

class Film {
public:
    explicit Film(Stage &stage) : stage_(stage), pictures_(scale) {}

    // Looks at the panels; a frame is made when something changed, the activity icon's own movement apart.
    // Cheap when nothing did.
    void look() { look(stage_.moment()); }
    void look(const Moment &now);
    // The caption from now on.
    void set_caption(const std::string &text);

    size_t frames() const { return pictures_.frames(); }
    // The file's, and into one. There must be a frame.
    std::string bytes() const;
    void save(const std::string &path) const;

private:
    bool panels_changed(const Moment &now);
    void shoot(int64_t now_us);

    static constexpr int scale = 4;

    Stage &stage_;
    AnimatedPng pictures_;
    std::array<std::vector<unsigned char>, 2> bytes_;
    std::array<Picture, 2> panels_;
    std::string caption_;
    int64_t shot_at_us_ = 0;
};

// The two panels and the caption as one picture.
panel::Picture side_by_side(const panel::Picture &layout, const panel::Picture &device, const std::string &caption);

} // namespace desk
