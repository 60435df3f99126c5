// The two ways in which displayctl gives up. Both carry a sentence that says what to do; displayctl.cpp
// prints it and makes the exit status of it.
#pragma once

#include "client/message.h"
#include "panel/failure.h"

namespace displayctl {

/// What the person typed can't be carried out: exit status 2.
using client::UsageError;

/// It was asked for properly and failed: exit status 1, as for every other exception.
using panel::Failure;

} // namespace displayctl
