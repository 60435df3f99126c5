// Foreign texts on their way into the system log.
#pragma once

/// How many bytes of `text` a log line takes, for "%.*s": all of it, or of a longer one the first 4,096 without the
/// letter of well-formed UTF-8 that this would cut.
int logged_length(const char *text);
