/* Preloaded beside umockdev, which stands before stat but not before fstat: hidapi asks an open
   device for its number. Answers for the emulated hidraw devices, and passes on everything else. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

enum
{
    devices = 8
};

/* The target of a link in the test bed; empty if there is none. */
static void read_link(const char *root, const char *folder, int index, char *target)
{
    char path[PATH_MAX];
    snprintf(path, sizeof path, "%s/%s/hidraw%d", root, folder, index);
    const ssize_t length = readlink(path, target, PATH_MAX - 1);
    target[length > 0 ? length : 0] = '\0';
}

int fstat(int fd, struct stat *status)
{
    const int result = fstatat(fd, "", status, AT_EMPTY_PATH);
    const char *root = getenv("UMOCKDEV_DIR");
    if (result != 0 || !root || !S_ISCHR(status->st_mode))
        return result;

    char name[64], opened[PATH_MAX], emulated[PATH_MAX], number[PATH_MAX];
    snprintf(name, sizeof name, "/proc/self/fd/%d", fd);
    const ssize_t length = readlink(name, opened, sizeof opened - 1);
    opened[length > 0 ? length : 0] = '\0';
    for (int index = 0; index < devices; ++index) {
        unsigned major = 0, minor = 0;
        read_link(root, "dev", index, emulated);
        read_link(root, "dev/.node", index, number);
        if (strcmp(opened, emulated) == 0 && sscanf(number, "%u:%u", &major, &minor) == 2)
            status->st_rdev = makedev(major, minor);
    }
    return result;
}
