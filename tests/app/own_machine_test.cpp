// The program on the real machine, and on devices and adapters that the test makes. Its facts must
// be those of lsblk(8), lscpu(1), ip(8), df(1), free(1) and uname(1).

#include "tests/app/LoopDisk.h"
#include "tests/app/Program.h"
#include "tests/app/own_machine_facts.h"
#include "tests/support/Json.h"
#include "tests/support/SystemFailure.h"
#include "tests/support/commands.h"
#include "tests/support/system_path.h"
#include "tests/support/user_namespace.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>

using namespace app_test;
using testkit::Json;
using testkit::outputOf;
using testkit::runs;

namespace {

std::string textOf(Facts const& facts, std::string const& name)
{
    auto const found = facts.find(name);
    return found == facts.end() ? "unknown" : found->second;
}

/** Expects the same facts on both sides. */
void expectSame(Facts const& program, Facts const& tool)
{
    std::set<std::string> names;
    for (Facts const* const facts : {&program, &tool})
        for (auto const& [name, value] : *facts)
            names.insert(name);
    for (std::string const& name : names)
        EXPECT_EQ(textOf(program, name), textOf(tool, name)) << "the fact that differs: " << name;
}

/** The same for facts that another process may change in between: devices and adapters come and go.
 */
void expectSame(std::function<Facts()> const& program, std::function<Facts()> const& tool)
{
    constexpr int ATTEMPTS = 20;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        Facts const before = tool();
        Facts const facts = program();
        if (tool() != before)
            continue;
        EXPECT_FALSE(before.empty());
        expectSame(facts, before);
        return;
    }
    ADD_FAILURE() << "the machine changed at each attempt";
}

/**
 * Expects each figure of the program to lie between the tool's figures before and after it.
 *
 * No bound is wider than that. A figure may leave the bounds for a moment, so each gets several
 * attempts.
 */
void expectBetween(std::function<Figures()> const& program, std::function<Figures()> const& tool)
{
    constexpr int ATTEMPTS = 100;
    Facts outside;
    for (int attempt = 0; attempt < ATTEMPTS && (attempt == 0 || !outside.empty()); ++attempt) {
        Figures const before = tool();
        Figures figures = program();
        Figures const after = tool();
        for (auto const& [name, figure] : before) {
            auto const next = after.find(name);
            auto const [low, high] =
                std::minmax(figure, next == after.end() ? figure : next->second);
            bool const pending = attempt == 0 || outside.count(name) != 0;
            bool const isKnown = figures.count(name) != 0;
            if (pending && isKnown && low <= figures[name] && figures[name] <= high)
                outside.erase(name);
            else if (pending)
                outside[name] = (isKnown ? std::to_string(figures[name]) : "unknown") + ", not "
                    + std::to_string(low) + " to " + std::to_string(high);
        }
        for (auto const& [name, figure] : figures) {
            EXPECT_EQ(before.count(name), 1U) << "only the program has the fact " << name;
        }
    }
    for (auto const& [name, text] : outside)
        ADD_FAILURE() << "the fact that differs: " << name << " is " << text;
}

/** Has the tools found, and print untranslated names in UTF-8. */
void prepareTools()
{
    testkit::setSystemPath();
    ::setenv("LC_ALL", "C.UTF-8", 1);
}

/** The machine that the test runs on. */
class OwnMachine : public testing::Test {
protected:
    static void SetUpTestSuite() { prepareTools(); }
};

/** Disks that the test makes, with a private table of mounts. */
class OwnDisks : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        prepareTools();
        try {
            testkit::enterNamespaces(CLONE_NEWNS);
            if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
                testkit::fail("mount", "/");
            s_disk = std::make_unique<LoopDisk>();
        } catch (std::runtime_error const& error) {
            std::printf("no loop device: %s\n", error.what());
        }
    }
    static void TearDownTestSuite() { s_disk.reset(); }

    void SetUp() override
    {
        if (!s_disk)
            GTEST_SKIP() << "this machine has no loop devices for this user";
    }

    static std::unique_ptr<LoopDisk> s_disk;
};

std::unique_ptr<LoopDisk> OwnDisks::s_disk;

