// Errors and waiting, the same way everywhere in the desk library. Each wait has a condition and a deadline;
// what fails is an Error whose message tells a person what to do. Deadlines are in real time and are
// multiplied by the environment variable DESK_PATIENCE (for valgrind, emulators and slow machines).
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "panel/failure.h"

namespace desk {

// Anything the desk could not do. what() is a sentence for a person.
using Error = panel::Failure;

// The deadline of a wait unless a caller says otherwise.
constexpr std::chrono::milliseconds usual_deadline{10000};

// `deadline` times DESK_PATIENCE (a factor such as "10" or "0.5"; 1 when unset or unreadable).
std::chrono::milliseconds stretched(std::chrono::milliseconds deadline = usual_deadline);

// Asks `condition` again and again until it holds. False when stretched(deadline) has passed first.
bool wait_until(const std::function<bool()> &condition, std::chrono::milliseconds deadline = usual_deadline);

// "`doing`: <text of errno>" as an Error.
Error system_error(const std::string &doing);

} // namespace desk
