// Is a process with a given command name running? Looks through /proc; used by nothing in the daemon.
#pragma once

/// Returns the id of the first process in /proc's own order whose command name equals `name` (the kernel
/// keeps at most 15 characters of it), or -1 when there is none or the scan fails. Diagnostics go to the
/// standard streams.
long find_process_by_name(const char *name);
