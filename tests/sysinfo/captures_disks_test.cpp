// The disks and mounts of real machines: see captures_test.cpp.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/reference/dev_disk_by_id.h"
#include "tests/reference/proc_mounts.h"
#include "tests/reference/proc_partitions.h"
#include "tests/reference/pvdisplay_output.h"
#include "tests/reference/text.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/DiskCalls.h"
#include "tests/sysinfo/captures.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::CapturedTrace;
using testkit::Captures;
using testkit::CaptureSource;
using testkit::contentsOf;
using testkit::expectFact;
using testkit::machine;
using testkit::sourcesOf;

namespace {

using PhysicalDisks = std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>>;
using Disks = std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>>;

constexpr unsigned SECTOR = 512;

/** @return whether the lines have statistics after the names, as before kernel 2.6. */
bool hasMoreColumns(CaptureSource const& source)
{
    auto const fact = source.facts.find("extra_columns");
    return fact != source.facts.end() && fact->second == "yes";
}

/** Makes a file for each mounted device, a link in /dev/mapper for each logical volume, and a
 * /proc/partitions with the disks of the partitions. */
void makeDevicesOf(reference::MountTable const& mounts)
{
    unsigned volumes = 1000; // Above the numbers of the nodes that are mounted themselves.
    std::set<std::string> disks;
    for (auto const& [point, device] : mounts.devices) {
        if (std::filesystem::exists(device))
            continue;
        if (device.find("/dev/mapper/") == 0) {
            std::string const node = "dm-" + std::to_string(volumes++);
            machine.file("/dev/" + node, "");
            machine.link(device, "../" + node);
        } else {
            machine.file(device, "");
            disks.insert(reference::withoutDigits(device.substr(5)));
        }
    }
    std::string table = "major minor  #blocks  name\n\n";
    for (std::string const& disk : disks)
        table += "8 0 7 " + disk + "\n9 0 7 md0\n";
    machine.file("/proc/partitions", table);
}

/** @return the parent disk, which only a partition directly in /dev has. */
std::string expectedParents(std::string const& device)
{
    std::string const name = device.substr(5);
    bool const isPartition = name.find('/') == std::string::npos && name.find("dm-") != 0;
    return isPartition ? reference::withoutDigits(name) : std::string();
}

/** Removes the devices of the text before. */
void removeDevices()
{
    std::vector<std::string> devices;
    for (auto const& entry : std::filesystem::directory_iterator("/dev"))
        devices.push_back(entry.path());
    for (std::string const& device : devices)
        if (device != "/dev/pts" && device != "/dev/ptmx" && device != "/dev/null")
            machine.remove(device);
}

}

TEST_F(Captures, ofProcPartitionsMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("proc-partitions", ".txt")) {
        SCOPED_TRACE(source.path);
        removeDevices();
        std::string const partitions = contentsOf(source.path);
        reference::PartitionTable const expected = reference::readPartitions(partitions);
        machine.file("/proc/partitions", partitions);
        testkit::DiskCalls calls;
        for (reference::Disk const& disk : expected.disks) {
            if (disk.name.find('\0') != std::string::npos)
                continue;
            machine.file("/dev/" + disk.name, "");
            calls.sectorSize("/dev/" + disk.name, SECTOR);
        }
        if (!hasMoreColumns(source)) {
            expectFact(source, "entries", expected.entries);
            expectFact(source, "max_KiB", expected.largest);
        }

        PhysicalDisks disks;
        ASSERT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
        ASSERT_EQ(disks.size(), expected.disks.size());
        for (size_t i = 0; i < disks.size(); ++i) {
            reference::Disk const& disk = expected.disks[i];
            if (disk.name.find('\0') != std::string::npos)
                continue;
            SCOPED_TRACE(narrow(disks[i]->toString()));
            EXPECT_EQ(narrow(disks[i]->getDiskID()), disk.name);
            EXPECT_EQ(disks[i]->getDiskNumberOfPartitions(), disk.partitions);
            EXPECT_EQ(disks[i]->getDiskTotalSizeInBytes(), disk.blocks * SECTOR);
        }
    }
}

