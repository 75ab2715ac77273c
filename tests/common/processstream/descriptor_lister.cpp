// Prints the numbers of its open descriptors, and an "s" after that of a socket.

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>

int main()
{
    constexpr int END = 1024;
    for (int descriptor = 0; descriptor < END; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0)
            continue;
        struct stat status { };
        bool const isSocket = ::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
        std::printf("%d%s ", descriptor, isSocket ? "s" : "");
    }
}
