/* Where LVGL's assertions end: a full memory pool or a NULL object would otherwise spin for ever, silently. */
#ifndef PORT_LVGL_ASSERT_H
#define PORT_LVGL_ASSERT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Logs one line at LOG_CRIT and aborts, so that the service manager starts the daemon again. */
void lvgl_assert_failed(const char *what, const char *where) __attribute__((noreturn));

#ifdef __cplusplus
}
#endif

#endif
