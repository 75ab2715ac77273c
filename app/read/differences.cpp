#include "app/read/differences.h"

#include "app/read/DifferenceList.h"
#include "app/read/firmware_text.h"
#include "app/read/kernel_file.h"

#include <cctype>

namespace app {

namespace {

using OptionalText = std::optional<std::string>;

/** @return whether @p library is @p text with further blanks or lines. */
bool hasMoreLines(std::string const& library, std::string const& text)
{
    return library != text && trimmed(library.substr(0, library.find('\n'))) == text;
}

std::string whyOther(std::string const& fact, std::string const& library, OptionalText const& text)
{
    // 48 with the zero at the end; a character of UTF-8 is not cut in its middle.
    constexpr size_t LONGEST = 47;
    constexpr size_t SHORTEST = LONGEST - 3;
    if (text && library.size() < text->size() && library.size() >= SHORTEST
        && text->compare(0, library.size(), library) == 0)
        return "the library's texts have 47 bytes at most";
    if (text ? hasMoreLines(library, *text) : isPlaceholder(library))
        return "the library takes the firmware's text as it stands";
    // Only the product has another source.
    if (library.empty() && fact == "product")
        return "the library takes the firmware's text of DMI, which has none";
    return "";
}

void compareSystem(System const& system, DifferenceList& list)
{
    if (list.records().empty())
        return;
    LibraryRecord const& record = list.records().front();
    std::pair<char const*, OptionalText> const texts[] = {
        {"vendor", system.vendor}, {"product", system.product}, {"version", system.version}};
    for (auto const& [fact, text] : texts) {
        auto const library = record.get<std::string>(fact);
        // A query that failed leaves its outputs empty.
        if (library == text.value_or("") || (library.empty() && !list.isComplete()))
            continue;
        std::optional<LibraryValue> value;
        if (!library.empty())
            value = library;
        list.add("", fact, value, whyOther(fact, library, text));
    }
    constexpr char const* NAMES[] = {"none", "VMware", "Hyper-V", "Xen", "KVM", "QEMU",
        "VirtualBox", "Parallels", "other", "bhyve", "Amazon", "Azure"};
    auto const code = record.get<uint64_t>("hypervisor");
    std::string const name = code < std::size(NAMES) ? NAMES[code] : "unknown";
    bool const isUnset = code == 0 && !list.isComplete();
    if (system.virtualMachine && *system.virtualMachine != name && !isUnset)
        list.add("", "virtual_machine", name,
            name == "Azure" && system.virtualMachine == "Hyper-V"
                ? "the chassis's tag or the first adapter's MAC address is Azure's"
                : "");
}

/** @return how many processors the library counts in /proc/stat. */
size_t wordsOfProcessors(std::string const& stat)
{
    size_t count = 0;
    for (std::string const& word : wordsOf(stat))
        if (word.rfind("cpu", 0) == 0 && std::isdigit(static_cast<unsigned char>(word.back())))
            ++count;
    return count;
}

constexpr uint64_t MEGA = 1'000'000;

std::optional<uint64_t> hertzOf(std::optional<unsigned> megahertz)
{
    return megahertz ? std::optional(*megahertz * MEGA) : std::nullopt;
}

/** Without `getCurrentUsage`, which measures for 1 to 101 seconds. A current speed moves, so it is
 * compared only where the library has none. */
void compareProcessors(Processors const& processors, DifferenceList& list)
{
    auto const& records = list.records();
    if (list.isComplete() && records.size() != processors.list.size())
        list.add("", "count", uint64_t{records.size()},
            wordsOfProcessors(list.answer().source) == records.size()
                ? "the library counts the words of /proc/stat that begin with cpu and end in a "
                  "digit"
                : "");
    for (size_t i = 0; i < processors.list.size() && i < records.size(); ++i) {
        Processor const& processor = processors.list[i];
        std::string const item = std::to_string(processor.number);
        if (processor.number != i)
            list.add(
                item, "number", uint64_t{i}, "the library numbers processors from 0 without gaps");
        auto const highest = records[i].get<uint64_t>("getMaxSpeedInMHZ");
        list.compareNumber(item, "highest_hertz", hertzOf(processor.highestMHz), highest * MEGA,
            highest == 0 ? "the library finds no speed in cpufreq's bios_limit"
                         : "the library reports the firmware's limit, cpufreq's bios_limit");
        if (records[i].get<uint64_t>("getCurrentSpeedInMHZ") == 0)
            list.compareNumber(item, "current_hertz", hertzOf(processor.currentMHz), 0,
                "the library finds no speed in cpufreq's scaling_cur_freq");
    }
}

void compareMemory(Memory const& memory, DifferenceList& list)
{
    constexpr uint64_t KIB = 1024;
    if (list.records().empty())
        return;
    LibraryRecord const& record = list.records().front();
    auto const total = record.get<uint64_t>("totalKiB") * KIB;
    auto const free = record.get<uint64_t>("freeKiB") * KIB;
    // A query that failed leaves its outputs 0.
    if (total != 0 || list.isComplete())
        list.compareNumber("", "total_bytes", memory.total, total,
            memory.total && total > *memory.total
                ? "the library reports the sum of the installed modules where that is more than "
                  "the kernel's figure"
                : "");
    if (free != 0 || list.isComplete())
        list.compareMoving("", "free_bytes", memory.free, free, memory.total.value_or(0));
}

class Comparison {
public:
    explicit Comparison(Machine const& machine) : m_machine(machine) { }

    std::vector<Difference> all()
    {
        compare(Subject::SYSTEM, m_machine.system, compareSystem);
        compare(Subject::PROCESSORS, m_machine.processors, compareProcessors);
        compare(Subject::MEMORY, m_machine.memory, compareMemory);
        compare(Subject::DISKS, m_machine.disks, compareDisks);
        compare(Subject::MOUNTS, m_machine.mounts, compareMounts);
        compare(Subject::NETWORKS, m_machine.networks, compareNetworks);
        // A recovery has no other source than the library: without one there is no difference.
        if (m_machine.recovery)
            compare(Subject::RECOVERY, m_machine.recovery, compareRecovery);
        return std::move(m_differences);
    }

private:
    template <class Part, class Compare>
    void compare(Subject subject, std::optional<Part> const& part, Compare const& compareParts)
    {
        auto const found = m_machine.library.find(subject);
        if (found == m_machine.library.end())
            return;
        LibraryAnswer const& answer = found->second;
        DifferenceList list(subject, answer, !m_machine.hasProblem(subject), m_differences);
        if (!list.isComplete())
            list.add("", "", std::nullopt, answer.reason);
        // Without a record there is nothing to compare by item.
        if (part && (!answer.records.empty() || list.isComplete()))
            compareParts(*part, list);
    }

    Machine const& m_machine;
    std::vector<Difference> m_differences;
};

}

std::vector<Difference> differencesOf(Machine const& machine)
{
    return Comparison(machine).all();
}

}
