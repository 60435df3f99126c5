// Reads the small files and tools of the box.
//
// Plain descriptors instead of stdio: the meter and the mode line read such files twice a second, and a
// stream would allocate each time. O_NONBLOCK keeps a FIFO in a file's place from stopping the display.
#include "probes/readers.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

bool file_exists(const char *path) { return access(path, F_OK) == 0; }

// Reads up to `size` - 1 bytes into `buffer` and terminates them; without any byte `buffer` is left alone.
// Returns the count, or -1 when the file cannot be opened; one that opens but cannot be read counts as empty.
static ssize_t read_head(const char *path, char *buffer, size_t size) {
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd == -1) return -1;
    size_t length = 0;
    while (length < size - 1) {
        const ssize_t count = read(fd, buffer + length, size - 1 - length);
        if (count == -1 && errno == EINTR) continue;
        if (count <= 0) break;
        length += static_cast<size_t>(count);
    }
    close(fd);
    if (length > 0) buffer[length] = '\0';
    return static_cast<ssize_t>(length);
}

FirstLine read_first_line(const char *path, char *line, size_t size) {
    const ssize_t length = read_head(path, line, size);
    if (length == -1) return FirstLine::missing;
    if (length == 0) return FirstLine::none;
    line[strcspn(line, "\n")] = '\0';
    return FirstLine::read;
}

bool read_word(const char *path, char *word, size_t size) {
    char head[1024] = "";
    if (read_head(path, head, sizeof head) == -1) return false;
    constexpr char BLANKS[] = " \t\n\v\f\r";
    const char *start = head + strspn(head, BLANKS);
    const size_t length = strcspn(start, BLANKS);
    if (length == 0) return true;
    const size_t kept = length < size ? length : size - 1;
    memcpy(word, start, kept);
    word[kept] = '\0';
    return true;
}

bool read_last_line(const char *command, char *line, int limit) {
    FILE *pipe = popen(command, "re");
    if (pipe == nullptr) return false;
    while (fgets(line, limit, pipe) != nullptr) {
    }
    pclose(pipe);
    return true;
}
