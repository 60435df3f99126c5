// The daemon's own code beside the model: the same steps for both, and after each of them record and panel compared.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>

#include "component/support.h"
#include "painter.h"
#include "sequence.h"
#include "timed_model.h"

struct Difference {
    size_t step = 0;    ///< after which step of the sequence
    std::string record; ///< what differs in the record, the log and what was asked of the shell; "" if nothing does
    std::string panel;  ///< the rows of the panel that differ, as they must be and as they are; "" if none does
    bool any() const { return !record.empty() || !panel.empty(); }
};

class Beside : private ComponentTest {
public:
    explicit Beside(const Periods &periods = {});
    ~Beside() override;
    /// Runs the sequence up to its first difference.
    Difference run(const Sequence &sequence);
    uint64_t steps() const { return steps_run; }
    uint64_t simulated_ms() const { return ms_run; }
    uint64_t panels() const { return panels_compared; }

private:
    void TestBody() override {}
    void start_over();
    void fill_box(const BoxContent &content);
    void start(const std::string &screen);
    void receive(const Step &step);
    std::string panel_difference(const TimedModel &model);

    Periods periods;
    Painter painter;
    BoxContent in_place;
    DBusConnection *connection = nullptr;
    uint64_t steps_run = 0, ms_run = 0, panels_compared = 0;
};
