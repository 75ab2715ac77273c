#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace app {

/** The answers of calls that files cannot stand in for. */
struct Answers {
    /** The answer of statvfs(3): an errno number, or values. */
    struct Filesystem {
        bool hangs = false;
        int error = 0;
        std::vector<uint64_t> figures; // bsize frsize blocks bfree bavail files ffree
    };

    struct Sector {
        int error = 0;
        int size = 0;
        std::optional<int> bus; // Of the SCSI host.
    };

    struct Adapter {
        int index = 0;
        unsigned flags = 0;
        std::vector<uint8_t> mac;
    };

    struct Address {
        std::string name; // With the label of an alias.
        std::string address;
        unsigned prefix = 0;
        std::string other; // The broadcast or the peer's address, empty where there is neither.
    };

    /** The errors of calls on one path; 0 for those that succeed. */
    struct Refusal {
        int open = 0;
        int read = 0;
        int list = 0;
    };

    /** The answer of a request to rtnetlink(7). */
    struct Routes {
        int error = 0;
        std::vector<std::string> messages; // With their headers.
    };

    using DeviceNumber = std::pair<unsigned, unsigned>; // Major and minor.

    std::string release;
    std::string architecture;
    std::string hostName;
    std::optional<int> hypervisor; // Negative where neither firmware nor processor report one.
    std::optional<int64_t> time;
    std::string timeZone; // A rule, tzset(3); empty where /etc/localtime has the zone.
    long processorsOnline = 1;
    long processorsConfigured = 1;
    int adaptersError = 0; // Of getifaddrs(3).
    std::map<std::string, Filesystem> filesystems;
    std::map<std::string, Sector> sectors;
    std::map<std::string, DeviceNumber> blockDevices; // By the resolved path of the node.
    std::map<std::string, DeviceNumber> fileDevices; // The devices that files lie on.
    std::map<std::string, Refusal> refusals;
    std::map<std::string, std::vector<std::string>> orders; // The names in folders.
    std::vector<std::pair<std::string, Adapter>> adapters;
    std::vector<Address> addresses;
    std::map<std::pair<unsigned, unsigned>, Routes> routes; // By the request's type and family.
};

/** @return whether the text is a rule that the variable TZ may have without a file, "EST5EDT" or
 * "<-03>3"; tzset(3). */
bool isTimeZoneRule(std::string const& text);

/** Adds the answer of a line. @throws std::runtime_error where the line is wrong */
void addAnswer(std::string const& line, Answers& answers);

}
