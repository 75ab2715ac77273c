#include "app/read/differences.h"

#include "app/read/kernel_file.h"

#include <algorithm>
#include <set>

namespace app {

namespace {

using Texts = std::vector<std::string>;

constexpr std::nullopt_t NOTHING = std::nullopt;

std::optional<LibraryValue> knownText(std::string const& text)
{
    return text.empty() ? std::nullopt : std::optional<LibraryValue>(text);
}

/** @return the record whose getter returns @p text; null where there is none. */
LibraryRecord const* findRecord(
    LibraryAnswer const& answer, char const* getter, std::string const& text)
{
    for (LibraryRecord const& record : answer.records)
        if (decodeOctal(record.get<std::string>(getter)) == text)
            return &record;
    return nullptr;
}

class Comparison {
public:
    explicit Comparison(Machine const& machine) : m_machine(machine) { }

    std::vector<Difference> all()
    {
        compare(Subject::SYSTEM, m_machine.system);
        compare(Subject::PROCESSORS, m_machine.processors);
        compare(Subject::MEMORY, m_machine.memory);
        compare(Subject::DISKS, m_machine.disks);
        compare(Subject::MOUNTS, m_machine.mounts);
        compare(Subject::NETWORKS, m_machine.networks);
        return std::move(m_differences);
    }

private:
    template <class Part> void compare(Subject subject, std::optional<Part> const& part)
    {
        auto const found = m_machine.library.find(subject);
        if (found == m_machine.library.end())
            return;
        LibraryAnswer const& answer = found->second;
        m_subject = subject;
        m_isComplete = answer.outcome == LibraryAnswer::RETURNED_TRUE;
        if (answer.outcome != LibraryAnswer::RETURNED_TRUE)
            add("", "", NOTHING, answer.reason);
        // Without a record there is nothing to compare by item.
        bool const hasRecords =
            !answer.records.empty() || answer.outcome == LibraryAnswer::RETURNED_TRUE;
        if (part && hasRecords)
            compareWith(answer, *part);
    }

    void add(std::string const& item, std::string const& fact,
        std::optional<LibraryValue> const& library, std::string const& reason)
    {
        m_differences.push_back({m_subject, item, fact, library, reason});
    }

    /** Adds an item that the library does not list. */
    void addMissing(LibraryAnswer const& answer, std::string const& item, std::string const& reason)
    {
        add(item, "", NOTHING, m_isComplete ? reason : answer.reason);
    }

    static std::string whyOther(std::string const& library, std::optional<std::string> const& text)
    {
        // 48 with the zero at the end; a character of UTF-8 is not cut in its middle.
        constexpr size_t LONGEST = 47;
        constexpr size_t SHORTEST = LONGEST - 3;
        if (text && library.size() < text->size() && library.size() >= SHORTEST
            && text->compare(0, library.size(), library) == 0)
            return "the library's texts have 47 bytes at most";
        return library.empty() ? "the library takes the firmware's text of DMI, which has none"
                               : "the library takes the firmware's text as it stands";
    }

    void compareWith(LibraryAnswer const& answer, System const& system)
    {
        if (answer.records.empty())
            return;
        LibraryRecord const& record = answer.records.front();
        std::pair<char const*, std::optional<std::string>> const texts[] = {
            {"vendor", system.vendor}, {"product", system.product}, {"version", system.version}};
        for (auto const& [fact, text] : texts) {
            auto const library = record.get<std::string>(fact);
            if (library == text.value_or(""))
                continue;
            add("", fact, knownText(library), whyOther(library, text));
        }
        constexpr char const* NAMES[] = {"none", "VMware", "Hyper-V", "Xen", "KVM", "QEMU",
            "VirtualBox", "Parallels", "other", "bhyve", "Amazon", "Azure"};
        auto const code = record.get<uint64_t>("hypervisor");
        std::string const name = code < std::size(NAMES) ? NAMES[code] : "unknown";
        if (system.virtualMachine && *system.virtualMachine != name)
            add("", "virtual_machine", name,
                "the library goes by the processor and by the first adapter's MAC address");
    }

    void compareWith(LibraryAnswer const& answer, Processors const& processors)
    {
        if (m_isComplete && answer.records.size() != processors.list.size())
            add("", "count", uint64_t{answer.records.size()},
                "the library counts the words of /proc/stat that begin with cpu and end in a "
                "digit");
        for (size_t i = 0; i < processors.list.size(); ++i) {
            Processor const& processor = processors.list[i];
            std::string const item = std::to_string(processor.number);
            if (processor.number != i)
                add(item, "number", uint64_t{i},
                    "the library numbers processors from 0 without gaps");
            if (i >= answer.records.size())
                continue;
            auto const highest = answer.records[i].get<uint64_t>("getMaxSpeedInMHZ");
            if (processor.highestMHz && *processor.highestMHz != highest)
                add(item, "highest_mhz", highest,
                    "the library reports the firmware's limit (bios_limit), 0 where there is "
                    "none");
            auto const current = answer.records[i].get<uint64_t>("getCurrentSpeedInMHZ");
            if (processor.currentMHz && current == 0)
                add(item, "current_mhz", current,
                    "the library reads the speed from cpufreq, which has none here");
        }
    }

    void compareWith(LibraryAnswer const& answer, Memory const& memory)
    {
        if (answer.records.empty())
            return;
        constexpr uint64_t KIB = 1024;
        auto const total = answer.records.front().get<uint64_t>("totalKiB") * KIB;
        if (memory.total && *memory.total != total)
            add("", "total_bytes", total,
                "the library reports the sum of the installed modules where that is more than "
                "the kernel's figure");
    }

