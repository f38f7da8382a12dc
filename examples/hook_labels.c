/* SPDX-License-Identifier: LGPL-2.1-or-later */
/*
 * A package manager's hook: gives the files of a transaction their execution label, all in one change of the
 * running framework. It reads their paths from standard input, one a line, as "dpkg-query -L" and "rpm -ql"
 * print them.
 */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <tresk_extend.h>

/* The files of one transaction; an array that grows by doubling. */
struct transaction {
    tresk_dpkg_label_record *records;
    int count;
    int room;
};

static int grow(struct transaction *files)
{
    const int room = files->room == 0 ? 64 : 2 * files->room;
    tresk_dpkg_label_record *records = realloc(files->records, (size_t)room * sizeof *records);
    if (records == NULL) {
        return -1;
    }
    files->records = records;
    files->room = room;
    return 0;
}

/* Packages list their directories and links as well; the label is for files. */
static int is_file(const char *path)
{
    struct stat status;
    return lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

/* A path that did not fit its record would be another file's, cut: the system has none that is so long. */
static int add(struct transaction *files, const char *path)
{
    if (strlen(path) >= sizeof files->records->path || !is_file(path)) {
        return 0;
    }
    if (files->count == files->room && grow(files) != 0) {
        return -1;
    }
    tresk_dpkg_label_record *record = &files->records[files->count++];
    memset(record, 0, sizeof *record);
    strcpy(record->path, path);
    return 0;
}

static int read_paths(struct transaction *files, FILE *input)
{
    char *line = NULL;
    size_t room = 0;
    int result = 0;
    while (result == 0 && getline(&line, &room, input) >= 0) {
        line[strcspn(line, "\n")] = '\0';
        result = add(files, line);
    }
    free(line);
    return result != 0 || ferror(input) ? -1 : 0;
}

int main(void)
{
    struct transaction files = {NULL, 0, 0};
    int result = 1;
    if (read_paths(&files, stdin) != 0) {
        perror("hook_labels");
    } else if (files.count == 0) {
        result = 0; /* nothing to do; the library takes an empty batch for a mistake */
    } else {
        const int code = tresk_exectl_multi_set_for_dpkg(files.records, files.count);
        printf("%d files: %s (%d)\n", files.count, code == 0 ? "labelled" : "not labelled", code);
        result = code == 0 ? 0 : 1;
    }
    free(files.records);
    return result;
}
