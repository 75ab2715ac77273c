#include "app/read/Reader.h"
#include "app/read/kernel_file.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/app/read/FakeSys.h"
#include "tests/sysinfo/ReadCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

using app::Machine;
using app::System;
using app_read_test::FakeCalls;
using app_read_test::writeFiles;
using testkit::machine;

namespace {

/** Reads with the calls that the test has made. */
System readWithCalls()
{
    Machine found;
    app::readSystem(found);
    EXPECT_THAT(found.problems, testing::IsEmpty());
    return found.system.value_or(System());
}

System readAll()
{
    FakeCalls const calls;
    return readWithCalls();
}

std::vector<std::string> factsOf(std::vector<app::Problem> const& problems)
{
    std::vector<std::string> facts;
    for (app::Problem const& problem : problems)
        facts.push_back(problem.fact);
    return facts;
}

std::optional<std::string> osNameOf(std::string const& release)
{
    machine.file("/etc/os-release", release);
    return readAll().osName;
}

}

TEST(System, hasTheTextsOfTheFirmware)
{
    writeFiles("/sys/class/dmi/id",
        {{"sys_vendor", "Acme Inc. "}, {"product_name", "Rocket"}, {"product_version", "9"},
            {"bios_vendor", "BiosCo"}, {"bios_version", "1.2"}, {"bios_date", "03/24/2026"}});
    System const system = readAll();
    EXPECT_EQ(system.vendor, "Acme Inc.");
    EXPECT_EQ(system.product, "Rocket");
    EXPECT_EQ(system.version, "9");
    EXPECT_EQ(system.firmwareVendor, "BiosCo");
    EXPECT_EQ(system.firmwareVersion, "1.2");
    EXPECT_EQ(system.firmwareDate, "03/24/2026");
}

TEST(System, hasNoTextThatIsBlank)
{
    writeFiles("/sys/class/dmi/id", {{"sys_vendor", "  "}});
    EXPECT_EQ(readAll().vendor, std::nullopt);
}

TEST(System, hasTheModelOfTheDeviceTreeWithoutDmi)
{
    using namespace std::string_literals;
    machine.file("/proc/device-tree/model", "Acme Board 4\0"s);
    EXPECT_EQ(readAll().product, "Acme Board 4");
    writeFiles("/sys/class/dmi/id", {{"sys_vendor", "Acme"}});
    EXPECT_EQ(readAll().product, std::nullopt) << "DMI's is empty";
}

TEST(System, hasTheKernelsNames)
{
    FakeCalls calls;
    calls.hostName = "fileserver";
    System const system = readWithCalls();
    EXPECT_EQ(system.hostName, "fileserver");
    EXPECT_EQ(system.kernel, "6.1.0-18-amd64");
    EXPECT_EQ(system.architecture, "x86_64");
}

TEST(System, isUnknownWhereTheKernelReportsNothing)
{
    FakeCalls calls;
    calls.unameFails = true;
    calls.hostNameFails = true;
    testkit::ReadCalls reads("/usr/lib/os-release");
    reads.failBehind(0, EIO);
    Machine found;
    app::readSystem(found);
    System const system = found.system.value();
    EXPECT_THAT(factsOf(found.problems),
        testing::ElementsAre("the host name", "the operating system", "the kernel"));
    EXPECT_EQ(found.problems[1].reason, "Input/output error");
    EXPECT_EQ(found.problems[1].source, "/usr/lib/os-release");
    EXPECT_THAT(factsOf(found.unavailable),
        testing::ElementsAre(
            "the vendor and the firmware", "the hypervisor", "the boot time", "the uptime"));
    EXPECT_EQ(found.unavailable[0].reason, "there is no /sys/class/dmi/id");
    EXPECT_EQ(found.unavailable[1].reason, "there is no /proc/cpuinfo");
    EXPECT_EQ(found.unavailable[3].reason, "there is no /proc/uptime");
    EXPECT_EQ(system.kernel, std::nullopt);
    EXPECT_EQ(system.architecture, std::nullopt);
    EXPECT_EQ(system.osName, std::nullopt);
    EXPECT_EQ(system.bootTime, std::nullopt);
    EXPECT_EQ(system.uptimeSeconds, std::nullopt);
}

TEST(System, hasNoHostNameWhereItIsEmpty)
{
    FakeCalls calls;
    calls.hostName = "";
    Machine found;
    app::readSystem(found);
    EXPECT_EQ(found.system->hostName, std::nullopt);
    EXPECT_THAT(found.problems, testing::IsEmpty());
    auto const isHostName = [](app::Problem const& one) { return one.fact == "the host name"; };
    auto const host = std::find_if(found.unavailable.begin(), found.unavailable.end(), isHostName);
    ASSERT_NE(host, found.unavailable.end());
    EXPECT_EQ(host->reason, "it is empty");
}

TEST(System, hasBootTimeAndUptime)
{
    machine.file("/proc/stat", "cpu  1 2\nbtime 1700000000\nprocesses 5\n");
    machine.file("/proc/uptime", "350735.47 234388.90\n");
    System const system = readAll();
    EXPECT_EQ(system.bootTime, 1700000000);
    EXPECT_EQ(system.uptimeSeconds, 350735U);
}

