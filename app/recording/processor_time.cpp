#include "app/recording/processor_time.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace app {

namespace {

constexpr rlim_t MOST_SECONDS = 10;

// Made before the signal, as a handler must not allocate memory.
std::string message;
pid_t replay = 0;
int statusAtEnd = 0;

void endReplay(int /*signal*/)
{
    if (getpid() == replay)
        (void)!write(STDERR_FILENO, message.data(), message.size());
    _exit(statusAtEnd);
}

}

void limitProcessorTime(int status)
{
    rlimit limit{};
    getrlimit(RLIMIT_CPU, &limit);
    rlim_t const most = std::min(limit.rlim_cur, MOST_SECONDS);
    rusage children{};
    getrusage(RUSAGE_CHILDREN, &children);
    auto const used = static_cast<rlim_t>(children.ru_utime.tv_sec)
        + static_cast<rlim_t>(children.ru_stime.tv_sec);
    limit.rlim_cur = most > used ? most - used : 1;
    message = "dovrel-sysinfo: the recording has too much: its replay needs more than "
        + std::to_string(most) + " s of the processor\n";
    replay = getpid();
    statusAtEnd = status;
    std::signal(SIGXCPU, endReplay);
    setrlimit(RLIMIT_CPU, &limit);
}

}
