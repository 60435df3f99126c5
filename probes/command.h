// Runs the box's small command-line tools through a shell and keeps the last line they print.
#pragma once

/// Runs `command` to its end and reads its output line by line into `line`, at most `limit` - 1 bytes a piece;
/// the last piece read stays, and `line` is left alone when there was no output. Blocks until the command ends.
/// Returns false when it could not be started.
bool read_last_line(const char *command, char *line, int limit);