/** Runs a command when the object goes. */
class AtEnd {
public:
    explicit AtEnd(std::string command) : m_command(std::move(command)) { }
    AtEnd(AtEnd const&) = delete;
    AtEnd& operator=(AtEnd const&) = delete;
    ~AtEnd() { EXPECT_TRUE(runs(m_command)) << m_command; }

private:
    std::string m_command;
};

/** Adapters of each kind in a private network. The process stays in it, so this suite is the last
 * one. */
class OwnAdapters : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        prepareTools();
        if (!runs("ip -json link"))
            s_missing = "this machine has no ip(8) with JSON output";
        else if (!enterPrivateNetwork())
            s_missing = "this machine has no private networks for this user";
        else if (!runs("ip link add va type veth peer name vb"))
            s_missing = "this machine has no veth adapters";
        if (!s_missing.empty())
            return;
        // Keeps automatic IPv6 addresses away. Both commands fail on a kernel without IPv6.
        runs("ip link set va addrgenmode none");
        runs("ip link set vb addrgenmode none");
        EXPECT_TRUE(runs("ip link set lo up && ip link set va up && ip link set vb up"));
    }

    void SetUp() override
    {
        if (!s_missing.empty())
            GTEST_SKIP() << s_missing;
    }

    static bool enterPrivateNetwork()
    {
        try {
            int const user = ::geteuid() == 0 ? 0 : CLONE_NEWUSER;
            testkit::enterNamespaces(user | CLONE_NEWNET | CLONE_NEWNS);
            if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
                testkit::fail("mount", "/");
            // /sys/class/net has the adapters of the network in which it was mounted.
            if (::mount("sysfs", "/sys", "sysfs", MS_RDONLY, nullptr) != 0)
                testkit::fail("mount", "/sys");
            return true;
        } catch (std::system_error const& error) {
            std::printf("no private network: %s\n", error.what());
            return false;
        }
    }

    static std::string s_missing;
};

std::string OwnAdapters::s_missing;

}

TEST_F(OwnMachine, hasTheSystemFactsOfUname)
{
    expectSame(systemByProgram, systemByTools);
}

TEST_F(OwnMachine, hasTheProcessorsOfLscpu)
{
    expectSame(processorsByProgram, processorsByLscpu);
}

TEST_F(OwnMachine, hasTheMemoryOfFree)
{
    expectBetween(memoryByProgram, memoryByFree);
}

TEST_F(OwnMachine, hasTheDisksOfLsblk)
{
    if (!runs("lsblk -o MOUNTPOINTS"))
        GTEST_SKIP() << "this machine has no lsblk with all mount points";
    if (disksByLsblk().empty())
        GTEST_SKIP() << "this machine has no block devices";
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnMachine, hasTheMountsOfDf)
{
    if (mountsByProgram().empty() && mountsByDf().empty())
        GTEST_SKIP() << "this machine has no filesystems on block devices";
    expectSame(mountsByProgram, mountsByDf);
}

TEST_F(OwnMachine, hasTheUsedSpaceOfDf)
{
    if (mountsByProgram().empty())
        GTEST_SKIP() << "this machine has no filesystems on block devices";
    expectBetween(spaceByProgram, spaceByDf);
}

TEST_F(OwnMachine, hasTheAdaptersOfIp)
{
    if (!runs("ip -json link"))
        GTEST_SKIP() << "this machine has no ip(8) with JSON output";
    expectSame(adaptersByProgram, adaptersByIp);
}

