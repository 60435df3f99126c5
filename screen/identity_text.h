// The unit's identity as text: who it is, from the factory's files.
#pragma once

#include <stddef.h>

/// Room for a label's longest text and the prefix; see set_label_text.
constexpr size_t IDENTITY_TEXT_SIZE = 256 + 5;

/// "SN: " and the first line of FILE_SERIAL_NUMBER; `if_missing` in its place when the file cannot be opened,
/// nothing when it holds no line. `text` has room for IDENTITY_TEXT_SIZE bytes.
void serial_number_text(char *text, const char *if_missing);

/// "BT: " and what follows the last "=" in the first line of FILE_BLUETOOTH_NAME, or the whole line when it
/// has no "="; otherwise like serial_number_text.
void bluetooth_name_text(char *text, const char *if_missing);
