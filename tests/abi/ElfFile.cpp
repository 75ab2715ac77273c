#include "tests/abi/ElfFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace {

constexpr unsigned char OWN_CLASS = sizeof(void*) == 4 ? ELFCLASS32 : ELFCLASS64;

// The parts of an entry of .gnu.version: the version's index, and whether another one is the
// default.
constexpr unsigned VERSION_INDEX = 0x7fff;
constexpr unsigned VERSION_HIDDEN = 0x8000;

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
    auto versions = tableType == SHT_DYNSYM ? dynamicVersions() : std::vector<std::string>{};
    for (auto const& table : sections(tableType)) {
        versions.resize(table.sh_size / sizeof(ElfW(Sym)));
        for (size_t at = 0; at < table.sh_size; at += sizeof(ElfW(Sym))) {
            auto const symbol = read<ElfW(Sym)>(table.sh_offset + at);
            // 32-bit and 64-bit files pack binding and type in the same way.
            unsigned char const binding = ELF32_ST_BIND(symbol.st_info);
            unsigned char const type = ELF32_ST_TYPE(symbol.st_info);
            if (symbol.st_shndx == SHN_UNDEF || type == STT_FILE || type == STT_SECTION)
                continue;
            symbols.push_back({stringAt(section(table.sh_link), symbol.st_name), symbol.st_value,
                symbol.st_size, binding, type, versions[at / sizeof(ElfW(Sym))]});
        }
    }
    return symbols;
}

std::vector<std::string> ElfFile::ownNamesLookedUp() const
{
    auto symbols = relocatedSymbols<ElfW(Rel)>(SHT_REL);
    auto const more = relocatedSymbols<ElfW(Rela)>(SHT_RELA);
    symbols.insert(symbols.end(), more.begin(), more.end());
    auto const strings = section(sections(SHT_DYNSYM).at(0).sh_link);
    std::vector<std::string> names;
    for (auto const& symbol : symbols) {
        if (symbol.st_shndx != SHN_UNDEF)
            names.push_back(stringAt(strings, symbol.st_name));
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

template <class Entry> std::vector<ElfW(Sym)> ElfFile::relocatedSymbols(uint32_t type) const
{
    std::vector<ElfW(Sym)> symbols;
    for (auto const& table : sections(type)) {
        auto const dynamic = section(table.sh_link);
        for (size_t at = 0; at < table.sh_size; at += sizeof(Entry)) {
            auto const info = read<Entry>(table.sh_offset + at).r_info;
            size_t const index = sizeof info == 4 ? ELF32_R_SYM(info) : ELF64_R_SYM(uint64_t{info});
            // Index 0: an address in the file itself.
            if (index != 0)
                symbols.push_back(read<ElfW(Sym)>(dynamic.sh_offset + index * sizeof(ElfW(Sym))));
        }
    }
    return symbols;
}

std::vector<std::string> ElfFile::neededVersions() const
{
    std::vector<std::string> names;
    for (auto const& table : sections(SHT_GNU_verneed)) {
        size_t at = table.sh_offset;
        for (size_t files = table.sh_info; files > 0; --files) {
            auto const file = read<ElfW(Verneed)>(at);
            size_t inFile = at + file.vn_aux;
            for (size_t left = file.vn_cnt; left > 0; --left) {
                auto const version = read<ElfW(Vernaux)>(inFile);
                names.push_back(stringAt(section(table.sh_link), version.vna_name));
                inFile += version.vna_next;
            }
            at += file.vn_next;
        }
    }
    return names;
}

std::vector<std::string> ElfFile::dynamicVersions() const
{
    auto const names = definedVersions();
    std::vector<std::string> versions;
    for (auto const& table : sections(SHT_GNU_versym)) {
        for (size_t at = 0; at < table.sh_size; at += sizeof(ElfW(Half))) {
            auto const entry = read<ElfW(Half)>(table.sh_offset + at);
            size_t const index = entry & VERSION_INDEX;
            std::string const name = index < names.size() ? names[index] : "";
            char const* const sign = entry & VERSION_HIDDEN ? "@" : "@@";
            versions.push_back(name.empty() ? "" : sign + name);
        }
    }
    return versions;
}

std::vector<std::string> ElfFile::definedVersions() const
{
    std::vector<std::string> names;
    for (auto const& table : sections(SHT_GNU_verdef)) {
        size_t at = table.sh_offset;
        for (size_t left = table.sh_info; left > 0; --left) {
            auto const version = read<ElfW(Verdef)>(at);
            auto const name = read<ElfW(Verdaux)>(at + version.vd_aux);
            names.resize(std::max<size_t>(names.size(), version.vd_ndx + 1U));
            // The base is the file's own name: a symbol with its index has no version.
            if (!(version.vd_flags & VER_FLG_BASE))
                names[version.vd_ndx] = stringAt(section(table.sh_link), name.vda_name);
            at += version.vd_next;
        }
    }
    return names;
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
