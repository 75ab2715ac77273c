#include "tests/sysinfo/FaultTable.h"

#include <cerrno>
#include <sstream>

namespace testkit {

std::vector<FaultyCall> const FAULTY_CALLS = {
    {"access", {EACCES}, {EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR}},
    {"clock_nanosleep", {}, {}, true},
    {"close", {EIO}, {EBADF, EDQUOT, ENOSPC}, true},
    {"closedir", {EBADF}, {}},
    {"dup2", {EMFILE}, {EBADF, EBUSY}, true},
    {"dup3", {EMFILE, EBUSY}, {EBADF, EINVAL}, true},
    {"execle", {ENOENT},
        {E2BIG, EACCES, EAGAIN, EINVAL, EIO, EISDIR, ELIBBAD, ELOOP, EMFILE, ENAMETOOLONG, ENFILE,
            ENOEXEC, ENOMEM, ENOTDIR, EPERM, ETXTBSY}},
    {"fcntl", {EBADF}, {EINVAL, EPERM}},
    {"fork", {EAGAIN}, {ENOMEM, ENOSYS}},
    {"fread_unlocked", {EIO}, {EAGAIN, EBADF, EINVAL}, true, true},
    {"fstat", {EBADF}, {ENOMEM, EOVERFLOW}},
    {"fstatat", {ENOENT}, {EACCES, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR, EOVERFLOW}},
    {"gethostname", {ENAMETOOLONG}, {EINVAL}},
    {"grantpt", {EACCES}, {EBADF, EINVAL}},
    {"ioctl", {ENOTTY}, {EBADF, EINVAL, EIO, ENODEV, ENXIO}},
    {"isatty", {ENOTTY}, {EBADF}},
    {"lstat", {EACCES, ENOENT}, {ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR, EOVERFLOW}},
    {"mincore", {EAGAIN, ENOMEM}, {EINVAL}},
    {"mmap", {ENOMEM}, {EAGAIN, EINVAL, ENFILE, EOVERFLOW, EPERM}},
    {"open", {EACCES, EAGAIN, ENOENT},
        {EBUSY, EINVAL, EIO, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENODEV, ENOMEDIUM, ENOMEM,
            ENOTDIR, ENXIO, EOPNOTSUPP, EOVERFLOW, EPERM, EROFS, ETXTBSY},
        true},
    {"opendir", {ENOENT}, {EACCES, EMFILE, ENFILE, ENOMEM, ENOTDIR}},
    {"pclose", {ECHILD}, {}},
    {"pipe2", {EMFILE}, {EINVAL, ENFILE}},
    {"poll", {ENOMEM}, {EINVAL}, true},
    {"popen", {EAGAIN, ENOMEM}, {EMFILE, ENFILE, ENOSYS}},
    {"posix_openpt", {ENOSPC}, {EACCES, EAGAIN, EIO, EMFILE, ENFILE, ENOENT, ENOMEM}},
    {"ptsname_r", {ENOTTY}, {EBADF, ERANGE}},
    {"read", {EAGAIN, EINVAL, EIO}, {EBADF, EISDIR}, true, true},
    {"readdir", {EBADF}, {EINVAL, EIO, ENOENT, ENOTDIR}},
    {"readlink", {EINVAL}, {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR}},
    {"realpath", {ENOENT, ENOMEM}, {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOTDIR}},
    {"shutdown", {ENOTCONN}, {EBADF, EINVAL, ENOTSOCK}},
    {"socketpair", {EMFILE}, {EAFNOSUPPORT, ENFILE, ENOBUFS, ENOMEM, EOPNOTSUPP, EPROTONOSUPPORT}},
    {"stat", {EACCES, ENOENT}, {ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR, EOVERFLOW}},
    {"statvfs", {EACCES}, {EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOSYS, ENOTDIR, EOVERFLOW},
        true},
    {"tcgetattr", {ENOTTY}, {EBADF}},
    {"tcsetattr", {EIO}, {EBADF, EINVAL, ENOTTY}},
    {"unlockpt", {ENOTTY}, {EBADF, EINVAL}},
    {"waitpid", {ECHILD}, {}, true},
    {"write", {EPIPE}, {EAGAIN, EBADF, EINVAL, EIO}, true, true},
};

namespace {

/** A query and a call, or MEMORY, with the results that a fault may have. */
struct StatedResult {
    char const* query;
    char const* call;
    char const* results;
};

constexpr StatedResult STATED_RESULTS[] = {
    {"create", "memory", "bad_alloc"},

    {"memory", "memory", "bad_alloc"},
    // The child has no way to report a failed exec(3): dmidecode is then a tool that prints
    // nothing, and the total is the kernel's.
    {"memory", "execle", "total=8000000"},
    // What one read of the terminal cannot deliver is missing from the sum of the modules.
    {"memory", "short reads", "total=8000000"},
    {"memory", "read", "ProcessException false right total=8000000"},
    {"memory", "open", "ProcessException false right"},
    {"memory", "close", "ProcessException right"},
    {"memory", "dup2", "ProcessException"},
    {"memory", "dup3", "right"},
    {"memory", "fcntl", "right"},
    {"memory", "fork", "ProcessException"},
    {"memory", "grantpt", "ProcessException"},
    {"memory", "isatty", "ProcessException"},
    {"memory", "mincore", "right"},
    {"memory", "pipe2", "ProcessException"},
    {"memory", "poll", "ProcessException"},
    {"memory", "posix_openpt", "ProcessException"},
    {"memory", "ptsname_r", "ProcessException"},
    // Without the end of the set-up, the parent gives the child up: ETIMEDOUT.
    {"memory", "shutdown", "ProcessException code=110"},
    {"memory", "socketpair", "ProcessException"},
    {"memory", "tcgetattr", "ProcessException"},
    {"memory", "tcsetattr", "ProcessException"},
    {"memory", "unlockpt", "ProcessException"},
    {"memory", "waitpid", "ProcessException"},

    {"processors", "memory", "bad_alloc"},
    {"processors", "close", "right"},
    {"processors", "open", "current false maximum right usage"},
    // A failed read is the end of the file. If a sample lacks the processor's line, its counters
    // are 0: the load is that since the start of the machine, or just below 0.
    {"processors", "read", "current fewer maximum right usage=-0.000001 usage=30.000000"},

    // A disk without memory for its caption has none.
    {"physical disks", "memory", "bad_alloc caption"},
    // Whether a disk is USB storage is then unknown, and it is listed.
    {"physical disks", "access", "more right"},
    {"physical disks", "ioctl", "more right size"},
    {"physical disks", "open", "false more right size"},
    {"physical disks", "close", "right"},
    {"physical disks", "closedir", "right"},
    {"physical disks", "fstatat", "caption right"},
    {"physical disks", "opendir", "caption"},
    {"physical disks", "read", "fewer right"},
    {"physical disks", "readdir", "caption right"},
    {"physical disks", "realpath", "caption"},
    {"physical disks", "stat", "caption"},

    // In /dev/mapper, opendir(3) without memory is a filesystem_error.
    {"mounted disks", "memory", "bad_alloc filesystem_error right"},
    {"mounted disks", "access", "right"},
    {"mounted disks", "close", "right"},
    {"mounted disks", "closedir", "right"},
    {"mounted disks", "fread_unlocked", "right"},
    {"mounted disks", "fstatat", "right"},
    {"mounted disks", "ioctl", "right"},
    {"mounted disks", "lstat", "filesystem_error right"},
    {"mounted disks", "open", "false right"},
    {"mounted disks", "opendir", "filesystem_error right"},
    {"mounted disks", "pclose", "right"},
    {"mounted disks", "popen", "bad_alloc right"},
    {"mounted disks", "read", "fewer parents right"},
    {"mounted disks", "readdir", "filesystem_error right"},
    {"mounted disks", "readlink", "filesystem_error"},
    {"mounted disks", "realpath", "bad_alloc parents right"},
    {"mounted disks", "stat", "filesystem_error right"},
    {"mounted disks", "statvfs", "free size"},

    {"root devices", "memory", "bad_alloc filesystem_error right"},
    {"root devices", "closedir", "right"},
    // A command that cannot be started, but for want of memory, prints nothing.
    {"root devices", "popen", "bad_alloc fewer"},
    {"root devices", "fread_unlocked", "fewer right"},
    // A name of /dev/mapper that has vanished is another device's.
    {"root devices", "lstat", "fewer filesystem_error right"},
    {"root devices", "opendir", "filesystem_error"},
    {"root devices", "pclose", "right"},
    {"root devices", "readdir", "filesystem_error"},
    {"root devices", "readlink", "filesystem_error"},
    {"root devices", "stat", "filesystem_error"},

    {"networks", "memory", "bad_alloc right"},
    {"networks", "popen", "bad_alloc fewer right servers"},
    // Where the text ends may be within a record. Name servers are read for the last adapter, which
    // is another one in a shorter list.
    {"networks", "fread_unlocked",
        "fewer mac=00:00:00:00:00:00:00:00 right servers servers=10.0.0.2,10.0.0.3,"},
    {"networks", "gethostname", "host"},
    {"networks", "pclose", "right"},
    {"networks", "stat", "false right"},

    {"summary", "memory", "bad_alloc right"},
    {"summary", "close", "right"},
    // Without an adapter, the hypervisor is that of getsysinfo().
    {"summary", "fread_unlocked", "hypervisor=getsysinfo right"},
    {"summary", "gethostname", "right"},
    {"summary", "open", "product right vendor version"},
    {"summary", "pclose", "right"},
    {"summary", "popen", "bad_alloc hypervisor=getsysinfo right"},
    {"summary", "read", "product right vendor version"},
    {"summary", "stat", "hypervisor=getsysinfo right"},

    {"recovery", "memory", "bad_alloc right"},
    {"recovery", "close", "right"},
    // Without the files of the operator and the engine, the operation is that of the status file,
    // and the progress is computed.
    {"recovery", "fstat", "progress=50"},
    {"recovery", "open", "false operation=5000 progress=50 right"},
    {"recovery", "read", "false operation=5000 progress=50"},

    {"large environment", "mmap", "ProcessException"},

    // Right is a ProcessException with the child's reason, error and line. The run-time library has
    // a reserve of memory for exceptions.
    {"failing child", "memory", "bad_alloc right"},
    // Without /proc/meminfo, the exception is right and the figures are 0.
    {"failing child", "open", "ProcessException free right total"},
    {"failing child", "read", "ProcessException free total"},
    // Of a message that arrives in part, the reason alone is right.
    {"failing child", "short read", "code line right"},
    {"failing child", "short reads", "code line"},
    {"failing child", "short write", "code line"},
    {"failing child", "short writes", "code line"},
    // Without a message, the parent gives the child up: ETIMEDOUT.
    {"failing child", "write", "ProcessException code=110"},
    {"failing child", "close", "ProcessException right"},
    {"failing child", "dup2", "ProcessException"},
    {"failing child", "dup3", "right"},
    {"failing child", "fcntl", "right"},
    {"failing child", "fork", "ProcessException"},
    {"failing child", "grantpt", "ProcessException"},
    {"failing child", "isatty", "ProcessException"},
    {"failing child", "pipe2", "ProcessException"},
    {"failing child", "poll", "ProcessException"},
    {"failing child", "posix_openpt", "ProcessException"},
    {"failing child", "ptsname_r", "ProcessException"},
    {"failing child", "socketpair", "ProcessException"},
    {"failing child", "tcgetattr", "ProcessException"},
    {"failing child", "tcsetattr", "ProcessException"},
    {"failing child", "unlockpt", "ProcessException"},
    {"failing child", "waitpid", "right"},
};

}

std::set<std::string> statedResults(std::string const& query, std::string const& call)
{
    // Only mmap is a call that "memory" does not make.
    if (query == "large environment" && call != "mmap")
        return statedResults("memory", call);
    std::set<std::string> results;
    for (StatedResult const& row : STATED_RESULTS) {
        if (query != row.query || call != row.call)
            continue;
        std::istringstream words(row.results);
        for (std::string word; words >> word;)
            results.insert(word);
    }
    if (results.empty() && call.starts_with("short "))
        return {"right"};
    return results;
}

}
