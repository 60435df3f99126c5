// Makes a failing sequence as small as it can: fewer steps, shorter times, plainer commands.
#pragma once

#include <functional>
#include <string>

#include "sequence.h"

using Fails = std::function<bool(const Sequence &)>;

/// A sequence that still fails, and no longer does with any step left out or any time a millisecond shorter. `fails`
/// holds for `sequence`. Steps of kind start stay.
Sequence shrunk(Sequence sequence, const Fails &fails);

/// The sequence as a scenario, a line each.
std::string as_scenario(const Sequence &sequence);
