// A second, much plainer display: what commands, the mode line and the connectivity line are meant to do to
// the record, written down once more and apart from the daemon, so that tests can compare whole records over
// thousands of states and sequences.
//
// It draws nothing. It counts the boxes that lie on the screen and keeps the priorities of the two tasks.
// It takes the Wi-Fi link for down with its files missing: the probe then leaves the record alone.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/display_state.h"
#include "lvgl.h"

/// No view has to be shown: connectivity_line returns 0.
constexpr int NO_NEW_VIEW = -1;

struct Model {
    DisplayState state;
    int boxes = 0; ///< boxes on the screen, tracked or left behind
    int voltage_prio = LV_TASK_PRIO_MID;
    int progress_prio = LV_TASK_PRIO_OFF;
    std::string fw_status = "FW: Updating...";
    std::vector<std::pair<int, std::string>> log; ///< priority and text of each line of the command

    /// Carries out a whole command. `seconds` and `text` are the arguments behind the word.
    void command(const std::string &word, std::optional<int32_t> seconds = {}, std::optional<std::string> text = {});

    /// A model of the present record, screen and tasks.
    static Model of_display();
    /// "" when record, boxes, task priorities, firmware row and log are as modelled, else what differs.
    std::string difference() const;
    int other_objects = 0; ///< what the screen holds beside the boxes

    /// One pass of the mode line over a label that shows `label`; returns the text afterwards. `file` is the
    /// first line of the firmware-type file, if there is one. Sets `ended_early`.
    std::string mode_line(const std::string &label, std::optional<std::string> file);
    bool ended_early = false;

    /// The code of the view that connectivity_line would build, or NO_NEW_VIEW.
    int view_to_show(bool force) const;
    /// connectivity_line: the record afterwards. Returns whether the row was rebuilt.
    bool connectivity_line(bool force);
    /// connectivity_refresh with the link down.
    void connectivity_refresh_without_wifi();

    virtual ~Model() = default;
    Model() = default;
    Model(const Model &) = default;
    Model &operator=(const Model &) = default;

protected:
    // What a model that knows more does besides, or instead.
    virtual void show_box(bool DisplayState::*flag);
    virtual void show_usb_box() { boxes++; }
    virtual void restart_fw_box() {}
    virtual void close_box();
    virtual void row_was_built() {}
    virtual bool wifi_link_is_up() { return false; }
    bool any_box() const;

private:
    void clear_modes();
    void set_mode(bool DisplayState::*flag);
    void choose_channel(bool DisplayState::*channel, bool force);
    void error_code(const std::optional<std::string> &code);
    void update_started(std::optional<int32_t> seconds, const std::optional<std::string> &type);
    void update_ended(bool well);
};

/// All words in the order in which they are matched.
extern const std::vector<std::string> ALL_WORDS;

/// All texts of the mode row, that of the start first.
extern const std::vector<const char *> ALL_MODE_TEXTS;

/// The codes of all views of the connectivity row.
extern const std::vector<int> ALL_VIEWS;

struct NamedFlag {
    const char *name;
    bool DisplayState::*flag;
};
extern const std::vector<NamedFlag> MODE_FLAGS; ///< rec_active included
extern const std::vector<NamedFlag> CHANNEL_FLAGS;
extern const std::vector<NamedFlag> BOX_FLAGS; ///< of the boxes that are tracked, and wifi_error_latched at the end

/// How many combinations of `flags` there are: bit by bit in their order, from 0 to one less.
inline unsigned combinations(const std::vector<NamedFlag> &flags) { return 1u << flags.size(); }

/// The bits of BOX_FLAGS that tell of a box: all but the last.
inline unsigned box_bits() { return combinations(BOX_FLAGS) / 2 - 1; }

/// "" when both records agree in everything that commands and rows write, else the fields that differ.
std::string record_difference(const DisplayState &expected, const DisplayState &actual);

/// The first `limit` bytes of a text, without a last character that would be cut in two.
std::string cut_to(const std::string &text, size_t limit);
