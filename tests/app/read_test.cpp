#include "app/read/Reader.h"
#include "app/write/names.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <new>
#include <utility>

using app::Machine;
using app::Subject;
using app_test::jsonOf;
using app_test::knownMachine;
using dovrel::ip_address;
using dovrel::string;
using dovrel::value_ptr;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

namespace {

class KnownFailure : public std::exception {
public:
    char const* what() const noexcept override { return "the known machine\nfailed"; }
};

class KnownDisk : public sysinfo::SystemInformation::PhysicalDiskInfo {
public:
    KnownDisk(string name, string caption, unsigned partitions, uint64_t figure)
        : m_name(std::move(name)), m_caption(std::move(caption)), m_partitions(partitions),
          m_figure(figure)
    {
    }

    string toString() const override { return m_name; }
    string getDiskID() const override { return m_name; }
    unsigned int getDiskNumberOfPartitions() const override { return m_partitions; }
    uint64_t getDiskTotalSizeInBytes() const override { return m_figure; }
    string getDiskCaption() const override { return m_caption; }
    void destroy() override { delete this; }
    PhysicalDiskInfo* clone() const override { return new KnownDisk(*this); }

private:
    string m_name;
    string m_caption;
    unsigned m_partitions;
    uint64_t m_figure;
};

class KnownMount : public sysinfo::SystemInformation::DiskInfo {
public:
    KnownMount(string name, uint64_t size, uint64_t free, std::vector<wchar_t const*> const& disks)
        : m_name(std::move(name)), m_size(size), m_free(free)
    {
        for (wchar_t const* const disk : disks)
            m_disks.emplace_back(new KnownDisk(disk, L"", 0, 0));
    }

    string toString() const override { return m_name; }
    string getDiskName() const override { return m_name; }
    std::vector<value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>>
    getParentDisks() const override
    {
        return m_disks;
    }
    uint64_t getDiskSizeInBytes() const override { return m_size; }
    uint64_t getDiskFreeInBytes() const override { return m_free; }
    void destroy() override { delete this; }
    DiskInfo* clone() const override { return new KnownMount(*this); }

private:
    string m_name;
    uint64_t m_size;
    uint64_t m_free;
    std::vector<value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>> m_disks;
};

dovrel::macaddress_cpp mac(std::initializer_list<uint8_t> bytes)
{
    dovrel::macaddress_cpp address;
    unsigned i = 0;
    for (uint8_t const byte : bytes)
        address[i++] = byte;
    return address;
}

std::vector<ip_address> addresses(std::initializer_list<wchar_t const*> texts)
{
    std::vector<ip_address> list;
    for (wchar_t const* const text : texts)
        list.emplace_back(string(text));
    return list;
}

/** A library with the records of `knownMachine`. */
class KnownLibrary : public sysinfo::LinuxSystemInformation {
public:
    /** Called in each query, where some of its facts are there and some are missing; may throw. */
    std::function<void()> halfway = [] {};

    bool complete = true; ///< The result of `getSystemInfo`.
    HypervisorType hypervisorFound = HYPERVISOR_KVM;

    bool getPhysicalDisksInternal(std::vector<value_ptr<PhysicalDiskInfo>>& disks) const override
    {
        disks.emplace_back(new KnownDisk(L"sda", L"MODEL_1", 2, 500107862016));
        halfway();
        disks.emplace_back(new KnownDisk(L"cciss/c0d0", L"", 0, 0));
        disks.emplace_back(new KnownDisk(L"sd\x1B[2Jb", L"EVIL\x07\x7F\x9B", 1, 42));
        return true;
    }

    bool getDisksInternal(std::vector<value_ptr<DiskInfo>>& disks) const override
    {
        constexpr uint64_t GIB = 1ULL << 30;
        disks.emplace_back(new KnownMount(L"/", 1000 * GIB, 250 * GIB, {L"sda"}));
        halfway();
        disks.emplace_back(new KnownMount(L"/gone", 0, 0, {}));
        disks.emplace_back(
            new KnownMount(L"/media/my\\040disk", 2 * GIB, 0, {L"sda", L"cciss/c0d0"}));
        disks.emplace_back(new KnownMount(L"/odd\\033[2J", 1024, 2048, {L"unlisted"}));
        return true;
    }

    bool getNetworksInternal(std::vector<value_ptr<NetworkInfo>>& adapters) const override
    {
        string const host = L"file\x1Bserver";
        adapters.emplace_back(
            new UNIXNetworkInfo(L"eth0", host, mac({0x00, 0x0C, 0x29, 0xAA, 0xBB, 0xCC}),
                addresses({L"10.0.0.5", L"fe80::1", L"10.0.0.6"}), {L"255.255.255.0", L"255.0.0.0"},
                {}));
        halfway();
        adapters.emplace_back(new UNIXNetworkInfo(L"ib\x1B[2J", host,
            mac({0x80, 0x00, 0x00, 0x48, 0xFE, 0x80, 0x01, 0x02}), addresses({L"XXX", L"10.1.0.1"}),
            {L"255.255.0.0", L"\x1B[2J"}, {}));
        adapters.emplace_back(
            new UNIXNetworkInfo(L"tun0", host, {}, {}, {}, addresses({L"10.0.0.1", L"nowhere"})));
        return true;
    }

