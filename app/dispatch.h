// Carries out display commands: changes DisplayState, raises and closes overlays, and asks for a redraw
// of the connectivity row. Called by app/listener.cpp with each command it took from the bus.
#pragma once

#include <dbus/dbus.h>

/// True when `text` begins with `word`, byte for byte. Both are NUL-terminated.
bool is_prefix(const char *word, const char *text);

/// Carries out the first word of the vocabulary that `command` begins with; anything else is ignored.
/// `args` stands on the message's first argument. Later arguments of a wrong type count as missing.
void dispatch(const char *command, DBusMessageIter *args);
