// The subcommands of displayctl. Each gets its own name as argv[0], as a program would, returns 0, and throws
// UsageError or Failure otherwise.
#pragma once

namespace displayctl {

int send_command(int argc, char **argv);
int words_command(int argc, char **argv);
int view_command(int argc, char **argv);

} // namespace displayctl
