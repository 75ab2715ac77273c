#include "sysinfo/PersistentNames.h"

#include "sysinfo/canonical_path.h"

#include <cerrno>
#include <new>
#include <string_view>
#include <sys/stat.h>

namespace sysinfo {

namespace {

constexpr char BY_ID[] = "/dev/disk/by-id/";

// A server with 10,000 disks has 200,000. A folder of FUSE may never end.
constexpr size_t MOST_NAMES = size_t{1} << 18;

}

std::string PersistentNames::firstOf(char const* device)
{
    try {
        return search(device);
    } catch (...) {
        // The name that was read last is lost. Another must not pass for the first.
        m_walk = Walk();
        throw;
    }
}

std::string PersistentNames::search(char const* device)
{
    if (!m_walk.hasEnded && !m_walk.folder)
        m_walk.folder.reset(::opendir(BY_ID));
    while (m_isForList && readOneMore()) { }
    struct stat wanted;
    if (::stat(device, &wanted) != 0)
        return {};
    std::vector<std::string> const& names = m_walk.names[{wanted.st_dev, wanted.st_ino}];
    for (size_t i = 0;; ++i) {
        while (i == names.size()) {
            if (!readOneMore())
                return {};
        }
        auto const target = canonicalPath((BY_ID + names[i]).c_str());
        auto const canonicalDevice = canonicalPath(device);
        if (!target || !canonicalDevice)
            return {};
        if (target == canonicalDevice) // Different for a hard link to the device.
            return names[i];
    }
}

/** @return false if there is no further name. */
bool PersistentNames::readOneMore()
{
    if (!m_walk.folder)
        return false;
    while (m_walk.count < MOST_NAMES) {
        dirent const* const entry = ::readdir(m_walk.folder.get());
        if (!entry)
            break;
        ++m_walk.count;
        std::string_view const name = entry->d_name;
        if (name == "." || name == ".." || name.starts_with("wwn"))
            continue;
        struct stat found;
        if (::fstatat(::dirfd(m_walk.folder.get()), entry->d_name, &found, 0) != 0) {
            if (errno == ENOMEM)
                throw std::bad_alloc();
            break; // A dangling link.
        }
        m_walk.names[{found.st_dev, found.st_ino}].emplace_back(name);
        return true;
    }
    m_walk.folder.reset();
    m_walk.hasEnded = true;
    return false;
}

}
