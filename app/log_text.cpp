// How much of a foreign text is logged.
//
// The log socket refuses a line of a few hundred kilobytes. LOG_CONS then has it written to the console, and the
// display stands still until a serial line has carried it all.
#include "app/log_text.h"

#include <string.h>

constexpr size_t MOST_BYTES = 4096;

static bool continues_a_letter(char byte) { return (byte & 0xC0) == 0x80; }

int logged_length(const char *text) {
    size_t length = strnlen(text, MOST_BYTES + 1);
    if (length > MOST_BYTES) {
        length = MOST_BYTES;
        while (length > 0 && continues_a_letter(text[length])) length--;
    }
    return static_cast<int>(length);
}