    void compareWith(LibraryAnswer const& answer, std::vector<Disk> const& disks)
    {
        for (Disk const& disk : disks) {
            if (disk.type != Disk::DISK)
                continue;
            LibraryRecord const* const record = findRecord(answer, "getDiskID", disk.name);
            if (!record) {
                addMissing(answer, disk.name, whyNotListed(disks, disk));
                continue;
            }
            auto const size = record->get<uint64_t>("getDiskTotalSizeInBytes");
            if (disk.bytes && *disk.bytes != size)
                add(disk.name, "size_bytes", size,
                    size == 0 ? "the device cannot be opened or does not report its sector size"
                              : "the library's figure is blocks of 1,024 bytes times the sector "
                                "size");
            auto const partitions = record->get<uint64_t>("getDiskNumberOfPartitions");
            if (size_t const count = partitionsOf(disks, disk); count != partitions)
                add(disk.name, "partitions", partitions,
                    "the library compares names by their beginning");
        }
    }

    static std::string whyNotListed(std::vector<Disk> const& disks, Disk const& disk)
    {
        if (disk.name.find_last_of("0123456789") == disk.name.size() - 1)
            return "the library lists the names that do not end in a digit";
        if (disk.transport == "usb")
            return "the library leaves USB storage out";
        bool const displaced = std::any_of(disks.begin(), disks.end(), [&](Disk const& other) {
            return other.type == Disk::DISK && other.name != disk.name
                && other.name.rfind(disk.name, 0) == 0;
        });
        return displaced ? "the library leaves out a disk whose name begins the next one's"
                         : "the library reads /proc/partitions by groups of four words, and "
                           "further columns put it out of step";
    }

    void compareWith(LibraryAnswer const& answer, std::vector<Mount> const& mounts)
    {
        for (Mount const& mount : mounts) {
            LibraryRecord const* const record = findRecord(answer, "getDiskName", mount.mountPoint);
            if (!record) {
                addMissing(
                    answer, mount.mountPoint, "the library lists the mounts of devices in /dev");
                continue;
            }
            compareSizes(mount, *record);
            auto const disks = record->get<Texts>("getParentDisks");
            if (disks != mount.disks)
                add(mount.mountPoint, "disks", disks,
                    "the library finds only disks that it lists itself, beneath partitions such as "
                    "sda1 and not beneath md or LVM");
        }
    }

    void compareSizes(Mount const& mount, LibraryRecord const& record)
    {
        auto const size = record.get<uint64_t>("getDiskSizeInBytes");
        if (!mount.size || !mount.available)
            return;
        bool const escaped = record.get<std::string>("getDiskName") != mount.mountPoint;
        if (size != *mount.size)
            add(mount.mountPoint, "size_bytes", size,
                escaped ? "the library queries the kernel's escaped name, which is no folder"
                        : "the library counts 32 bits of the blocks, times the preferred block "
                          "size");
        // The free space changes while the two are read; the reserve does not.
        bool const hasReserve =
            mount.used && *mount.size - std::min(*mount.size, *mount.used) != *mount.available;
        auto const free = record.get<uint64_t>("getDiskFreeInBytes");
        if (escaped || (hasReserve && free != *mount.available))
            add(mount.mountPoint, "available_bytes", free,
                escaped ? "the library queries the kernel's escaped name, which is no folder"
                        : "the library counts the superuser's reserve as free");
    }

    void compareWith(LibraryAnswer const& answer, Networks const& networks)
    {
        std::set<std::string> servers;
        for (LibraryRecord const& record : answer.records)
            for (std::string const& server : record.get<Texts>("getDNSAddrs"))
                servers.insert(server);
        // The library reads them last.
        if (m_isComplete && networks.nameServers
            && servers != std::set(networks.nameServers->begin(), networks.nameServers->end()))
            add("", "name_servers", Texts(servers.begin(), servers.end()),
                "the library takes the word behind \"nameserver\" on every line of "
                "/etc/resolv.conf");
        for (Adapter const& adapter : networks.adapters)
            compareAdapter(answer, adapter);
    }

    void compareAdapter(LibraryAnswer const& answer, Adapter const& adapter)
    {
        Texts library;
        bool listed = false;
        size_t records = 0;
        // An alias is a separate record with its adapter's name.
        for (LibraryRecord const& record : answer.records) {
            if (record.get<std::string>("getName") != adapter.name)
                continue;
            ++records;
            listed = true;
            for (std::string const& address : record.get<Texts>("getIPAddrs"))
                library.push_back(address);
        }
        if (!listed) {
            addMissing(answer, adapter.name, "ifconfig does not list the adapter");
            return;
        }
        if (records > 1)
            add(adapter.name, "records", uint64_t{records},
                "the library reports an alias as an adapter of its own");
        std::set<std::string> own;
        for (Address const& address : adapter.addresses)
            own.insert(address.text);
        if (own != std::set(library.begin(), library.end()))
            add(adapter.name, "addresses", library,
                std::count(library.begin(), library.end(), "<invalid>") > 0
                    ? "the library cannot read the IPv6 addresses of net-tools before 2.0"
                    : "the library reads the output of ifconfig");
        if (!adapter.gateways.empty())
            add(adapter.name, "gateways", NOTHING, "the library traces gateways and stores none");
    }

    Machine const& m_machine;
    Subject m_subject = Subject::SYSTEM;
    bool m_isComplete = false; // Whether the library's query returned true.
    std::vector<Difference> m_differences;
};

}

std::vector<Difference> differencesOf(Machine const& machine)
{
    return Comparison(machine).all();
}

}
