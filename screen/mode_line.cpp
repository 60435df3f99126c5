// The mode word in the bottom row.
//
// The flags and the label's text are the whole state. The checks run in order, and the one that fires clears the flags
// of all the others, so of several that are set the first wins; only the file of the running firmware can set one behind
// it. A check whose text is already up ends the pass at once: what comes behind it, the file included, is then not
// looked at.
#include "screen/mode_line.h"

#include <string.h>

#include "app/display_state.h"
#include "probes/readers.h"
#include "screen/connectivity_line.h"

// A check, in the order of the table: shows its text if its flag is set.
struct ModeCheck {
    bool DisplayState::*flag;
    const char *text;
};

// The order decides which of several flags remains: the first that is set.
static const ModeCheck MODE_CHECKS[] = {
    {&DisplayState::no_warranty, "NO WARRANTY"},
    {&DisplayState::mode_diagnosis, "DIAGNOSIS"},
    {&DisplayState::mode_doip_ethernet, "DOIP ETHERNET"},
    {&DisplayState::mode_rec, "REC ..."}, // "REC ON" once it is confirmed
    {&DisplayState::mode_doip, "DOIP"},
    {&DisplayState::mode_passthru, "PASSTHRU"}, // the running firmware is looked at first
    {&DisplayState::power_down, "POWER DOWN"},
    {&DisplayState::restarting, "RESTARTING..."},
    {&DisplayState::ready, "READY"}, // not without a warranty
};

// A J2534 firmware that runs keeps pass-thru up, any other type takes it down; without a line nothing changes.
static void follow_running_firmware() {
    char type[TEXT_SIZE];
    if (read_first_line(FILE_FW_TYPE_RUNNING, type, sizeof type) != FirstLine::read) return;
    display_state.mode_passthru = strcmp(type, "FT_MAINAPP_J2534") == 0;
}

static bool is_set(const ModeCheck &check) {
    const DisplayState &state = display_state;
    return state.*check.flag && !(check.flag == &DisplayState::ready && state.no_warranty);
}

// rec_active is no mode of its own: it only chooses this text, and is never cleared here.
static const char *text_of(const ModeCheck &check) {
    return check.flag == &DisplayState::mode_rec && display_state.rec_active ? "REC ON" : check.text;
}

static void clear_all_but(const ModeCheck &winner) {
    for (const ModeCheck &check : MODE_CHECKS) {
        if (check.flag != winner.flag) display_state.*check.flag = false;
    }
}

void mode_line_task(lv_task_t *) {
    lv_obj_t *label = display_state.mode_label;
    for (const ModeCheck &check : MODE_CHECKS) {
        if (check.flag == &DisplayState::mode_passthru) follow_running_firmware();
        if (!is_set(check)) continue;
        if (strcmp(lv_label_get_text(label), text_of(check)) == 0) return;
        clear_all_but(check);
        lv_label_set_text(label, text_of(check));
        connectivity_line(0);
    }
    // The label's width follows its text.
    lv_obj_align(label, nullptr, LV_ALIGN_CENTER, 0, 0);
}
