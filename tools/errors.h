// The two ways in which displayctl gives up. Both carry a sentence that says what to do; displayctl.cpp
// prints it and makes the exit status of it.
#pragma once

#include <stdexcept>

#include "panel/failure.h"

namespace display_tools {

/// What the person typed can't be carried out: exit status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// It was asked for properly and failed: exit status 1.
using panel::Failure;

} // namespace display_tools
