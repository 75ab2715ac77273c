#include "tests/abi/disk_layout.h"

#include "tests/abi/object_bytes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace layout {

namespace {

using sysinfo::SystemInformation;
using Parents = std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>>;

int ignoreClosing(int /*value*/)
{
    return 0;
}

}

void expectUNIXDiskInfo(DiskInfoFields const& offsets)
{
    Parents parents;
    parents.emplace_back(new LinuxPhysicalDiskInfo(L"no such disk", 0, 0));
    UNIXDiskInfo const disk(L"/", parents);
    EXPECT_EQ(
        offsetOf(static_cast<dovrel::Cloneable<SystemInformation::DiskInfo> const&>(disk), disk),
        offsets.cloneable);
    EXPECT_EQ(partAt<dovrel::string>(disk, offsets.name), dovrel::string(L"/"));
    EXPECT_GT(disk.getDiskSizeInBytes(), 0U);
    EXPECT_EQ(fieldAt<uint64_t>(disk, offsets.size), disk.getDiskSizeInBytes());
    auto const& inside = partAt<Parents>(disk, offsets.parents);
    ASSERT_EQ(inside.size(), 1U);
    EXPECT_EQ(inside[0]->getDiskID(), dovrel::string(L"no such disk"));
}

void expectPhysicalDiskInfo(PhysicalDiskInfoFields const& offsets)
{
    LinuxPhysicalDiskInfo const disk(L"no such disk", 0x1'0000'0007, 4711);
    EXPECT_EQ(
        offsetOf(
            static_cast<dovrel::Cloneable<SystemInformation::PhysicalDiskInfo> const&>(disk), disk),
        offsets.cloneable);
    EXPECT_EQ(partAt<dovrel::string>(disk, offsets.name), dovrel::string(L"no such disk"));
    EXPECT_EQ(fieldAt<uint64_t>(disk, offsets.blocks), 0x1'0000'0007U);
    EXPECT_EQ(fieldAt<unsigned>(disk, offsets.partitions), 4711U);

    // A missing disk has neither value, so the test writes both and calls the getters.
    LinuxPhysicalDiskInfo changed(disk);
    auto* const bytes = reinterpret_cast<char*>(&changed);
    uint64_t const sectorSize = 3;
    std::memcpy(bytes + offsets.sectorSize, &sectorSize, sizeof sectorSize);
    EXPECT_EQ(changed.getDiskTotalSizeInBytes(), 0x3'0000'0015U);
    *reinterpret_cast<dovrel::string*>(bytes + offsets.caption) = L"a caption";
    EXPECT_EQ(changed.getDiskCaption(), dovrel::string(L"a caption"));
}

void expectHandle(HandleFields const& offsets)
{
    auto const owner = dovrel::autohandle(4711, ignoreClosing);
    auto const* const count = fieldAt<unsigned const*>(owner, offsets.count);
    EXPECT_EQ(*count, 1U);
    auto const* const shared = fieldAt<char const*>(owner, offsets.shared);
    EXPECT_EQ(fieldAt<int>(*shared, offsets.value), 4711);
    EXPECT_EQ(fieldAt<int (*)(int)>(*shared, offsets.closer), ignoreClosing);
    {
        auto const copy = owner;
        EXPECT_EQ(*count, 2U);
        EXPECT_EQ(fieldAt<char const*>(copy, offsets.shared), shared);
        EXPECT_EQ(fieldAt<unsigned const*>(copy, offsets.count), count);
    }
    EXPECT_EQ(*count, 1U);
}

void expectPistream(PistreamFields const& offsets)
{
    std::string const command = "echo a text; : longer than a string that needs no block";
    OutputBuffer buffer(command);
    EXPECT_EQ(partAt<std::string>(buffer, offsets.command), command);
    EXPECT_EQ((fieldAt<char>(buffer, offsets.buffer)), '\0');
    EXPECT_GE(::fileno(fieldAt<FILE*>(buffer, offsets.stream)), 0);
    EXPECT_EQ(buffer.sgetc(), 'a');
    EXPECT_EQ(std::memcmp(&partAt<char>(buffer, offsets.buffer), "a text\n", 7), 0);

    pistream const stream("exit 0");
    EXPECT_EQ(offsetOf(static_cast<OutputBuffer const&>(*stream.rdbuf()), stream),
        offsets.bufferInStream);
    EXPECT_EQ(offsetOf(static_cast<std::ios const&>(stream), stream), offsets.base);
}

}
