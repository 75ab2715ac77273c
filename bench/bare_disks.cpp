#include "bench/bare_disks.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>
#include <unordered_map>

namespace bench {

namespace {

constexpr char BY_ID[] = "/dev/disk/by-id/";

[[noreturn]] void failed(char const* path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

std::string readFile(char const* path)
{
    int const file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        failed(path);
    std::string text;
    char piece[16384];
    for (ssize_t size; (size = read(file, piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<size_t>(size));
    close(file);
    return text;
}

std::string_view takeWord(std::string_view& line)
{
    size_t start = 0;
    while (start < line.size() && line[start] == ' ')
        ++start;
    size_t end = start;
    while (end < line.size() && line[end] != ' ')
        ++end;
    std::string_view const word = line.substr(start, end - start);
    line.remove_prefix(end);
    return word;
}

std::string_view takeLine(std::string_view& text)
{
    size_t const end = std::min(text.find('\n'), text.size());
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/** Calls @p visit with the folder and each name in it that does not begin with "wwn", until @p
 * visit returns true. */
template <class Visit> void visitNames(Visit visit)
{
    std::unique_ptr<DIR, int (*)(DIR*)> const folder(opendir(BY_ID), closedir);
    if (!folder)
        failed(BY_ID);
    while (dirent const* entry = readdir(folder.get())) {
        if (std::strncmp(entry->d_name, "wwn", 3) != 0 && entry->d_name[0] != '.'
            && visit(dirfd(folder.get()), entry->d_name))
            return;
    }
}

/** Resolves a name in the folder of the persistent names. @param resolved PATH_MAX bytes. */
void resolveName(char const* name, char* resolved)
{
    char path[sizeof BY_ID + NAME_MAX];
    std::memcpy(path, BY_ID, sizeof BY_ID - 1);
    std::memcpy(path + sizeof BY_ID - 1, name, std::strlen(name) + 1);
    if (!realpath(path, resolved))
        failed(path);
}

class Captions {
public:
    explicit Captions(Resolve resolve) : m_resolve(resolve)
    {
        if (resolve == Resolve::once)
            visitNames([this](int /*folder*/, char const* name) {
                char target[PATH_MAX];
                resolveName(name, target);
                m_names.emplace(target, name);
                return false;
            });
    }

    std::string of(char const* path) const
    {
        std::string const found =
            m_resolve == Resolve::once ? resolvedBefore(path) : firstOfTheFolder(path);
        return found.substr(found.find('-') + 1);
    }

private:
    std::string resolvedBefore(char const* path) const
    {
        char device[PATH_MAX];
        if (!realpath(path, device))
            failed(path);
        auto const at = m_names.find(device);
        return at == m_names.end() ? std::string() : at->second;
    }

    static std::string firstOfTheFolder(char const* path)
    {
        struct stat device;
        if (stat(path, &device) != 0)
            failed(path);
        std::string found;
        visitNames([&](int folder, char const* name) {
            struct stat target;
            if (fstatat(folder, name, &target, 0) != 0)
                failed(name);
            if (target.st_dev != device.st_dev || target.st_ino != device.st_ino)
                return false;
            char canonicalDevice[PATH_MAX];
            char canonicalTarget[PATH_MAX];
            if (!realpath(path, canonicalDevice))
                failed(path);
            resolveName(name, canonicalTarget);
            if (std::strcmp(canonicalTarget, canonicalDevice) != 0)
                return false;
            found = name;
            return true;
        });
        return found;
    }

    Resolve m_resolve;
    std::unordered_map<std::string, std::string> m_names;
};

/** Opens a device and calls ioctl(2). @return -1 when that fails. */
int ask(char const* path, unsigned long question)
{
    int const device = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    int answer = 0;
    if (device < 0 || ioctl(device, question, &answer) != 0)
        answer = -1;
    if (device >= 0)
        close(device);
    return answer;
}

bool isUsbStorage(char const* path)
{
    constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;
    int const bus = ask(path, GET_SCSI_BUS_NUMBER);
    return bus >= 0 && access(("/proc/scsi/usb-storage/" + std::to_string(bus)).c_str(), F_OK) == 0;
}

}

std::vector<BareEntry> scanPartitions(std::string_view text)
{
    std::vector<BareEntry> disks;
    takeLine(text);
    while (!text.empty()) {
        std::string_view line = takeLine(text);
        takeWord(line);
        takeWord(line);
        std::string_view const blocks = takeWord(line);
        std::string_view const name = takeWord(line);
        if (name.empty())
            continue;
        if (name.back() >= '0' && name.back() <= '9') {
            if (!disks.empty() && name.compare(0, disks.back().name.size(), disks.back().name) == 0)
                ++disks.back().partitions;
            continue;
        }
        disks.push_back({name, 0, 0});
        std::from_chars(blocks.data(), blocks.data() + blocks.size(), disks.back().blocks);
    }
    return disks;
}

std::vector<BareDisk> bareDisks(Resolve resolve)
{
    std::string const text = readFile("/proc/partitions");
    Captions const captions(resolve);
    std::vector<BareDisk> disks;
    for (BareEntry const& entry : scanPartitions(text)) {
        std::string const path = "/dev/" + std::string(entry.name);
        if (isUsbStorage(path.c_str()))
            continue;
        auto const sector = static_cast<uint64_t>(std::max(ask(path.c_str(), BLKSSZGET), 0));
        disks.push_back({std::string(entry.name), captions.of(path.c_str()), entry.blocks * sector,
            entry.partitions});
    }
    return disks;
}

std::vector<BareMount> bareMounts()
{
    std::string const text = readFile("/proc/mounts");
    std::vector<BareDisk> const disks = bareDisks(Resolve::for_each_disk);
    std::vector<std::pair<std::string_view, std::string_view>> mounts;
    for (std::string_view left = text; !left.empty();) {
        std::string_view line = takeLine(left);
        std::string_view const device = takeWord(line);
        if (device.compare(0, 5, "/dev/") == 0)
            mounts.emplace_back(takeWord(line), device);
    }
    std::stable_sort(mounts.begin(), mounts.end(),
        [](auto const& a, auto const& b) { return a.first < b.first; });

    std::vector<BareMount> found;
    for (auto const& [folder, device] : mounts) {
        char resolved[PATH_MAX];
        if (!realpath(std::string(device).c_str(), resolved))
            failed("a device");
        std::string_view name = std::string_view(resolved).substr(5);
        name = name.substr(0, name.find_last_not_of("0123456789") + 1);
        BareMount mount{std::string(folder), 0, {}};
        for (size_t i = 0; i < disks.size(); ++i)
            if (disks[i].name == name)
                mount.disks.push_back(i);
        struct statvfs status;
        if (statvfs(mount.folder.c_str(), &status) == 0)
            mount.bytes = uint64_t{status.f_blocks} * status.f_bsize;
        found.push_back(std::move(mount));
    }
    return found;
}

}
