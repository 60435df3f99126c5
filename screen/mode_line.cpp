// The mode word in the bottom row; see mode_line.h.
//
// The flags and the label's text are the whole state. The checks run in order, and each that fires clears
// the flags of all the others, so the last one to fire wins. A check whose text is already up ends the pass
// at once: what comes behind it, the file included, is then not looked at.
#include "screen/mode_line.h"

#include <string.h>

#include "app/display_state.h"
#include "probes/readers.h"
#include "screen/connectivity_line.h"

// rec_active is no mode of its own: it only chooses the text of mode_rec and is never cleared here.
static bool DisplayState::*const MODE_FLAGS[] = {
    &DisplayState::no_warranty, &DisplayState::mode_diagnosis, &DisplayState::mode_doip_ethernet,
    &DisplayState::mode_rec,    &DisplayState::mode_doip,      &DisplayState::mode_passthru,
    &DisplayState::power_down,  &DisplayState::restarting,     &DisplayState::ready,
};

static void clear_other_modes(bool DisplayState::*winner) {
    for (bool DisplayState::*flag : MODE_FLAGS) {
        if (flag != winner) display_state.*flag = false;
    }
}

// One check: shows `text` if `flag` is set. Returns false when the text was already up, which ends the pass.
static bool show_mode(bool DisplayState::*flag, const char *text) {
    if (!(display_state.*flag)) return true;
    if (strcmp(lv_label_get_text(display_state.mode_label), text) == 0) return false;
    clear_other_modes(flag);
    lv_label_set_text(display_state.mode_label, text);
    connectivity_line(0);
    return true;
}

// A J2534 firmware that runs keeps pass-thru up, any other type takes it down; without a line nothing changes.
static bool follow_running_firmware() {
    char type[TEXT_SIZE];
    if (read_first_line(FILE_FW_TYPE_RUNNING, type, sizeof type) == FirstLine::read) {
        display_state.mode_passthru = strcmp(type, "FT_MAINAPP_J2534") == 0;
    }
    return true;
}

void mode_line_task(lv_task_t *) {
    const DisplayState &state = display_state;
    const bool went_through = show_mode(&DisplayState::no_warranty, "NO WARRANTY") &&
                              show_mode(&DisplayState::mode_diagnosis, "DIAGNOSIS") &&
                              show_mode(&DisplayState::mode_doip_ethernet, "DOIP ETHERNET") &&
                              show_mode(&DisplayState::mode_rec, state.rec_active ? "REC ON" : "REC ...") &&
                              show_mode(&DisplayState::mode_doip, "DOIP") &&
                              follow_running_firmware() &&
                              show_mode(&DisplayState::mode_passthru, "PASSTHRU") &&
                              show_mode(&DisplayState::power_down, "POWER DOWN") &&
                              show_mode(&DisplayState::restarting, "RESTARTING...") &&
                              (state.no_warranty || show_mode(&DisplayState::ready, "READY"));
    // The label's width follows its text.
    if (went_through) lv_obj_align(state.mode_label, nullptr, LV_ALIGN_CENTER, 0, 0);
}
