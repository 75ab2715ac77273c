#include "app/read/disk_identity.h"

#include "app/read/device_types.h"
#include "app/read/kernel_file.h"

#include <map>

namespace app {

namespace {

struct Bus {
    char const* part; ///< Of the device's path in /sys/devices.
    char const* name;
};

/** An outer bus stands before those that it carries. */
constexpr Bus BUSES[] = {
    {"/usb", "usb"},
    {"/nvme", "nvme"},
    {"/mmc_host/", "mmc"},
    {"/virtio", "virtio"},
    {"/rport-", "fc"},
    {"/session", "iscsi"},
    {"/end_device-", "sas"},
    {"/ata", "sata"},
    {"/ide", "ide"},
    {"/vbd-", "xen"},
    {"/VMBUS", "vmbus"},
    {"/vmbus", "vmbus"},
};

std::optional<std::string> transportOf(std::string const& path)
{
    for (Bus const& bus : BUSES)
        if (path.find(bus.part) != std::string::npos)
            return bus.name;
    return std::nullopt;
}

/** The properties of a device in udev's database, lines "E:NAME=VALUE"; udev(7). */
std::map<std::string, std::string> udevProperties(std::string const& device)
{
    std::map<std::string, std::string> properties;
    for (std::string const& line : linesOf(readFile("/run/udev/data/b" + device).value_or(""))) {
        size_t const equals = line.find('=');
        if (line.rfind("E:", 0) == 0 && equals != std::string::npos)
            properties.emplace(line.substr(2, equals - 2), line.substr(equals + 1));
    }
    return properties;
}

/** udev writes a character that is no part of a name as `\xHH`. */
std::string decodeHex(std::string const& text)
{
    constexpr int HEXADECIMAL = 16;
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        auto const code = text.compare(i, 2, "\\x") == 0 && text.size() - i >= 4
            ? numberOf(text.substr(i + 2, 2), HEXADECIMAL)
            : std::nullopt;
        decoded += code ? static_cast<char>(*code) : text[i];
        i += code ? 3 : 0;
    }
    return decoded;
}

/** The first of the properties that says something. */
std::optional<std::string> property(
    std::map<std::string, std::string> const& properties, std::initializer_list<char const*> names)
{
    for (char const* const name : names)
        if (auto const found = properties.find(name); found != properties.end())
            if (auto text = known(trimmed(decodeHex(found->second))))
                return text;
    return std::nullopt;
}

std::optional<std::string> firstLine(
    std::string const& folder, std::initializer_list<char const*> files)
{
    for (char const* const file : files)
        if (auto line = readLine(folder + "/" + file))
            return line;
    return std::nullopt;
}

}

void addIdentity(Disk& disk, std::string const& folder, std::string const& path)
{
    auto const properties = udevProperties(disk.device);
    disk.model = property(properties, {"ID_MODEL_ENC", "ID_MODEL"});
    if (!disk.model)
        disk.model = firstLine(folder, {"device/model", "device/name"});
    disk.serial = property(properties, {"ID_SCSI_SERIAL", "ID_SERIAL_SHORT"});
    if (!disk.serial)
        disk.serial = firstLine(folder, {"device/serial", "serial"});
    setVirtualByName(disk);
    // Multipath NVMe disks are in another folder of /sys/devices/virtual.
    if (path.find("/devices/virtual/block/") != std::string::npos)
        disk.isVirtual = true;
    if (!disk.transport)
        disk.transport = transportOf(path);
    if (!disk.transport) // Before Linux 2.6.26 the disk's folder is no link.
        disk.transport = transportOf(resolved(folder + "/device").value_or(""));
    if (!disk.model)
        addIdeIdentity(disk);
}

void addIdeIdentity(Disk& disk)
{
    std::string const folder = "/proc/ide/" + disk.name;
    disk.model = readLine(folder + "/model");
    if (!exists(folder))
        return;
    disk.transport = "ide";
    if (readLine(folder + "/media") == "cdrom")
        disk.type = Disk::OPTICAL;
}

}
