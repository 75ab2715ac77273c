#include "app/read/block_devices.h"
#include "tests/app/read/FakeSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Disk;
using app_read_test::blockDevice;
using app_read_test::Files;
using testkit::machine;

namespace {

/** The disk "sda", which lies at @p path in /sys/devices. */
Disk readDisk(std::string const& path, Files files)
{
    files.emplace_back("size", "8");
    files.emplace_back("dev", "8:0");
    blockDevice(path, files);
    app::Machine found;
    auto const disks = app::readBlockDevices(found);
    EXPECT_TRUE(disks && disks->size() == 1);
    return disks && !disks->empty() ? disks->front() : Disk();
}

std::optional<std::string> transportAt(std::string const& path)
{
    std::optional<std::string> const transport = readDisk(path, {}).transport;
    machine.empty();
    return transport;
}

}

TEST(DiskIdentity, comesFromUdevsDatabase)
{
    machine.file("/run/udev/data/b8:0",
        "S:disk/by-id/x\nE:ID_MODEL=ACME_ROCKET\nE:ID_MODEL_ENC=ACME\\x20ROCKET\\x20\\x20\n"
        "E:ID_SERIAL=ACME_ROCKET_123\nE:ID_SERIAL_SHORT=123\n");
    Disk const disk = readDisk("x/sda", {{"device/model", "ACME ROC"}, {"device/serial", "9"}});
    EXPECT_EQ(disk.model, "ACME ROCKET");
    EXPECT_EQ(disk.serial, "123");
}

TEST(DiskIdentity, prefersTheSerialNumberThatTheDiskReportsOverScsi)
{
    machine.file("/run/udev/data/b8:0", "E:ID_SERIAL_SHORT=5000c500\nE:ID_SCSI_SERIAL=ZA1\n");
    EXPECT_EQ(readDisk("x/sda", {}).serial, "ZA1");
}

TEST(DiskIdentity, keepsABackslashThatIsNoEscapeOfUdev)
{
    machine.file("/run/udev/data/b8:0", "E:ID_MODEL_ENC=a\\xZZ\\x2\n");
    EXPECT_EQ(readDisk("x/sda", {}).model, "a\\xZZ\\x2");
}

TEST(DiskIdentity, skipsAPropertyOfBlanks)
{
    machine.file("/run/udev/data/b8:0", "E:ID_MODEL_ENC=\\x20\\x20\nE:ID_MODEL=ROCKET\n");
    EXPECT_EQ(readDisk("x/sda", {}).model, "ROCKET");
}

TEST(DiskIdentity, comesFromSysfsWithoutUdev)
{
    Disk const disk =
        readDisk("x/sda", {{"device/model", "VIRTUAL DISK    "}, {"device/serial", "  77"}});
    EXPECT_EQ(disk.model, "VIRTUAL DISK");
    EXPECT_EQ(disk.serial, "77");
}

TEST(DiskIdentity, ofAnEmmcAndOfAVirtioDiskHasFilesOfItsOwn)
{
    Disk const disk = readDisk("x/sda", {{"device/name", "ABC123"}, {"serial", "vd-1"}});
    EXPECT_EQ(disk.model, "ABC123");
    EXPECT_EQ(disk.serial, "vd-1");
}

TEST(DiskIdentity, isUnknownWhereNobodyReportsIt)
{
    Disk const disk = readDisk("x/sda", {});
    EXPECT_EQ(disk.model, std::nullopt);
    EXPECT_EQ(disk.serial, std::nullopt);
    EXPECT_EQ(disk.transport, std::nullopt);
}

TEST(DiskTransport, isTheBusOnTheDevicesPath)
{
    std::pair<char const*, char const*> const buses[] = {
        {"pci0000:00/0000:00:14.0/usb1/1-2/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sda", "usb"},
        {"virtual/nvme-subsystem/nvme-subsys0/sda", "nvme"},
        {"platform/mmc_host/mmc0/mmc0:0001/block/sda", "mmc"},
        {"pci0000:00/0000:00:05.0/virtio2/block/sda", "virtio"},
        {"pci0000:00/0000:05:00.0/host0/rport-0:0-0/target0:0:0/0:0:0:0/block/sda", "fc"},
        {"platform/host2/session1/target2:0:0/2:0:0:0/block/sda", "iscsi"},
        {"pci0000:00/host0/port-0:0/end_device-0:0/target0:0:0/0:0:0:0/block/sda", "sas"},
        {"pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda", "sata"},
        {"pci0000:00/0000:00:01.1/ide0/0.0/block/sda", "ide"},
        {"vbd-51712/block/sda", "xen"},
        {"LNXSYSTM:00/VMBUS:00/vmbus_0_1/host0/target0:0:0/0:0:0:0/block/sda", "vmbus"},
        {"pci0000:00/vmbus_1/host0/block/sda", "vmbus"},
    };
    for (auto const& [path, bus] : buses)
        EXPECT_EQ(transportAt(path), bus) << path;
    EXPECT_EQ(
        transportAt("pci0000:00/0000:00:10.0/host2/target2:0:0/2:0:0:0/block/sda"), std::nullopt);
}

TEST(DiskTransport, isThatOfTheDevicesLinkOnKernelsWhoseBlockFolderHasNoLinks)
{
    machine.folder("/sys/devices/pci0000:00/usb1/1-1/host0");
    machine.file("/sys/block/sda/size", "8\n");
    machine.link("/sys/block/sda/device", "../../devices/pci0000:00/usb1/1-1/host0");
    app::Machine found;
    EXPECT_EQ(app::readBlockDevices(found).value().at(0).transport, "usb");
}
