// The 32-bit ARM daemon on a desk: the binaries of the armhf build, run by qemu-arm with the armhf sysroot.
#pragma once

#include "simulator/desk/desk.h"

namespace desk {

// Points `options` at the armhf daemon (the layout's when options.layout) and its emulator. Throws Error that
// says what to do when the armhf build or the emulator is missing.
void choose_armhf(Options &options);

} // namespace desk
