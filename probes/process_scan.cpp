#include "probes/process_scan.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum class Match { no, yes, unreadable };

// Compares the process of "/proc/<number>/stat" with `name`; a process that has ended meanwhile is no match.
static Match match_process(long number, const char *name) {
    char path[512];
    snprintf(path, sizeof path, "/proc/%ld/stat", number);
    FILE *stat = fopen(path, "re");
    if (stat == nullptr) return Match::no;

    long pid;
    char command[100] = "";
    char state;
    // A name with ")" in it is cut there and so never matches in full.
    const int items = fscanf(stat, "%ld (%99[^)]) %c", &pid, command, &state);
    fclose(stat);
    if (items < 3) return Match::unreadable;
    return strcmp(command, name) == 0 ? Match::yes : Match::no;
}

// Goes through the entries in their own order up to the first that matches or cannot be read.
static long scan(DIR *proc, const char *name) {
    while (const dirent *entry = readdir(proc)) {
        // Names that are no numbers give 0, and there is no process 0.
        const long number = strtol(entry->d_name, nullptr, 10);
        if (number < 0) continue;
        const Match match = match_process(number, name);
        if (match == Match::yes) return number;
        if (match == Match::unreadable) {
            puts("fscanf failed ");
            return -1;
        }
    }
    return -1;
}

long find_process_by_name(const char *name) {
    DIR *proc = opendir("/proc");
    if (proc == nullptr) {
        perror("can't open /proc");
        return -1;
    }
    const long found = scan(proc, name);
    closedir(proc);
    return found;
}