TEST_F(Captures, ofProcMountsMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("proc-mounts", ".txt")) {
        SCOPED_TRACE(source.path);
        removeDevices();
        std::string const mounts = contentsOf(source.path);
        reference::MountTable const expected = reference::readMounts(mounts);
        expectFact(source, "entries", expected.entries);
        machine.file("/proc/mounts", mounts);
        machine.folder("/dev/mapper");
        machine.tool("/sbin/pvdisplay", "exit 0");
        makeDevicesOf(expected);

        Disks disks;
        ASSERT_TRUE(LinuxSystemInformation().getDisksInternal(disks));
        ASSERT_EQ(disks.size(), expected.devices.size());
        size_t i = 0;
        for (auto const& [point, device] : expected.devices) {
            SCOPED_TRACE(device);
            EXPECT_EQ(narrow(disks[i]->getDiskName()), point);
            std::string parents;
            for (auto const& parent : disks[i]->getParentDisks())
                parents += narrow(parent->getDiskID());
            EXPECT_EQ(parents, expectedParents(device));
            ++i;
        }
    }
}

TEST_F(Captures, ofPvdisplayGiveALogicalVolumeNoDiskKept)
{
    // The first field of a real line is a physical volume, not the volume group's path.
    for (CaptureSource const& source : sourcesOf("pvdisplay-c", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const output = contentsOf(source.path);
        auto const volumes = reference::readVolumes(output);
        expectFact(source, "pv_lines", volumes.size());
        if (source.facts.empty())
            continue; // A file of tests/recorded/ may have such a path.

        removeDevices();
        machine.file("/dev/dm-0", "");
        machine.tool("/sbin/pvdisplay", "cat " + source.path);
        std::set<std::string> groups;
        for (auto const& volume : volumes)
            groups.insert(volume.second);
        for (std::string const& group : groups) {
            machine.link("/dev/mapper/" + group + "-root", "../dm-0");
            CapturedTrace trace;
            EXPECT_TRUE(sysinfo::getRootDevices("/dev/dm-0").empty()) << group;
            EXPECT_TRUE(trace.lines().empty()) << group;
            machine.remove("/dev/mapper/" + group + "-root");
        }
    }
}

TEST_F(Captures, ofPvdisplayMatchTheReferenceParser)
{
    // The real lines, with each physical volume's path changed to that of a volume group.
    for (CaptureSource const& source : sourcesOf("pvdisplay-c", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string moved;
        for (std::string const& line : reference::lines(contentsOf(source.path))) {
            size_t const device = line.find("/dev/");
            bool const first = device != std::string::npos && device == line.find_first_not_of(' ')
                && line.find("/dev/mapper/") != device;
            moved += (first ? "/dev/mapper/" + line.substr(device + 5) : line) + '\n';
        }
        machine.file("/tmp/output", moved);
        machine.tool("/sbin/pvdisplay", "cat /tmp/output");

        auto const volumes = reference::readVolumes(moved);
        std::set<std::string> keys;
        for (auto const& volume : volumes) {
            if (volume.first.find("/dev/mapper/") == 0
                && volume.first.find('/', 12) == std::string::npos)
                keys.insert(volume.first);
        }
        EXPECT_FALSE(keys.empty());
        for (std::string const& key : keys) {
            SCOPED_TRACE(key);
            removeDevices();
            machine.file("/dev/dm-0", "");
            machine.link(key + "-root", "../dm-0");
            std::set<std::string> found;
            std::string unknown;
            for (auto const& [first, second] : volumes) {
                if (first != key)
                    continue;
                if (second.find("/dev/") == 0)
                    found.insert(second.substr(5) + ':');
                else
                    unknown += "Don't know what to do with device: " + second + ":\n";
            }
            CapturedTrace trace;
            EXPECT_EQ(sysinfo::getRootDevices("/dev/dm-0"), found);
            EXPECT_EQ(trace.text(2), unknown);
        }
    }
}

TEST_F(Captures, ofDiskLinksMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("dev-disk-by-id", ".txt")) {
        SCOPED_TRACE(source.path);
        removeDevices();
        auto const links = reference::readLinks(contentsOf(source.path));
        std::set<std::string> devices;
        for (auto const& [name, target] : links) {
            devices.insert(target.substr(target.rfind('/') + 1));
            machine.link("/dev/disk/by-id/" + name, target);
        }
        for (std::string const& device : devices)
            machine.file("/dev/" + device, "");
        expectFact(source, "links", links.size());
        expectFact(source, "targets", devices.size());

        for (std::string const& device : devices) {
            SCOPED_TRACE(device);
            std::string caption;
            // The first in the folder's order, which is not sorted.
            for (auto const& entry : std::filesystem::directory_iterator("/dev/disk/by-id")) {
                std::string const name = entry.path().filename();
                if (name.substr(0, 3) != "wwn" && links.at(name) == "../../" + device) {
                    caption = name.substr(name.find('-') + 1);
                    break;
                }
            }
            LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(device.c_str(), 1, 0);
            EXPECT_EQ(narrow(disk.getDiskCaption()), caption);
        }
    }
}
