#include "app/read/Reader.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace app {

namespace {

constexpr unsigned KHZ_PER_MHZ = 1000;
constexpr char const* NODES = "/sys/devices/system/node";

using Fields = std::map<std::string, std::string>;

/** The blocks of /proc/cpuinfo, "name : value" a line, a blank line behind each; proc(5). */
std::vector<Fields> blocksOf(std::string const& text)
{
    std::vector<Fields> blocks(1);
    for (std::string const& line : linesOf(text)) {
        size_t const colon = line.find(':');
        if (colon != std::string::npos)
            blocks.back().emplace(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
        else if (!blocks.back().empty())
            blocks.emplace_back();
    }
    if (blocks.back().empty())
        blocks.pop_back();
    return blocks;
}

std::optional<unsigned> narrowed(std::optional<uint64_t> number)
{
    return number && *number <= UINT32_MAX ? std::optional(static_cast<unsigned>(*number))
                                           : std::nullopt;
}

std::optional<unsigned> numberIn(Fields const& fields, char const* name)
{
    auto const field = fields.find(name);
    if (field == fields.end())
        return std::nullopt;
    // A speed is "2394.374".
    return narrowed(numberOf(field->second.substr(0, field->second.find('.'))));
}

/** The numbers of the processors that are online, from their lines "cpuN" in /proc/stat. */
std::set<unsigned> onlineProcessors(std::string const& stat)
{
    std::set<unsigned> numbers;
    for (std::string const& line : linesOf(stat))
        if (line.rfind("cpu", 0) == 0)
            if (auto const number = narrowed(numberOf(line.substr(3, line.find(' ') - 3))))
                numbers.insert(*number);
    return numbers;
}

/** "0-3,8" as its numbers; the kernel's list format, cpuset(7). */
std::set<unsigned> numbersIn(std::string const& path)
{
    constexpr unsigned MOST = 65536;
    std::set<unsigned> numbers;
    std::string parts = readLine(path).value_or("");
    for (char& c : parts)
        c = c == ',' ? ' ' : c;
    for (std::string const& part : wordsOf(parts)) {
        size_t const dash = part.find('-');
        auto const first = narrowed(numberOf(part.substr(0, dash)));
        auto const last =
            dash == std::string::npos ? first : narrowed(numberOf(part.substr(dash + 1)));
        if (!first || !last || *first > *last || *last >= MOST)
            noteUnusable(path, NO_VALUE);
        else
            for (unsigned number = *first; number <= *last; ++number)
                numbers.insert(number);
    }
    return numbers;
}

/** The NUMA node of each processor, /sys/devices/system/node/nodeN/cpulist. */
std::map<unsigned, unsigned> nodesOfProcessors(std::set<unsigned>& nodes)
{
    std::map<unsigned, unsigned> nodeOf;
    std::string const folder = NODES;
    for (std::string const& name : namesIn(folder).value_or(std::vector<std::string>())) {
        auto const node =
            name.rfind("node", 0) == 0 ? narrowed(numberOf(name.substr(4))) : std::nullopt;
        if (!node)
            continue;
        nodes.insert(*node);
        for (unsigned const processor :
            numbersIn(std::string(folder).append("/").append(name).append("/cpulist")))
            nodeOf[processor] = *node;
    }
    return nodeOf;
}

/** Drivers and hypervisors report a speed of 0 where they know none. */
std::optional<unsigned> notZero(std::optional<unsigned> speed)
{
    return speed == 0U ? std::nullopt : speed;
}

/** A speed in kHz; the kernel's admin-guide/pm/cpufreq. */
std::optional<unsigned> speed(std::string const& folder, char const* file)
{
    auto const khz =
        readNumber(folder + "/cpufreq/" + file, uint64_t{UINT32_MAX} * KHZ_PER_MHZ, "<unknown>");
    return khz ? notZero(narrowed(*khz / KHZ_PER_MHZ)) : std::nullopt;
}

std::string folderOf(Processor const& processor)
{
    return "/sys/devices/system/cpu/cpu" + std::to_string(processor.number);
}

/** @param fields the processor's block of /proc/cpuinfo, for what /sys does not have. */
void readTopology(Processor& processor, Fields const& fields)
{
    std::string const folder = folderOf(processor) + "/topology";
    // Machines without such a table in their firmware have -1.
    auto const number = [&folder](char const* file) {
        return narrowed(readNumber(folder + file, UINT32_MAX, "-1"));
    };
    processor.socket = number("/physical_package_id");
    processor.core = number("/core_id");
    if (!processor.socket)
        processor.socket = numberIn(fields, "physical id");
    if (!processor.core)
        processor.core = numberIn(fields, "core id");
}

void readSpeeds(Processor& processor, Fields const& fields)
{
    std::string const folder = folderOf(processor);
    processor.lowestMHz = speed(folder, "cpuinfo_min_freq");
    processor.currentMHz = speed(folder, "scaling_cur_freq");
    if (!processor.currentMHz)
        processor.currentMHz = notZero(numberIn(fields, "cpu MHz"));
    processor.highestMHz = speed(folder, "cpuinfo_max_freq");
}

/** Adds why speeds are unknown, once for all processors. */
void explainSpeeds(Machine& machine, UnreadableFiles const& unreadable)
{
    std::pair<char const*, std::optional<unsigned> Processor::*> const speeds[] = {
        {"lowest", &Processor::lowestMHz}, {"current", &Processor::currentMHz},
        {"highest", &Processor::highestMHz}};
    auto const& list = machine.processors->list;
    std::string names;
    bool hasDriver = true;
    for (auto const& [name, member] : speeds) {
        auto const unknown = std::find_if(list.begin(), list.end(),
            [member = member](Processor const& one) { return !(one.*member); });
        if (unknown == list.end())
            continue;
        names += (names.empty() ? "" : ", ") + std::string(name);
        hasDriver = hasDriver && exists(folderOf(*unknown) + "/cpufreq");
    }
    if (names.empty() || !unreadable.files.empty())
        addUnreadable(machine, Subject::PROCESSORS, "the speeds of the processors", unreadable);
    else
        machine.unavailable.push_back({Subject::PROCESSORS, "speeds (" + names + ")",
            hasDriver ? "the cpufreq driver does not report them"
                      : "the kernel has no cpufreq driver for the processors",
            "/sys/devices/system/cpu"});
}

/** Old processors fill their names up with blanks. */
std::string withSingleBlanks(std::string const& text)
{
    std::string joined;
    for (std::string const& word : wordsOf(text))
        joined += (joined.empty() ? "" : " ") + word;
    return joined;
}

std::optional<std::string> modelOf(std::vector<Fields> const& blocks)
{
    // x86 and new ARM kernels, old ARM kernels, MIPS, PowerPC, and the board of old ARM machines.
    for (char const* const name : {"model name", "Processor", "cpu model", "cpu", "Hardware"})
        for (Fields const& fields : blocks)
            if (auto const field = fields.find(name); field != fields.end())
                if (auto model = known(withSingleBlanks(field->second)))
                    return model;
    return std::nullopt;
}

void countParts(Processors& processors)
{
    std::set<unsigned> sockets;
    std::set<std::pair<unsigned, unsigned>> cores;
    for (Processor const& processor : processors.list) {
        if (!processor.socket || !processor.core)
            return;
        sockets.insert(*processor.socket);
        cores.insert({*processor.socket, *processor.core});
    }
    processors.sockets = static_cast<unsigned>(sockets.size());
    processors.cores = static_cast<unsigned>(cores.size());
}

}

namespace {

using Blocks = std::map<unsigned, Fields>;

void readNodes(Machine& machine)
{
    constexpr char const* FACT = "the NUMA nodes";
    UnreadableFiles const unreadable;
    std::set<unsigned> nodes;
    auto const nodeOf = nodesOfProcessors(nodes);
    Processors& processors = *machine.processors;
    for (Processor& processor : processors.list)
        if (auto const node = nodeOf.find(processor.number); node != nodeOf.end())
            processor.node = node->second;
    if (!nodes.empty()) {
        processors.nodes = static_cast<unsigned>(nodes.size());
        addUnreadable(machine, Subject::PROCESSORS, FACT, unreadable);
    } else {
        addUnknown(machine, Subject::PROCESSORS, FACT, unreadable, absenceIn(NODES), NODES);
    }
}

void readFacts(Machine& machine, Blocks& blockOf)
{
    Processors& processors = *machine.processors;
    {
        UnreadableFiles const unreadable;
        for (Processor& processor : processors.list)
            readTopology(processor, blockOf[processor.number]);
        countParts(processors);
        if (!processors.sockets)
            addUnknown(machine, Subject::PROCESSORS, "the sockets and cores", unreadable,
                "the kernel does not report them", "/sys/devices/system/cpu");
    }
    {
        UnreadableFiles const unreadable;
        for (Processor& processor : processors.list)
            readSpeeds(processor, blockOf[processor.number]);
        explainSpeeds(machine, unreadable);
    }
    readNodes(machine);
}

}

void readProcessors(Machine& machine)
{
    constexpr char const* CPUINFO = "/proc/cpuinfo";
    auto const stat = readFile("/proc/stat");
    if (!stat)
        addProblem(machine, Subject::PROCESSORS, "the processors", "/proc/stat");
    UnreadableFiles const unreadable;
    auto const blocks = blocksOf(readFile(CPUINFO).value_or(""));
    Blocks blockOf;
    for (Fields const& fields : blocks)
        if (auto const number = numberIn(fields, "processor"))
            blockOf[*number] = fields;
    std::set<unsigned> numbers = onlineProcessors(stat.value_or(""));
    if (numbers.empty())
        for (auto const& [number, fields] : blockOf)
            numbers.insert(number);
    if (numbers.empty()) {
        if (stat)
            machine.problems.push_back({Subject::PROCESSORS, "the processors",
                "it has no line of a processor", "/proc/stat"});
        return;
    }
    Processors& processors = machine.processors.emplace();
    processors.model = modelOf(blocks);
    if (!processors.model)
        addUnknown(machine, Subject::PROCESSORS, "the model of the processors", unreadable,
            absenceIn(CPUINFO), CPUINFO);
    for (unsigned const number : numbers)
        processors.list.emplace_back().number = number;
    readFacts(machine, blockOf);
}

}
