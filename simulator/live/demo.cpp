// A step is a note and the lines up to the next one.
#include "simulator/live/demo.h"

#include <unistd.h>

#include "panel/terminal.h"
#include "simulator/desk/places.h"
#include "simulator/live/ending.h"
#include "simulator/scenario/scenario.h"

namespace desk {

// The rows that matter, in a terminal as large as the caption leaves room for.
static std::string drawn(const panel::Picture &picture, std::optional<panel::Style> style) {
    const panel::Look look = panel::look_for(STDOUT_FILENO, style);
    panel::Place place = panel::place_of(STDOUT_FILENO);
    place.lines -= 4;
    const panel::Picture upper = picture.part(0, 0, picture.width(), panel::rows_that_matter(picture));
    std::string text;
    for (const std::string &line : panel::fitted(upper, look.style, place).lines) {
        text += panel::dressed(line, look) + "\n";
    }
    return text;
}

void play_demo(const LiveOptions &options, const std::string &scenario) {
    const std::vector<desk::ScenarioLine> lines = desk::parse_scenario(scenario, "demo.scenario");
    desk::StageOptions stage_options;
    stage_options.target = options.target;
    desk::Stage stage(stage_options);
    // The activity icon moves by itself.
    const auto seen = [&] { return desk::without_activity_icon(stage.picture(options.view)); };
    panel::Picture before = seen();
    std::string caption;
    int number = 0;
    for (size_t i = 0; i < lines.size(); i++) {
        if (end_wanted()) return;
        perform(stage, lines[i].action);
        if (desk::is(lines[i].action, "note")) caption = lines[i].action.text;
        const bool step_ends = i + 1 == lines.size() || desk::is(lines[i + 1].action, "note");
        if (!step_ends) continue;
        print("\n" + std::to_string(++number) + ". " + caption + "\n" +
              drawn(stage.picture(options.view), options.style));
        if (seen() == before) throw desk::Error("the panel does not follow the step \"" + caption + "\"");
        before = seen();
    }
    print("\ndisplayctl and display-sim, ready to be called by name:\n  export PATH=\"" + program_folders() +
          ":$PATH\"\n");
}

} // namespace desk
