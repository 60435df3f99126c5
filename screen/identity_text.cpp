#include "screen/identity_text.h"

#include <stdio.h>
#include <string.h>

#include "probes/readers.h"

// Far more than a label shows: the name begins behind the *last* "=", which is looked for in the whole line.
struct IdentityLine {
    char text[4096];
};

static IdentityLine read_identity(const char *path, const char *if_missing) {
    IdentityLine line = {};
    if (read_first_line(path, line.text, sizeof line.text) == FirstLine::missing) {
        snprintf(line.text, sizeof line.text, "%s", if_missing);
    }
    return line;
}

static void format_identity(char *text, const char *prefix, const char *value) {
    snprintf(text, IDENTITY_TEXT_SIZE, "%s %.*s", prefix, static_cast<int>(IDENTITY_TEXT_SIZE - 5), value);
}

void serial_number_text(char *text, const char *if_missing) {
    const IdentityLine line = read_identity(FILE_SERIAL_NUMBER, if_missing);
    format_identity(text, "SN:", line.text);
}

void bluetooth_name_text(char *text, const char *if_missing) {
    const IdentityLine line = read_identity(FILE_BLUETOOTH_NAME, if_missing);
    const char *equals = strrchr(line.text, '=');
    format_identity(text, "BT:", equals == nullptr ? line.text : equals + 1);
}