    bool getSystemInfo(std::string& vendor, std::string& product, std::string& version,
        HypervisorType& hypervisor) const override
    {
        vendor = "Acme\x1B[2J";
        halfway();
        product = "Rocket 9000";
        version = "";
        hypervisor = hypervisorFound;
        return complete;
    }

    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override
    {
        totalKiB = 1ULL << 62; // Never the kernel's.
        halfway();
        freeKiB = 4 << 20;
        return true;
    }

    bool getCPUsInternal(std::vector<value_ptr<CPUInfo>>& processors) const override
    {
        processors.emplace_back(new UNIXCPUInfo(0));
        halfway();
        return true;
    }

    value_ptr<CloneInfo> getCloneInfo(bool& /*unavailable*/) const override
    {
        halfway();
        return {};
    }
};

using Part = void (*)(app::Reader&, Machine&);

Machine readFrom(KnownLibrary const& library, Subject subject, Part part)
{
    app_test::LocaleFor const utf8("C.UTF-8");
    app::TraceOutput trace(0, {});
    app::Reader reader(trace, library);
    Machine machine;
    machine.subjects = {subject};
    part(reader, machine);
    return machine;
}

/** Reads from a library whose queries throw when half of their facts are there. */
Machine readHalf(Subject subject, Part part)
{
    KnownLibrary library;
    library.halfway = [] { throw KnownFailure(); };
    Machine machine = readFrom(library, subject, part);
    EXPECT_THAT(machine.problems, SizeIs(1));
    EXPECT_TRUE(machine.hasProblem(subject));
    EXPECT_EQ(machine.problems.at(0).reason, "the known machine\nfailed");
    return machine;
}

}

TEST(Reader, hasTheFactsOfTheLibrarysRecords)
{
    std::pair<Subject, Part> const parts[] = {{Subject::SYSTEM, app::readSystem},
        {Subject::DISKS, app::readDisks}, {Subject::MOUNTS, app::readMounts},
        {Subject::NETWORKS, app::readNetworks}};
    for (auto const& [subject, part] : parts) {
        Machine machine = readFrom(KnownLibrary(), subject, part);
        Machine const known = knownMachine({subject});
        if (machine.disks && machine.disks->size() == known.disks->size())
            for (size_t i = 0; i < machine.disks->size(); ++i)
                (*machine.disks)[i].bytes = known.disks->at(i).bytes; // Not from the library.

        EXPECT_EQ(jsonOf(machine), jsonOf(known));
        EXPECT_THAT(machine.problems, IsEmpty());
    }
}

TEST(Reader, keepsTheFactsThatWereFoundBeforeAFailure)
{
    Machine const system = readHalf(Subject::SYSTEM, app::readSystem);
    EXPECT_EQ(system.system->vendor, "Acme\x1B[2J");
    EXPECT_EQ(system.system->product, "");
    EXPECT_EQ(system.system->hypervisorCode, std::nullopt) << "\"none\" means nothing then";
    EXPECT_THAT(*readHalf(Subject::DISKS, app::readDisks).disks, SizeIs(1));
    EXPECT_THAT(*readHalf(Subject::MOUNTS, app::readMounts).mounts, SizeIs(1));
    Machine const networks = readHalf(Subject::NETWORKS, app::readNetworks);
    EXPECT_THAT(networks.networks->adapters, SizeIs(1));
    EXPECT_EQ(networks.networks->hostName, "file\x1Bserver");
    EXPECT_EQ(networks.networks->nameServers, std::nullopt) << "the library reads them last";
}

TEST(Reader, hasNoPartWhereNothingWasFoundBeforeAFailure)
{
    EXPECT_EQ(readHalf(Subject::PROCESSORS, app::readProcessors).processors, std::nullopt);
    EXPECT_FALSE(readHalf(Subject::RECOVERY, app::readRecovery).recovery);
    Machine const memory = readHalf(Subject::MEMORY, app::readMemory);
    EXPECT_FALSE(memory.memory) << "2^62 KiB are more than 2^64 bytes";
}

TEST(Reader, hasTheHypervisorOfAnIncompleteQuery)
{
    using Service = sysinfo::SystemInformation;
    KnownLibrary library;
    library.complete = false;
    library.hypervisorFound = Service::HYPERVISOR_XEN;
    Machine const found = readFrom(library, Subject::SYSTEM, app::readSystem);
    EXPECT_THAT(found.system->hypervisorCode, Optional(3U));
    EXPECT_EQ(found.problems.at(0).reason, "neither the firmware nor the processor reports it");

    library.hypervisorFound = Service::HYPERVISOR_NONE;
    EXPECT_EQ(
        readFrom(library, Subject::SYSTEM, app::readSystem).system->hypervisorCode, std::nullopt);
}

TEST(Reader, passesOnThatThereIsNoMemory)
{
    KnownLibrary library;
    library.halfway = [] { throw std::bad_alloc(); };

    EXPECT_THROW(readFrom(library, Subject::DISKS, app::readDisks), std::bad_alloc);
}

TEST(Problem, isOneLineOfPrintableCharacters)
{
    Machine const machine = readHalf(Subject::DISKS, app::readDisks);

    EXPECT_EQ(app::problemText(machine.problems.at(0)),
        "cannot read the disks from /proc/partitions: the known machine?failed");
}