TEST_F(OwnDisks, haveTheirPartitions)
{
    std::string const name = s_disk->name();
    Facts const facts = disksByProgram();
    EXPECT_EQ(textOf(facts, name + ": size"), std::to_string(LoopDisk::SIZE));
    EXPECT_EQ(textOf(facts, name + "p1: lies on"), "[\"" + name + "\"]");
    EXPECT_EQ(textOf(facts, name + "p2: size"), std::to_string(24 * 1024 * 1024));
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnDisks, mayBeReadOnlyWithLargeSectors)
{
    LoopDisk const disk("--read-only --sector-size 4096");
    std::string const name = disk.name();
    Facts const facts = disksByProgram();
    EXPECT_EQ(textOf(facts, name + ": logical sector"), "4096");
    EXPECT_EQ(textOf(facts, name + ": read-only"), "true");
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnDisks, mayBeCompressedMemory)
{
    std::string const number = lineOf("cat /sys/class/zram-control/hot_add 2>/dev/null");
    if (number.empty())
        GTEST_SKIP() << "this machine has no zram devices for this user";
    AtEnd const remove("for i in 1 2 3 4 5; do echo " + number
        + " 2>/dev/null >/sys/class/zram-control/hot_remove && exit; sleep 1; done; exit 1");
    ASSERT_TRUE(runs("{ echo 16M >/sys/block/zram" + number + "/disksize; }"));
    EXPECT_EQ(textOf(disksByProgram(), "zram" + number + ": type"), "zram");
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnDisks, mayBeMountedWhereTheNameHasABlank)
{
    Folder const folder;
    std::string const place = (folder.path() / "my disk").string();
    std::string const device = s_disk->partition(1);
    if (!runs("mkdir " + quoted(place) + " && mkfs.ext4 -q " + device + " && mount " + device + " "
            + quoted(place)))
        GTEST_SKIP() << "this machine has no ext4 filesystem to make and mount";
    AtEnd const unmount("umount " + quoted(place));
    EXPECT_EQ(textOf(mountsByProgram(), place + ": source"), device);
    EXPECT_EQ(spaceByProgram().count(place + ": used"), 1U);
    expectSame(mountsByProgram, mountsByDf);
    expectBetween(spaceByProgram, spaceByDf);
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnDisks, mayBeMountedTwiceAndHidden)
{
    Folder const folder;
    std::string const path = folder.path().string();
    std::string const first = s_disk->partition(1);
    std::string const second = s_disk->partition(2);
    std::string const inFolder = "cd " + quoted(path) + " && ";
    if (!runs(inFolder + "mkdir -p deep/er other below && mkfs.ext4 -q " + first
            + " && mkfs.ext4 -q " + second + " && mount " + first + " deep/er && mount " + first
            + " other && mount " + second + " below"))
        GTEST_SKIP() << "this machine has no ext4 filesystem to make and mount";
    AtEnd const unmount(
        inFolder + "umount below && umount deep && umount deep/er && umount other && umount below");
    ASSERT_TRUE(
        runs(inFolder + "mount -t tmpfs none deep && mkdir deep/er && mount -t tmpfs none below"));
    std::map<std::string, Json> mounts;
    Json const document = readByProgram("mounts");
    for (Json const& mount : document.at("mounts"))
        mounts[mount.at("mount_point").get<std::string>()] = mount;
    Json const& hidden = mounts[path + "/deep/er"];
    EXPECT_EQ(hidden.at("hidden_by"), path + "/deep");
    EXPECT_EQ(hidden.at("same_as"), path + "/other");
    EXPECT_EQ(hidden.at("size_bytes"), mounts[path + "/other"].at("size_bytes"));
    Json const& below = mounts[path + "/below"];
    EXPECT_EQ(below.at("hidden_by"), path + "/below");
    EXPECT_TRUE(below.at("size_bytes").is_null());
    expectSame(mountsByProgram, mountsByDf);
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnDisks, carryADeviceMapperDevice)
{
    std::string const name = "dovrel" + std::to_string(::getpid()) + "-all";
    if (!runs("dmsetup create " + name + " --table '0 8192 linear " + s_disk->partition(2) + " 0'"))
        GTEST_SKIP() << "this machine has no device-mapper for this user";
    AtEnd const remove("dmsetup remove --retry " + name);
    std::string const listed = outputOf("lsblk --noheadings --list --output=NAME");
    EXPECT_NE(listed.find(name), std::string::npos);
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnDisks, carryARaid)
{
    std::string const node = "/dev/md/dovrel" + std::to_string(::getpid());
    if (!runs("mdadm --build " + node + " --run --level=raid1 --raid-devices=2 "
            + s_disk->partition(1) + " " + s_disk->partition(2)))
        GTEST_SKIP() << "this machine has no md arrays for this user";
    AtEnd const stop("mdadm --stop " + node);
    expectSame(disksByProgram, disksByLsblk);
}

