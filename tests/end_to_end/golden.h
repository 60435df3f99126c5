// Golden panels: tests/goldens/{device,layout}/NAME.pbm, one panel row a line, each with a comment that says
// what the eye should see. A missing one is a failure. A failure leaves the actual picture and the difference
// in end_to_end_results/ of the build folder and names them. With UPDATE_GOLDENS=1 the tests write the files
// and print which ones changed; run them twice then, because some read the pictures of others.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "simulator/desk.h"

namespace end_to_end {

// Compares what the panel shows with the golden picture `name` of this registration. `eye` is one sentence
// for the file's comment line.
void expect_golden(desk::Desk &desk, bool layout, const std::string &name, const std::string &eye);

// The golden picture itself; a dark one and a failure when it is missing.
desk::Picture golden(bool layout, const std::string &name);

// Reading the layout's panel back in words, with the golden pictures as the dictionary. "?" is a row that no
// golden shows.
std::string shown_view(desk::Desk &desk); // the connectivity row: "usb", "vpn", "icons", "nothing", ...
std::string shown_mode(desk::Desk &desk); // the mode row: "READY", "REC ...", ...
// Both are wrong while an overlay covers the rows: ask these first.
bool overlay_shown(desk::Desk &desk);

} // namespace end_to_end
