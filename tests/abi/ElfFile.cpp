#include "tests/abi/ElfFile.h"

#include <cstring>
#include <fstream>
#include <stdexcept>

namespace {

constexpr unsigned char OWN_CLASS = sizeof(void*) == 4 ? ELFCLASS32 : ELFCLASS64;

std::string contents(std::string const& path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::string bytes(file ? static_cast<size_t>(file.tellg()) : 0, '\0');
    file.seekg(0);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file || bytes.compare(0, SELFMAG, ELFMAG) != 0)
        throw std::runtime_error(path + " is not an ELF file");
    return bytes;
}

}

ElfFile::ElfFile(std::string const& path) : m_bytes(contents(path)), m_header(read<ElfW(Ehdr)>(0))
{
    if (m_header.e_ident[EI_CLASS] != OWN_CLASS)
        throw std::runtime_error(path + " is for another architecture");
}

std::vector<uintptr_t> ElfFile::dynamicValues(intptr_t tag) const
{
    std::vector<uintptr_t> values;
    for (auto const& table : sections(SHT_DYNAMIC)) {
        for (size_t at = 0; at < table.sh_size; at += sizeof(ElfW(Dyn))) {
            auto const entry = read<ElfW(Dyn)>(table.sh_offset + at);
            if (entry.d_tag == tag)
                values.push_back(entry.d_un.d_val);
        }
    }
    return values;
}

std::vector<std::string> ElfFile::dynamicStrings(intptr_t tag) const
{
    std::vector<std::string> names;
    for (auto const& table : sections(SHT_DYNAMIC)) {
        for (auto const offset : dynamicValues(tag))
            names.push_back(stringAt(section(table.sh_link), offset));
    }
    return names;
}

std::vector<uint32_t> ElfFile::segmentFlags(uint32_t type) const
{
    std::vector<uint32_t> flags;
    for (size_t i = 0; i < m_header.e_phnum; ++i) {
        auto const segment = read<ElfW(Phdr)>(m_header.e_phoff + i * sizeof(ElfW(Phdr)));
        if (segment.p_type == type)
            flags.push_back(segment.p_flags);
    }
    return flags;
}

std::vector<ElfFile::Symbol> ElfFile::definedSymbols(uint32_t tableType) const
{
    std::vector<Symbol> symbols;
    for (auto const& table : sections(tableType)) {
        for (size_t at = 0; at < table.sh_size; at += sizeof(ElfW(Sym))) {
            auto const symbol = read<ElfW(Sym)>(table.sh_offset + at);
            // 32-bit and 64-bit files pack binding and type in the same way.
            unsigned char const binding = ELF32_ST_BIND(symbol.st_info);
            unsigned char const type = ELF32_ST_TYPE(symbol.st_info);
            if (symbol.st_shndx == SHN_UNDEF || type == STT_FILE || type == STT_SECTION)
                continue;
            symbols.push_back({stringAt(section(table.sh_link), symbol.st_name), symbol.st_value,
                symbol.st_size, binding, type});
        }
    }
    return symbols;
}

std::vector<ElfW(Shdr)> ElfFile::sections(uint32_t type) const
{
    std::vector<ElfW(Shdr)> found;
    for (size_t i = 0; i < m_header.e_shnum; ++i) {
        if (section(i).sh_type == type)
            found.push_back(section(i));
    }
    return found;
}

ElfW(Shdr) ElfFile::section(size_t index) const
{
    return read<ElfW(Shdr)>(m_header.e_shoff + index * sizeof(ElfW(Shdr)));
}

std::string ElfFile::stringAt(ElfW(Shdr) const& table, size_t offset) const
{
    return m_bytes.c_str() + table.sh_offset + offset;
}

template <class T> T ElfFile::read(size_t offset) const
{
    T value;
    if (offset > m_bytes.size() || sizeof value > m_bytes.size() - offset)
        throw std::runtime_error("an ELF table extends beyond its file");
    std::memcpy(&value, m_bytes.data() + offset, sizeof value);
    return value;
}
