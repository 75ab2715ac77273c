#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sysinfo {

/**
 * The names in /dev/disk/by-id that do not begin with "wwn"; udev(7). Each is looked up once,
 * however many devices are queried. A search that fails for want of memory, or because the folder
 * cannot be opened, leaves nothing behind: the next one begins anew.
 */
class PersistentNames {
public:
    /** @param isForList whether the first search reads all names. The folder is then closed before
     * the next disk is opened: a host that is short of descriptors must not get other sizes. */
    explicit PersistentNames(bool isForList) : m_isForList(isForList) { }

    /**
     * Finds the first name of a device. A name belongs to the device if both have the same
     * canonical path. Resolving a path takes some ten system calls, so names for which stat(2)
     * reports another file are not resolved.
     *
     * Kept: a dangling link ends the search.
     *
     * @return the name; empty if there is none among the first 2^18 entries of the folder.
     * @throws std::bad_alloc
     */
    std::string firstOf(char const* device);

private:
    struct Walk {
        bool hasEnded = false;
        size_t count = 0; ///< Of the entries read.
        std::unique_ptr<DIR, int (*)(DIR*)> folder{nullptr, ::closedir};
        std::map<std::pair<dev_t, ino_t>, std::vector<std::string>> names; ///< By file.
    };

    std::string search(char const* device);
    bool readOneMore();

    bool const m_isForList;
    Walk m_walk;
};

}
