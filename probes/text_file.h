// Small files as other services write them: presence, one word, first line. Nothing here blocks on a FIFO,
// allocates, or reads more than its buffer.
#pragma once

#include <stddef.h>

/// True when `path` exists, whatever it is; its content is never read.
bool file_exists(const char *path);

enum class FirstLine {
    missing,  ///< the file cannot be opened
    none,     ///< it can, but holds no line
    read,
};

/// Reads the first line of `path` without its newline into `line` (at most `size` - 1 bytes). `line` is left
/// alone when there is none.
FirstLine read_first_line(const char *path, char *line, size_t size);

/// Reads the first blank-separated word of `path` into `word` (at most `size` - 1 bytes). Only the file's first
/// kilobyte is looked at. Returns whether the file could be opened; `word` is left alone when it could not, or
/// holds no word.
bool read_word(const char *path, char *word, size_t size);
