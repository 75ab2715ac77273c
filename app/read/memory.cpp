#include "app/read/Reader.h"
#include "app/read/kernel_file.h"

#include <limits>
#include <map>
#include <utility>

namespace app {

namespace {

/** The lines "Name: N kB" of /proc/meminfo, in bytes; proc(5). */
std::map<std::string, uint64_t> bytesByName(std::string const& text)
{
    constexpr uint64_t KIB = 1024;
    std::map<std::string, uint64_t> fields;
    for (std::string const& line : linesOf(text)) {
        size_t const colon = line.find(':');
        auto const words =
            wordsOf(colon == std::string::npos ? std::string() : line.substr(colon + 1));
        // Kernel 2.4 begins with a table of bytes, whose lines have no unit.
        if (words.size() != 2 || words[1] != "kB")
            continue;
        auto const number = numberOf(words[0]);
        if (number && *number <= std::numeric_limits<uint64_t>::max() / KIB)
            fields.emplace(trimmed(line.substr(0, colon)), *number * KIB);
    }
    return fields;
}

}

void readMemory(Machine& machine)
{
    constexpr char const* SOURCE = "/proc/meminfo";
    auto const text = readFile(SOURCE);
    if (!text) {
        addProblem(machine, Subject::MEMORY, "the memory", SOURCE);
        return;
    }
    auto const fields = bytesByName(*text);
    auto const field = [&fields](char const* name) {
        auto const found = fields.find(name);
        return found == fields.end() ? std::nullopt : std::optional(found->second);
    };
    Memory& memory = machine.memory.emplace();
    memory.total = field("MemTotal");
    // No machine has a memory of 0; some containers report it.
    if (memory.total == 0U)
        memory.total.reset();
    memory.free = field("MemFree");
    memory.available = field("MemAvailable");
    memory.buffers = field("Buffers");
    memory.caches = field("Cached");
    if (memory.caches)
        *memory.caches += field("SReclaimable").value_or(0);
    memory.swapTotal = field("SwapTotal");
    memory.swapFree = field("SwapFree");
    if (!memory.total || !memory.free)
        machine.problems.push_back({Subject::MEMORY, "the memory",
            memory.total            ? "it has no number of MemFree"
                : field("MemTotal") ? "its MemTotal is 0"
                                    : "it has no number of MemTotal",
            SOURCE});
    std::string unknown;
    std::pair<char const*, std::optional<uint64_t>> const others[] = {
        {"available memory", memory.available}, {"buffers", memory.buffers},
        {"caches", memory.caches}, {"swap", memory.swapUsed()}};
    for (auto const& [fact, value] : others)
        if (!value)
            unknown += (unknown.empty() ? "" : ", ") + std::string(fact);
    // Kernels before 3.14 do not report available memory.
    if (!unknown.empty())
        machine.unavailable.push_back({Subject::MEMORY, unknown,
            std::string(SOURCE) + " does not have "
                + (unknown.find(',') == std::string::npos ? "it" : "them"),
            SOURCE});
}

}
