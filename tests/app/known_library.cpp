#include <sysinfo/LinuxSystemInformation.h>
#include <sysinfo/plugin.h>

#include <cstdlib>
#include <exception>
#include <utility>

/** A build of the library that knows one machine, the same on every one: with names that would move
 * a terminal's cursor, with what is no address, and with sizes that nobody could ask. The query
 * that KNOWN_FAILS names throws after its first answer. */
namespace {

using dovrel::ip_address;
using dovrel::string;

class KnownFailure : public std::exception {
public:
    char const* what() const noexcept override { return "the known machine\nfailed"; }
};

void failWhereWanted(std::string const& query)
{
    char const* const failing = std::getenv("KNOWN_FAILS");
    if (failing && query == failing)
        throw KnownFailure();
}

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
    std::vector<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>>
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
    std::vector<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>> m_disks;
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

class KnownSystem : public sysinfo::LinuxSystemInformation {
public:
    bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override
    {
        disks.emplace_back(new KnownDisk(L"sda", L"MODEL_1", 2, 500107862016));
        failWhereWanted("disks");
        disks.emplace_back(new KnownDisk(L"cciss/c0d0", L"", 0, 0));
        disks.emplace_back(new KnownDisk(L"sd\x1B[2Jb", L"EVIL\x07\x7F\x9B", 1, 42));
        return true;
    }

    bool getDisksInternal(std::vector<dovrel::value_ptr<DiskInfo>>& disks) const override
    {
        constexpr uint64_t GIB = 1ULL << 30;
        failWhereWanted("mounts at once");
        disks.emplace_back(new KnownMount(L"/", 1000 * GIB, 250 * GIB, {L"sda"}));
        failWhereWanted("mounts");
        disks.emplace_back(new KnownMount(L"/gone", 0, 0, {}));
        disks.emplace_back(
            new KnownMount(L"/media/my\\040disk", 2 * GIB, 0, {L"sda", L"cciss/c0d0"}));
        disks.emplace_back(new KnownMount(L"/odd\\033[2J", 1024, 2048, {L"unlisted"}));
        return true;
    }

    bool getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const override
    {
        string const host = L"file\x1Bserver";
        adapters.emplace_back(
            new UNIXNetworkInfo(L"eth0", host, mac({0x00, 0x0C, 0x29, 0xAA, 0xBB, 0xCC}),
                addresses({L"10.0.0.5", L"fe80::1", L"10.0.0.6"}), {L"255.255.255.0", L"255.0.0.0"},
                {}));
        failWhereWanted("networks");
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
        failWhereWanted("system");
        product = "Rocket 9000";
        version = "";
        char const* const code = std::getenv("KNOWN_HYPERVISOR");
        hypervisor =
            code ? static_cast<HypervisorType>(std::strtol(code, nullptr, 10)) : HYPERVISOR_KVM;
        return std::getenv("KNOWN_SYSTEM_IS_UNSURE") == nullptr;
    }
};

}

sysinfo::SystemInformation* libopen()
{
    return new KnownSystem;
}

void libclose(sysinfo::SystemInformation* object)
{
    delete object;
}
