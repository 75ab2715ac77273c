#pragma once

#include <sys/statvfs.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace app_read_test {

/** An entry of the list that getifaddrs(3) returns. */
struct FakeAddress {
    std::string name;
    unsigned flags;
    std::string address; ///< IPv4, IPv6, or a MAC address "00:0c:29:aa:bb:cc"; none if empty.
    unsigned prefixLength = 0;
    unsigned hardware = 1; ///< ARPHRD_ETHER; of a MAC address.
    int index = 0; ///< The adapter's number; of a MAC address.
};

/**
 * Answers calls of the C library while it lives, one object at a time.
 *
 * The program defines getifaddrs, readdir, statvfs, stat, gethostname, uname, geteuid,
 * clock_gettime, nanosleep, socket and send of rtnetlink(7), and the library's getsysinfo. Without
 * an object there are no adapters, no filesystems and no host name.
 */
class FakeCalls {
public:
    FakeCalls();
    FakeCalls(FakeCalls const&) = delete;
    FakeCalls& operator=(FakeCalls const&) = delete;
    ~FakeCalls();

    std::vector<FakeAddress> addresses;
    bool addressesFail = false; ///< With EACCES.

    /** The datagrams that the kernel sends for a request, by its type; the last one ends them. Of
     * other types there are no objects. */
    std::map<unsigned, std::vector<std::string>> netlink;
    bool netlinkFails = false; ///< With EAFNOSUPPORT.

    /** The entries that readdir(3) returns of each folder, "." and ".." included; then it fails
     * with EIO. */
    std::optional<unsigned> entriesBeforeFailure;

    std::map<std::string, struct statvfs> filesystems; ///< By mount point; others fail with EIO.
    std::set<std::string> hangingFilesystems; ///< A statvfs(3) of these never returns.
    std::set<std::string> crashingFilesystems; ///< A statvfs(3) of these kills the process.

    std::map<std::string, dev_t> blockDevices; ///< By path: numbers of device nodes.
    std::map<std::string, dev_t> devicesOfFiles; ///< By path: numbers of the files' devices.

    std::string hostName = "machine";
    bool hostNameFails = false;
    std::string kernelRelease = "6.1.0-18-amd64";
    bool unameFails = false;
    uid_t user = 0;

    /** The time of the steady clock, which only sleeps move; the real clock if empty. */
    std::optional<std::chrono::nanoseconds> steadyTime;

    /** The library's identification of the machine; fails if empty. */
    std::function<int(char* vendor, char* product, char* version, int* code)> identify;
};

}
