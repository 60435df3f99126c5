// The panel's picture under the desk's own name.
#pragma once

#include "panel/files.h"
#include "panel/picture.h"

namespace desk {

using panel::Picture;
using panel::save_bytes;

} // namespace desk
