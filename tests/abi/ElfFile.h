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
        /** As nm(1) writes it: "@@" and the default version, "@" and another one, or empty. */
        std::string version;
    };

    /** @throws std::runtime_error if the file cannot be read or is of another kind. */
    explicit ElfFile(std::string const& path);

    /** @return the defined dynamic symbols, without those of files and sections. A symbol that this
     * file copies from another file has no version here. */
    std::vector<Symbol> dynamicSymbols() const { return definedSymbols(SHT_DYNSYM); }

    /** @return the same with the local symbols; empty for a stripped file. */
    std::vector<Symbol> allSymbols() const { return definedSymbols(SHT_SYMTAB); }

    /** @return the names that the file defines and that the dynamic linker nevertheless looks up
     * for the file's own references, sorted and each once. */
    std::vector<std::string> ownNamesLookedUp() const;

    /** @return the versions that the file needs, of whichever library. */
    std::vector<std::string> neededVersions() const;

    /** @return the values of all dynamic entries with this tag, in order. */
    std::vector<uintptr_t> dynamicValues(intptr_t tag) const;

    /** @return the strings of all dynamic entries with this tag, whose values must be strings. */
    std::vector<std::string> dynamicStrings(intptr_t tag) const;

    /** @return the flags of each segment of this type. */
    std::vector<uint32_t> segmentFlags(uint32_t type) const;

private:
    std::vector<Symbol> definedSymbols(uint32_t tableType) const;
    /** @return the versions of the dynamic symbols in the order of their table. */
    std::vector<std::string> dynamicVersions() const;
    std::vector<std::string> definedVersions() const;
    /** @return the symbols of the relocations in tables of @p type; Entry is that type's. */
    template <class Entry> std::vector<ElfW(Sym)> relocatedSymbols(uint32_t type) const;
    std::vector<ElfW(Shdr)> sections(uint32_t type) const;
    ElfW(Shdr) section(size_t index) const;
    std::string stringAt(ElfW(Shdr) const& table, size_t offset) const;
    template <class T> T read(size_t offset) const;

    std::string m_bytes;
    ElfW(Ehdr) m_header;
};
