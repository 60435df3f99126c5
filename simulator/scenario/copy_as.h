// What has been done to the display, in the forms in which somebody takes it along: as a scenario, as curl lines to the
// page, as dbus-send or displayctl lines for a shell.
#pragma once

#include <string>
#include <vector>

#include "simulator/scenario/recorder.h"

namespace desk {

enum class CopyForm { scenario, curl, dbus_send, displayctl };
// "scenario", "curl", "dbus-send", "displayctl"
const char *name_of(CopyForm form);
constexpr CopyForm all_copy_forms[] = {CopyForm::scenario, CopyForm::curl, CopyForm::dbus_send, CopyForm::displayctl};

struct CopyPlace {
    std::string page;    // its address, for curl
    std::string exports; // what makes a shell send to this desk: "export DBUS_SYSTEM_BUS_ADDRESS=..."; "": on a box
};

// All lines: they lead from a fresh box to the same state. A bus carries the commands alone: of the box's files a comment
// tells, and pauses are those of the daemons' clock.
std::string copied_as(CopyForm form, const std::vector<RecordedLine> &lines, const CopyPlace &place);
// The last command alone; "" when there was none.
std::string last_copied_as(CopyForm form, const std::vector<RecordedLine> &lines, const CopyPlace &place);

} // namespace desk