TEST(OsName, isThePrettyNameWithoutQuotes)
{
    EXPECT_EQ(
        osNameOf("NAME=x\nPRETTY_NAME=\"Acme Linux 12 (rocket)\"\n"), "Acme Linux 12 (rocket)");
    EXPECT_EQ(osNameOf("PRETTY_NAME='Acme Linux'\n"), "Acme Linux");
    EXPECT_EQ(osNameOf("PRETTY_NAME=Acme"), "Acme");
}

TEST(OsName, hasTheCharactersThatABackslashEscapes)
{
    EXPECT_EQ(osNameOf("PRETTY_NAME=\"a \\\"b\\\" \\$5\"\n"), "a \"b\" $5");
    EXPECT_EQ(osNameOf("PRETTY_NAME=\"a\\\n"), "\"a\\");
}

TEST(OsName, keepsABackslashInSingleQuotes)
{
    EXPECT_EQ(osNameOf("PRETTY_NAME='a\\b'\n"), "a\\b");
}

TEST(OsName, isTheNameWhereThePrettyNameIsEmptyOrMissing)
{
    EXPECT_EQ(osNameOf("PRETTY_NAME=\"\"\nNAME=Acme\n"), "Acme");
    EXPECT_EQ(osNameOf("NAME=Acme\nNAMES=x\n"), "Acme");
}

TEST(OsName, comesFromTheFileOfOldDistributions)
{
    // The kit's /usr/lib is the real machine's.
    testkit::ReadCalls reads("/usr/lib/os-release");
    reads.failBehind(0, EIO);
    machine.file("/etc/debian_version", "4.0\n");
    EXPECT_EQ(readAll().osName, "Debian GNU/Linux 4.0");
    machine.file("/etc/SuSE-release", "SUSE 9\nVERSION = 9\n");
    EXPECT_EQ(readAll().osName, "SUSE 9");
    machine.file("/etc/redhat-release", "Red Hat 5\n");
    EXPECT_EQ(readAll().osName, "Red Hat 5");
}

TEST(OsName, comesFromTheFolderOfTheDistributionWhereEtcHasNone)
{
    testkit::ReadCalls reads("/usr/lib/os-release");
    reads.failBehind(0, EIO);
    unsigned const once = app::exists("/usr/lib/os-release") ? 1 : 0;
    {
        FakeCalls const calls;
        Machine found;
        app::readSystem(found);
        EXPECT_EQ(found.problems.size(), once);
    }
    EXPECT_EQ(reads.failures(), once) << "it is read";
    machine.file("/etc/os-release", "NAME=Acme\n");
    readAll();
    EXPECT_EQ(reads.failures(), once) << "it is not read";
}

TEST(System, hasAProblemForEachFactWhoseFilesAreDenied)
{
    writeFiles("/sys/class/dmi/id", {{"sys_vendor", "Acme"}, {"product_name", "Rocket"}});
    machine.file("/proc/uptime", "5.00 1.00\n");
    machine.file("/proc/stat", "btime 1700000000\n");
    machine.file("/proc/cpuinfo", "flags : fpu\n");
    machine.file("/etc/os-release", "NAME=Acme\n");
    for (char const* const file : {"/sys/class/dmi/id/sys_vendor", "/sys/class/dmi/id/product_name",
             "/proc/uptime", "/proc/stat", "/proc/cpuinfo"})
        ASSERT_EQ(chmod(file, 0), 0);
    FakeCalls const calls;
    Machine found;
    app::readSystem(found);
    EXPECT_THAT(factsOf(found.problems),
        testing::ElementsAre(
            "the vendor and the firmware", "the hypervisor", "the boot time", "the uptime"));
    EXPECT_EQ(found.problems[0].source, "/sys/class/dmi/id/sys_vendor and 1 other file");
    EXPECT_EQ(found.problems[0].reason, "Permission denied");
    EXPECT_THAT(found.unavailable, testing::IsEmpty());
}

TEST(System, hasNoReasonsWhereAllIsKnown)
{
    writeFiles("/sys/class/dmi/id", {{"sys_vendor", "Acme"}});
    machine.file("/proc/uptime", "5.00 1.00\n");
    machine.file("/proc/stat", "btime 1700000000\n");
    machine.file("/proc/cpuinfo", "flags : fpu\n");
    machine.file("/etc/os-release", "NAME=Acme\n");
    FakeCalls const calls;
    Machine found;
    app::readSystem(found);
    EXPECT_THAT(found.problems, testing::IsEmpty());
    EXPECT_THAT(found.unavailable, testing::IsEmpty());
}

TEST(System, doesNotKnowTheContainerWhereTheFirstProcessIsHidden)
{
    machine.file("/proc/1/environ", "TERM=linux");
    ASSERT_EQ(chmod("/proc/1/environ", 0), 0);
    Machine found;
    app::readSystem(found);
    EXPECT_EQ(found.system->container, std::nullopt);
    EXPECT_THAT(factsOf(found.unavailable), testing::Contains("the container manager"));
    EXPECT_THAT(factsOf(found.problems), testing::Not(testing::Contains("the container manager")));
}
