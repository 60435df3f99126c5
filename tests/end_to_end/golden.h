// Golden panels: tests/goldens/{device,layout}/NAME.pbm, one panel row a line, each with a comment that says
// what the eye should see. A missing one is a failure. A failure leaves the actual picture and the difference
// in end_to_end_results/ of the build folder and names them. With UPDATE_GOLDENS=1 the tests write the files
// and print which ones changed; run them twice then, because some read the pictures of others.
#pragma once

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "simulator/desk/desk.h"

namespace end_to_end {

// The name of a picture that a test draws. Only GOLDEN("NAME") makes one, and each that stands anywhere in the
// program is known from its start, whether its test runs or not: so a picture without a test is found.
class GoldenName {
public:
    const std::string &text() const { return text_; }

    // What GOLDEN is made of: `Named` is a type of its own for each place that it stands at.
    template <typename Named> static GoldenName of() { return known<Named>; }

private:
    explicit GoldenName(const char *text);
    template <typename Named> static const GoldenName known;

    std::string text_;
};

template <typename Named> const GoldenName GoldenName::known{Named::text()};

#define GOLDEN(name)                                    \
    ([] {                                               \
        struct Named {                                  \
            static const char *text() { return name; }  \
        };                                              \
        return end_to_end::GoldenName::of<Named>();     \
    }())

// All names that GOLDEN gives in this program.
const std::set<std::string> &golden_names();

// Compares what the panel shows with the golden picture `name` of this registration. `eye` is one sentence
// for the file's comment line.
void expect_golden(desk::Desk &desk, bool layout, const GoldenName &name, const std::string &eye);

// The golden picture itself; a dark one and a failure when it is missing.
desk::Picture golden(bool layout, const std::string &name);

// Reading the layout's panel back in words, with the golden pictures as the dictionary. "?" is a row that no
// golden shows.
std::string shown_view(desk::Desk &desk); // the connectivity row: "usb", "vpn", "icons", "nothing", ...
std::string shown_mode(desk::Desk &desk); // the mode row: "READY", "REC ...", ...
// Both are wrong while an overlay covers the rows: ask these first.
bool overlay_shown(desk::Desk &desk);

} // namespace end_to_end
