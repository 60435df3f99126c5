// Golden pictures: those that the scenarios of simulator/scenarios expect, one panel row a line. The player of the
// scenarios compares with them whole and writes them; tests read them.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "simulator/desk/desk.h"

namespace end_to_end {

// The picture `name` of this panel, such as "start/icon_row"; a dark one and a failure when it is missing.
panel::Picture golden(bool layout, const std::string &name);

// Reading the layout's panel back in words, with the golden pictures as the dictionary. "?" is a row that no
// golden shows.
std::string shown_view(desk::Desk &desk); // the connectivity row: "usb", "vpn", "icons", "nothing", ...
std::string shown_mode(desk::Desk &desk); // the mode row: "READY", "REC ...", ...
// Both are wrong while an overlay covers the rows: ask these first.
bool overlay_shown(desk::Desk &desk);

} // namespace end_to_end
