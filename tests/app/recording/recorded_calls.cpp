// Makes calls while recording.so is preloaded: `recorded_calls CASE PATH`. The sector size of the
// descriptor that a case leaves is asked for at last, and the log shows which path it has.

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

int opened(char const* path)
{
    return open(path, O_RDONLY | O_CLOEXEC);
}

/** @return a descriptor of something that has no path. */
int pathless()
{
    int ends[2] = {-1, -1};
    return pipe2(ends, O_CLOEXEC) == 0 ? ends[0] : -1;
}

int descriptorOf(char const* name, char const* path)
{
    auto const is = [name](char const* other) { return std::strcmp(name, other) == 0; };
    if (is("open"))
        return opened(path);
    if (is("close")) {
        close(opened(path));
        return pathless();
    }
    if (is("fclose")) {
        std::fclose(fdopen(opened(path), "r"));
        return pathless();
    }
    if (is("closedir")) {
        closedir(opendir("/etc"));
        return pathless();
    }
    int const file = opened(path);
    int const other = pathless();
    if (is("dup2-over"))
        return dup2(other, file);
    if (is("dup2"))
        return dup2(file, other);
    if (is("dup3"))
        return dup3(file, other, O_CLOEXEC);
    return -1;
}

}

int main(int count, char** arguments)
{
    if (count != 3)
        return 2;
    if (std::strcmp(arguments[1], "statx") == 0) {
        struct statx status { };
        return syscall(SYS_statx, AT_FDCWD, arguments[2], 0, STATX_BASIC_STATS, &status) == 0
                && S_ISREG(status.stx_mode)
            ? 0
            : 1;
    }
    int size = 0;
    int const file = descriptorOf(arguments[1], arguments[2]);
    return file >= 0 && ioctl(file, BLKSSZGET, &size) != 0 ? 0 : 1;
}
