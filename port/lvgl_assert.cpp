#include "port/lvgl_assert.h"

#include <stdlib.h>
#include <syslog.h>

void lvgl_assert_failed(const char *what, const char *where) {
    syslog(LOG_CRIT, "LVGL: %s in %s, aborting\n", what, where);
    abort();
}
