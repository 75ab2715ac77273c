#pragma once

#include <elf.h>
#include <link.h>

#include <cstdint>
#include <string>
#include <vector>

/** A program or library file of this process's own architecture, read as elf(5) describes it. */
class ElfFile {
public:
    struct Symbol {
        std::string name;
        uintptr_t value;
        size_t size;
        unsigned char binding;
        unsigned char type;
    };

    /** @throws std::runtime_error where the file cannot be read or is of another kind. */
    explicit ElfFile(std::string const& path);

    /** The defined symbols, without those of files and sections. */
    std::vector<Symbol> dynamicSymbols() const { return definedSymbols(SHT_DYNSYM); }

    /** The same of all that are not exported too; empty in a stripped file. */
    std::vector<Symbol> allSymbols() const { return definedSymbols(SHT_SYMTAB); }

    /** The values of all dynamic entries with this tag, in their order. */
    std::vector<uintptr_t> dynamicValues(intptr_t tag) const;

    /** The texts of all dynamic entries with this tag, which must be one that has texts. */
    std::vector<std::string> dynamicTexts(intptr_t tag) const;

    /** The flags of the segments of this type. */
    std::vector<uint32_t> segmentFlags(uint32_t type) const;

private:
    std::vector<Symbol> definedSymbols(uint32_t tableType) const;
    std::vector<ElfW(Shdr)> sections(uint32_t type) const;
    ElfW(Shdr) section(size_t index) const;
    std::string text(ElfW(Shdr) const& table, size_t offset) const;
    template <class T> T read(size_t offset) const;

    std::string m_bytes;
    ElfW(Ehdr) m_header;
};