TEST_F(OwnAdapters, areThoseOfIp)
{
    ASSERT_TRUE(runs("ip address add 192.0.2.1/24 dev va"
                     " && ip address add 198.51.100.1/25 dev va label va:web"
                     " && ip address add 203.0.113.9 peer 203.0.113.10/32 dev vb"
                     " && ip route add default via 192.0.2.254 dev va"));
    expectSame(adaptersByProgram, adaptersByIp);
    Facts const facts = adaptersByProgram();
    EXPECT_EQ(textOf(facts, "va: gateways"), "[\"192.0.2.254\"]");
    EXPECT_EQ(
        textOf(facts, "va: addresses"), "[\"192.0.2.1/24 global\",\"198.51.100.1/25 global\"]");
}

/** Makes an adapter or address of a kind that not every kernel has, and compares. */
class OwnOptionalAdapter : public OwnAdapters {
protected:
    static void compare(std::string const& command, char const* missing)
    {
        if (!runs("{ " + command + "; }"))
            GTEST_SKIP() << missing;
        expectSame(adaptersByProgram, adaptersByIp);
    }
};

TEST_F(OwnOptionalAdapter, hasIPv6AddressesAndGateways)
{
    compare("ip address add 2001:db8::1/64 dev va nodad && ip -6 route add default via"
            " 2001:db8::ff dev va",
        "this machine has no IPv6 addresses");
}

TEST_F(OwnOptionalAdapter, hasTheIPv6GatewayOfAnIPv4Route)
{
    compare("ip -4 route add default metric 50 via inet6 fe80::1 dev vb",
        "this machine has no IPv4 routes through IPv6 gateways");
    if (!IsSkipped()) {
        EXPECT_NE(
            textOf(adaptersByProgram(), "vb: gateways").find("\"fe80::1\""), std::string::npos);
    }
}

TEST_F(OwnOptionalAdapter, hasAllGatewaysOfARoute)
{
    compare("ip address add 192.0.2.1/24 dev va"
            " && ip route add default metric 60 nexthop via 192.0.2.7 dev va"
            " nexthop via 192.0.2.8 dev va",
        "this machine has no routes with several gateways");
    if (!IsSkipped()) {
        EXPECT_NE(textOf(adaptersByProgram(), "va: gateways").find("192.0.2.8"), std::string::npos);
    }
}

TEST_F(OwnOptionalAdapter, hasTheScopeThatAnAddressWasGiven)
{
    compare("ip address add 198.51.100.200/32 scope host dev va"
            " && ip address add 169.254.7.7/16 scope global dev va",
        "this machine has no scopes of addresses");
}

TEST_F(OwnAdapters, haveNoFactsOfAnotherNetworkNamespace)
{
    Json const document = Json::parse(outputOf("unshare --net sh -c 'ip link add va type veth peer"
                                               " name other && ip link set va mtu 1234 && "
        + std::string(DOVREL_PROGRAM) + " networks --json'"));
    std::set<std::string> names;
    for (Json const& adapter : document.at("networks").at("adapters")) {
        names.insert(adapter.at("name").get<std::string>());
        EXPECT_TRUE(adapter.at("mtu_bytes").is_null()) << adapter;
    }
    EXPECT_EQ(names, (std::set<std::string>{"lo", "other", "va"}));
    EXPECT_FALSE(document.at("unavailable").empty());
}

TEST_F(OwnOptionalAdapter, mayBeABridge)
{
    compare("ip link add br0 mtu 1400 type bridge && ip address add 203.0.113.1/28 dev br0"
            " && ip link set vb master br0 && ip link set br0 up",
        "this machine has no bridge adapters");
}

TEST_F(OwnOptionalAdapter, mayBeABond)
{
    compare(
        "ip link add bond7 type bond && ip link set bond7 up", "this machine has no bond adapters");
}

TEST_F(OwnOptionalAdapter, mayBeAVlan)
{
    compare("ip link add link va name va.100 type vlan id 100 && ip link set va.100 up",
        "this machine has no VLAN adapters");
}

TEST_F(OwnOptionalAdapter, mayBeADummy)
{
    compare("ip link add d0 type dummy && ip address add 198.18.0.1/15 dev d0"
            " && ip link set d0 up",
        "this machine has no dummy adapters");
}
