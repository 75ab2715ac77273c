#include "app/read/TraceOutput.h"
#include "app/read/read_machine.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Machine;
using app::Subject;
using testing::ElementsAre;
using testing::SizeIs;
using testkit::machine;

namespace {

Machine readAll(app::ReadRequest const& request)
{
    app::TraceOutput trace(0, {});
    return app::readMachine(request, trace);
}

}

TEST(ReadMachine, readsTheSubjectsThatWereAskedFor)
{
    machine.file("/proc/meminfo", "MemTotal: 2048 kB\nMemFree: 1024 kB\n");
    app::ReadRequest request;
    request.subjects = {Subject::MEMORY};
    std::vector<Subject> began;
    request.began = [&began](Subject subject) { began.push_back(subject); };
    Machine const found = readAll(request);
    EXPECT_TRUE(found.memory);
    EXPECT_FALSE(found.system);
    EXPECT_FALSE(found.disks);
    // Once for its reading, once for the wait for the library.
    EXPECT_THAT(began, ElementsAre(Subject::MEMORY, Subject::MEMORY));
}

TEST(ReadMachine, reportsTheMissingDisksOnceThoughTheMountsNeedThemToo)
{
    machine.file("/proc/self/mountinfo", "");
    app::ReadRequest request;
    request.subjects = {Subject::DISKS, Subject::MOUNTS};
    EXPECT_THAT(readAll(request).problems, SizeIs(1));
}

TEST(ReadMachine, findsTheDisksOfMountsThoughOnlyMountsWereAskedFor)
{
    machine.file("/proc/self/mountinfo", "1 1 8:0 / / rw - ext4 /dev/sda rw\n");
    machine.file("/proc/partitions", "8 0 1024 sda\n");
    app_read_test::FakeCalls calls;
    calls.filesystems["/"] = {};
    app::ReadRequest request;
    request.subjects = {Subject::MOUNTS};
    Machine const found = readAll(request);
    EXPECT_THAT(found.mounts->at(0).disks, ElementsAre("sda"));
    EXPECT_FALSE(found.disks);
}

TEST(ReadMachine, measuresLoadsWhereItShall)
{
    machine.file("/proc/stat", "cpu 1 2 3 4\ncpu0 1 2 3 4\n");
    app::ReadRequest request;
    request.subjects = {Subject::PROCESSORS};
    request.loads = false;
    EXPECT_FALSE(readAll(request).processors->loadsMeasured);
    request.loads = true;
    auto const begun = std::chrono::steady_clock::now();
    Machine const found = readAll(request);
    EXPECT_TRUE(found.processors->loadsMeasured);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1));
    EXPECT_EQ(found.processors->loadPercent, 0) << "no counter moves";
}

TEST(ReadMachine, countsTheWaitForTheLoadsToTheProcessors)
{
    machine.file("/proc/stat", "cpu 1 2 3 4\ncpu0 1 2 3 4\n");
    machine.file("/proc/meminfo", "MemTotal: 2048 kB\nMemFree: 1024 kB\n");
    app_read_test::FakeCalls calls;
    calls.steadyTime.emplace();
    app::ReadRequest request;
    request.subjects = {Subject::PROCESSORS, Subject::MEMORY};
    Machine const found = readAll(request);
    EXPECT_EQ(found.readSeconds.at(Subject::PROCESSORS), 1);
    EXPECT_EQ(found.readSeconds.at(Subject::MEMORY), 0);
    EXPECT_EQ(found.seconds, 1);
}

TEST(ReadMachine, comparesWithTheLibrary)
{
    machine.file("/proc/meminfo", "MemTotal: 2048 kB\n");
    app::ReadRequest request;
    request.subjects = {Subject::DISKS};
    Machine const found = readAll(request);
    ASSERT_THAT(found.differences, SizeIs(1));
    EXPECT_EQ(found.differences[0].reason, "Failed to open: /proc/partitions");
}
