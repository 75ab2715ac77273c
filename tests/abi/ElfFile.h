#pragma once

#include <elf.h>
#include <link.h>

#include <cstdint>
#include <string>
#include <vector>

/** A program or library file of this process's architecture; see elf(5). */
class ElfFile {
public:
    struct Symbol {
        std::string name;
        uintptr_t value;
        size_t size;
        unsigned char binding;
        unsigned char type;
    };

    /** @throws std::runtime_error if the file cannot be read or is of another kind. */
    explicit ElfFile(std::string const& path);

    /** @return the defined dynamic symbols, without those of files and sections. */
    std::vector<Symbol> dynamicSymbols() const { return definedSymbols(SHT_DYNSYM); }

    /** @return the same with the local symbols; empty for a stripped file. */
    std::vector<Symbol> allSymbols() const { return definedSymbols(SHT_SYMTAB); }

    /** @return the values of all dynamic entries with this tag, in order. */
    std::vector<uintptr_t> dynamicValues(intptr_t tag) const;

    /** @return the strings of all dynamic entries with this tag, whose values must be strings. */
    std::vector<std::string> dynamicStrings(intptr_t tag) const;

    /** @return the flags of each segment of this type. */
    std::vector<uint32_t> segmentFlags(uint32_t type) const;

private:
    std::vector<Symbol> definedSymbols(uint32_t tableType) const;
    std::vector<ElfW(Shdr)> sections(uint32_t type) const;
    ElfW(Shdr) section(size_t index) const;
    std::string stringAt(ElfW(Shdr) const& table, size_t offset) const;
    template <class T> T read(size_t offset) const;

    std::string m_bytes;
    ElfW(Ehdr) m_header;
};
