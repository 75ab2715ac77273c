#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/** Marks a function that the object has in place of the C library's. */
#define ANSWERED extern "C" __attribute__((visibility("default")))

namespace machines {

/** The answers of calls that files cannot stand in for, as a machine file has them. */
struct Calls {
    /** The answer of a call: an errno number, or values. */
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

    std::string release;
    std::string architecture;
    std::string hostName;
    std::optional<int> hypervisor; // Negative where neither firmware nor processor report one.
    std::optional<int64_t> time;
    long processorsOnline = 1;
    long processorsConfigured = 1;
    std::map<std::string, Filesystem> filesystems;
    std::map<std::string, Sector> sectors;
    std::vector<std::pair<std::string, Adapter>> adapters;
    std::vector<Address> addresses;
};

/** @return the answers of this machine, read once. A wrong line ends the program with a message. */
Calls const& calls();

}
