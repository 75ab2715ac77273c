#include "bench/fake_disks.h"
#include "bench/private_mounts.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <system_error>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr char BY_ID[] = "/dev/disk/by-id";

void makeFolder(std::string const& path)
{
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST)
        throw std::system_error(errno, std::generic_category(), path);
}

void clear(char const* folder)
{
    for (fs::directory_entry const& entry : fs::directory_iterator(folder))
        fs::remove_all(entry.path());
}

std::string partitionsLine(unsigned minor, unsigned blocks, std::string const& name)
{
    return "   8   " + std::to_string(minor) + "   " + std::to_string(blocks) + ' ' + name + '\n';
}

/** The format is in the kernel's Documentation/admin-guide/iostats.rst. */
std::string countersLine(unsigned minor, std::string const& name)
{
    return "   8   " + std::to_string(minor) + ' ' + name
        + " 84721 12455 5821394 28310 190421 221190 11284512 310222 0 190020 338532 0 0 0 0 0 0\n";
}

}

std::string diskName(unsigned number)
{
    std::string letters;
    for (unsigned left = number + 1; left > 0; left = (left - 1) / 26)
        letters.insert(letters.begin(), static_cast<char>('a' + (left - 1) % 26));
    return "sd" + letters;
}

void replaceDisks()
{
    enterPrivateMounts();
    for (char const* folder : {"/proc", "/dev", "/tmp"})
        emptyFolder(folder);
    makeFolder("/proc/scsi");
    makeFolder("/proc/scsi/usb-storage");
    // Types without "nodev" are mounted from disks.
    writeText("/proc/filesystems", "\text4\n");
}

void writeDisks(unsigned disks)
{
    clear("/dev");
    makeFolder("/dev/disk");
    makeFolder(BY_ID);
    std::string counters;
    for (unsigned i = 0; i < disks; ++i) {
        std::string const name = diskName(i);
        for (unsigned partition = 0; partition <= 2; ++partition) {
            std::string const device = partition > 0 ? name + std::to_string(partition) : name;
            counters += countersLine(i * 16 + partition, device);
            writeText("/dev/" + device, "");
        }
        std::string const number = std::to_string(100000 + i);
        std::string const target = "../../" + name;
        fs::create_symlink(target, std::string(BY_ID) + "/ata-ST500DM002-1BD142_Z6E" + number);
        fs::create_symlink(target, std::string(BY_ID) + "/wwn-0x5000c50064" + number);
    }
    writeText("/proc/partitions", partitionsText(disks));
    writeText("/proc/diskstats", counters);
}

void denyDisks(unsigned disks)
{
    for (unsigned i = 0; i < disks; ++i) {
        std::string const device = "/dev/" + diskName(i);
        if (chmod(device.c_str(), 0) != 0)
            throw std::system_error(errno, std::generic_category(), device);
    }
}

std::string partitionsText(unsigned disks)
{
    std::string text = "major minor  #blocks  name\n\n";
    for (unsigned i = 0; i < disks; ++i) {
        std::string const name = diskName(i);
        text += partitionsLine(i * 16, 488386584, name);
        for (unsigned partition = 1; partition <= 2; ++partition)
            text += partitionsLine(i * 16 + partition, 244193292, name + std::to_string(partition));
    }
    return text;
}

void writeMounts(unsigned mounts, unsigned disks)
{
    clear("/tmp");
    std::string table = "sysfs /sys sysfs rw,nosuid,nodev,noexec,relatime 0 0\n"
                        "proc /proc proc rw,nosuid,nodev,noexec,relatime 0 0\n"
                        "udev /dev devtmpfs rw,nosuid,relatime,size=8137672k,mode=755 0 0\n"
                        "tmpfs /run tmpfs rw,nosuid,nodev,noexec,relatime,size=1630376k 0 0\n";
    for (unsigned i = 0; i < mounts; ++i) {
        std::string const folder = "/tmp/volume" + std::to_string(i * 7919 % mounts);
        makeFolder(folder);
        table += "/dev/" + diskName(i % disks) + std::to_string(1 + i / disks % 2) + ' ' + folder
            + " ext4 rw,relatime,errors=remount-ro 0 0\n";
    }
    writeText("/proc/mounts", table);
}

}

// The dynamic linker prefers the program's function to the C library's.
extern "C" __attribute__((visibility("default"))) int ioctl(
    int file, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    long const result = syscall(SYS_ioctl, file, request, argument);
    constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;
    if (result == 0 || (request != BLKSSZGET && request != GET_SCSI_BUS_NUMBER))
        return static_cast<int>(result);
    *static_cast<int*>(argument) = request == BLKSSZGET ? 512 : 0;
    return 0;
}
