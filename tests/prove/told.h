// What the daemon must still do after a long run: exactly what it is told.
#pragma once

#include "simulator/desk/desk.h"

namespace prove {

// Out of whatever state: nothing open, one channel, one mode. The pixels of the two rows that depend on nothing else.
desk::Picture told(desk::Desk &desk);

// Throws desk::Error unless it shows what a fresh one shows after the same commands. What is still on its way to the
// daemon is taken first.
void must_do_what_it_is_told(desk::Desk &desk);

// Fills LVGL's pool with boxes that stay until the daemon aborts. Throws desk::Error unless as many have room as in a
// fresh one.
void must_have_the_room_of_a_fresh_one(desk::Desk &desk);

} // namespace prove
