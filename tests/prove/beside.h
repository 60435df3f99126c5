// The daemon's own code beside the model: the same steps for both, and after each of them record and panel compared.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>
#include <unordered_set>

#include "component/support.h"
#include "painter.h"
#include "sequence.h"
#include "timed_model.h"

struct Difference {
    size_t step = 0;    ///< after which step of the sequence
    std::string record; ///< what differs in the record, the log and what was asked of the shell, or is held
    std::string panel;  ///< the rows of the panel that differ, as they must be and as they are; "" if none does
    bool any() const { return !record.empty() || !panel.empty(); }
};

class Beside : private ComponentTest {
public:
    explicit Beside(const Periods &periods = {});
    ~Beside() override;
    /// Runs the sequence up to its first difference.
    Difference run(const Sequence &sequence);
    /// What has been run so far, in a few lines.
    std::string summary() const;

private:
    void TestBody() override {}
    void start_over();
    void fill_box(const BoxContent &content);
    void start(const std::string &screen);
    void receive(const Step &step);
    void pass(uint32_t ms);
    void count(const Step &step);
    std::string panel_difference(const TimedModel &model);

    Periods periods;
    Painter painter;
    BoxContent in_place;
    DBusConnection *connection = nullptr;
    std::map<Step::Kind, uint64_t> kinds;  ///< how many steps of each
    std::map<std::string, uint64_t> words; ///< how many of each display command, as the vocabulary has it
    std::unordered_set<size_t> scenes;     ///< of each panel that was compared, a hash of what it must show
    uint64_t ms_run = 0, panels_compared = 0;
};
