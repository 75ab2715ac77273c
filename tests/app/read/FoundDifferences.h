#pragma once

#include "app/read/differences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace app_read_test {

using Texts = std::vector<std::string>;

/** Makes these records the library's answer. */
inline app::LibraryAnswer& answer(
    app::Machine& machine, app::Subject subject, std::vector<app::LibraryRecord> const& records)
{
    machine.library[subject].records = records;
    return machine.library[subject];
}

/** The only difference. */
inline app::Difference differenceOf(app::Machine const& machine)
{
    auto const differences = app::differencesOf(machine);
    EXPECT_THAT(differences, testing::SizeIs(1));
    return differences.empty() ? app::Difference() : differences.front();
}

inline void expectNoDifference(app::Machine const& machine)
{
    for (app::Difference const& difference : app::differencesOf(machine))
        ADD_FAILURE() << difference.item << " " << difference.fact << ": " << difference.reason;
}

inline app::Disk diskOf(std::string const& name, uint64_t bytes)
{
    app::Disk disk;
    disk.name = name;
    disk.bytes = bytes;
    return disk;
}

inline app::LibraryRecord diskRecord(std::string const& name, uint64_t size, uint64_t partitions)
{
    return {"",
        {{"getDiskID", name}, {"getDiskTotalSizeInBytes", size},
            {"getDiskNumberOfPartitions", partitions}}};
}

inline app::Machine withDisk(app::Disk const& disk, std::vector<app::LibraryRecord> const& records)
{
    app::Machine machine;
    machine.disks = {disk};
    answer(machine, app::Subject::DISKS, records);
    return machine;
}

/** With the mask of 24 bits for each IPv4 address. */
inline app::LibraryRecord adapterRecord(
    std::string const& name, Texts const& addresses, Texts const& servers = {})
{
    Texts masks;
    for (std::string const& address : addresses)
        if (address.find('.') != std::string::npos)
            masks.emplace_back("255.255.255.0");
    return {"",
        {{"getName", name}, {"getIPAddrs", addresses}, {"getDNSAddrs", servers},
            {"getNetmasks", masks}}};
}

}
