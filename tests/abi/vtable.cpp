#include "tests/abi/vtable.h"

#include "tests/abi/ElfFile.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

namespace {

/** The symbols of the program and its libraries, at their addresses in this process. */
class Process {
public:
    /** The virtual table that @p address points into. */
    ElfFile::Symbol const& tableAt(uintptr_t address)
    {
        auto const& symbols = symbolsAround(address);
        auto const found = std::find_if(symbols.begin(), symbols.end(), [&](auto const& s) {
            return s.name.compare(0, 4, "_ZTV") == 0 && s.value <= address
                && address - s.value < s.size;
        });
        if (found == symbols.end())
            throw std::runtime_error("no virtual table at this address; is the file stripped?");
        return *found;
    }

    std::vector<std::string> namesAt(uintptr_t address)
    {
        std::vector<std::string> names;
        for (auto const& symbol : symbolsAround(address)) {
            if (symbol.value == address)
                names.push_back(symbol.name);
        }
        return names;
    }

private:
    /** Only of the file that contains @p address: a program may copy a library's table. */
    std::vector<ElfFile::Symbol> const& symbolsAround(uintptr_t address)
    {
        Dl_info info{};
        void* extra = nullptr;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): read from a table of pointers.
        auto const* const place = reinterpret_cast<void const*>(address);
        if (dladdr1(place, &info, &extra, RTLD_DL_LINKMAP) == 0)
            throw std::runtime_error("no file contains this address");
        auto const* const map = static_cast<link_map const*>(extra);
        auto const [file, isNew] = m_symbols.try_emplace(map->l_addr);
        if (isNew) {
            bool const program = !map->l_name || *map->l_name == '\0';
            file->second = ElfFile(program ? "/proc/self/exe" : map->l_name).allSymbols();
            for (auto& symbol : file->second)
                symbol.value += map->l_addr;
        }
        return file->second;
    }

    std::map<uintptr_t, std::vector<ElfFile::Symbol>> m_symbols; // By the file's load address.
};

uintptr_t pointerAt(uintptr_t address)
{
    uintptr_t value = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): computed from the table's address.
    std::memcpy(&value, reinterpret_cast<void const*>(address), sizeof value);
    return value;
}

std::string describe(Process& process, uintptr_t entry, std::string const& expected)
{
    constexpr intptr_t SMALLEST_OFFSET = -4096;
    auto const number = static_cast<intptr_t>(entry);
    if (number <= 0 && number > SMALLEST_OFFSET)
        return "offset " + std::to_string(number);
    std::vector<std::string> const names = process.namesAt(entry);
    if (std::find(names.begin(), names.end(), expected) != names.end())
        return expected;
    return names.empty() ? NO_SYMBOL : names.front();
}

std::vector<std::string> tableOf(void const* object, std::vector<std::string> const& expected)
{
    uintptr_t const pointer = pointerAt(reinterpret_cast<uintptr_t>(object));
    Process process;
    ElfFile::Symbol const table = process.tableAt(pointer);
    std::vector<std::string> entries;
    for (size_t at = 0; at < table.size; at += sizeof(void*)) {
        size_t const index = entries.size();
        entries.push_back(describe(process, pointerAt(table.value + at),
            index < expected.size() ? expected[index] : std::string()));
    }
    return entries;
}

}

void expectTable(void const* object, std::vector<std::string> const& expected)
{
    EXPECT_EQ(tableOf(object, expected), expected);
}

std::vector<std::string> singleTable(std::string const& type, std::vector<std::string> slots)
{
    slots.insert(slots.begin(), {"offset 0", "_ZTI" + type});
    return slots;
}

std::vector<std::string> recordTable(
    std::string const& name, std::vector<std::string> const& operations)
{
    std::string const NAMESPACE = "7sysinfo";
    std::string const thunk = "_ZThn" + std::to_string(sizeof(void*));
    bool const nested = name.compare(0, NAMESPACE.size(), NAMESPACE) == 0;
    std::string const type = "_ZTI" + (nested ? 'N' + name + 'E' : name);
    std::vector<std::string> table{"offset 0", type, "_ZN" + name + "D1Ev", "_ZN" + name + "D0Ev"};
    for (std::string const& operation : operations) {
        bool const changes = operation.front() == '!';
        std::string const plain = operation.substr(changes ? 1 : 0);
        table.push_back(
            (changes ? "_ZN" : "_ZNK") + name + std::to_string(plain.size()) + plain + "Ev");
    }
    // The Cloneable base lies one pointer after the start of the object.
    table.insert(table.end(),
        {"offset -" + std::to_string(sizeof(void*)), type, thunk + "_N" + name + "D1Ev",
            thunk + "_N" + name + "D0Ev", thunk + "_NK" + name + "5cloneEv",
            thunk + "_N" + name + "7destroyEv"});
    return table;
}
