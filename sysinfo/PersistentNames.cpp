#include "sysinfo/PersistentNames.h"

#include "sysinfo/canonical_path.h"

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
    if (!m_begun)
        m_folder.reset(::opendir(BY_ID));
    m_begun = true;
    while (m_isForList && readOneMore()) { }
    struct stat wanted;
    if (::stat(device, &wanted) != 0)
        return {};
    std::vector<std::string> const& names = m_names[{wanted.st_dev, wanted.st_ino}];
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
    while (m_folder && m_count < MOST_NAMES) {
        dirent const* const entry = ::readdir(m_folder.get());
        if (!entry)
            break;
        ++m_count;
        std::string_view const name = entry->d_name;
        if (name == "." || name == ".." || name.starts_with("wwn"))
            continue;
        struct stat found;
        if (::fstatat(::dirfd(m_folder.get()), entry->d_name, &found, 0) != 0)
            break; // A dangling link.
        m_names[{found.st_dev, found.st_ino}].emplace_back(name);
        return true;
    }
    m_folder.reset();
    return false;
}

}
