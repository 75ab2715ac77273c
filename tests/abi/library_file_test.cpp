#include "tests/abi/ElfFile.h"
#include "tests/abi/library.h"

#include <gtest/gtest.h>

#include <cxxabi.h>
#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>

// The dynamic sections and segments of the library's file and of the program's.

namespace {

class LibraryFile : public testing::Test {
protected:
    ElfFile const file{libraryPath()};
};

/** @param symbol a mangled name, with or without its version. */
std::string readable(std::string const& symbol)
{
    int status = 0;
    std::string const mangled = symbol.substr(0, symbol.find('@'));
    std::unique_ptr<char, decltype(&std::free)> const text(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? symbol + "  " + text.get() : symbol;
}

/**
 * @return whether @p symbol is a table or type description. The compiler emits those of a class
 * without a key function where the optimiser needs them, so build types differ; hosts have their
 * own. The list has those of the other classes.
 */
bool mayDependOnTheOptimiser(ElfFile::Symbol const& symbol)
{
    return symbol.binding == STB_WEAK && symbol.name.compare(0, 3, "_ZT") == 0
        && symbol.name.compare(0, 4, "_ZTh") != 0;
}

std::vector<std::string> listedNames()
{
    std::ifstream file(EXPORTED_NAMES);
    std::vector<std::string> names;
    for (std::string line; std::getline(file, line);)
        names.push_back(line);
    return names;
}

/** @return the names in sysinfo/interposable.map, sorted. */
std::vector<std::string> interposableNames()
{
    std::ifstream file(INTERPOSABLE_NAMES);
    std::vector<std::string> names;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.front() == ' ')
            names.push_back(line.substr(4, line.size() - 5));
    }
    std::sort(names.begin(), names.end());
    return names;
}

void expectNone(std::vector<std::string> const& a, std::vector<std::string> const& butNotIn,
    char const* complaint)
{
    std::vector<std::string> difference;
    std::set_difference(
        a.begin(), a.end(), butNotIn.begin(), butNotIn.end(), std::back_inserter(difference));
    for (auto const& name : difference)
        ADD_FAILURE() << complaint << ": " << readable(name);
}

TEST_F(LibraryFile, exportsExactlyTheListedNames)
{
    std::vector<std::string> exported;
    std::vector<std::string> exportedByEveryBuild;
    for (auto const& symbol : file.dynamicSymbols()) {
        exported.push_back(symbol.name + symbol.version);
        if (!mayDependOnTheOptimiser(symbol))
            exportedByEveryBuild.push_back(exported.back());
    }
    std::sort(exported.begin(), exported.end());
    std::sort(exportedByEveryBuild.begin(), exportedByEveryBuild.end());
    auto const listed = listedNames();
    ASSERT_FALSE(listed.empty()) << "no list at " << EXPORTED_NAMES;
    ASSERT_TRUE(std::is_sorted(listed.begin(), listed.end()));
    expectNone(exportedByEveryBuild, listed, "exported but not listed");
    expectNone(listed, exported, "listed but not exported");
}

TEST_F(LibraryFile, givesEveryNameItsVersion)
{
    // Those that the list leaves to the optimiser, too.
    for (auto const& symbol : file.dynamicSymbols())
        EXPECT_EQ(symbol.version, "@@DOVREL_1") << readable(symbol.name);
}

TEST_F(LibraryFile, isSearchedWithAndWithoutAVersion)
{
    void* const library = dlopen(libraryPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    for (char const* name : {"libopen", "libclose", "getsysinfo"}) {
        void* const found = dlsym(library, name);
        EXPECT_NE(found, nullptr) << name;
        EXPECT_EQ(found, dlvsym(library, name, "DOVREL_1")) << name;
    }
    dlclose(library);
}

TEST_F(LibraryFile, exportsNoNamesOfStdOrBoost)
{
    for (auto const& symbol : file.dynamicSymbols()) {
        std::string const name = readable(symbol.name);
        // Mangled: names that begin with std:: or its abbreviations, or with boost::.
        for (char const* prefix : {"_ZNSt", "_ZNKSt", "_ZSt", "_ZTVSt", "_ZTISt", "_ZTSSt",
                 "_ZTVNSt", "_ZTINSt", "_ZTSNSt", "_ZNSs", "_ZN5boost", "_ZNK5boost", "_ZTVN5boost",
                 "_ZTIN5boost", "_ZTSN5boost", "_ZGVZN5boost", "_ZN9__gnu_cxx"}) {
            EXPECT_NE(symbol.name.compare(0, std::char_traits<char>::length(prefix), prefix), 0)
                << name;
        }
    }
}

TEST_F(LibraryFile, hasNoSymbolThatPreventsUnloading)
{
    for (auto const& symbol : file.dynamicSymbols())
        EXPECT_NE(symbol.binding, STB_GNU_UNIQUE) << readable(symbol.name);
}

TEST_F(LibraryFile, dependsOnlyOnTheRunTimeAndBoostFilesystem)
{
    auto needed = file.dynamicStrings(DT_NEEDED);
#ifdef __SANITIZE_ADDRESS__
    // The sanitizers' build adds these two and no other.
    EXPECT_EQ(std::erase(needed, "libasan.so.8"), 1U);
    EXPECT_EQ(std::erase(needed, "libubsan.so.1"), 1U);
#endif
    EXPECT_EQ(needed,
        (std::vector<std::string>{
            "libboost_filesystem.so.1.74.0", "libstdc++.so.6", "libgcc_s.so.1", "libc.so.6"}));
}

TEST_F(LibraryFile, looksUpOnlyThoseOfItsOwnNamesThatAHostMayReplaceOrCopy)
{
    // Each further name costs time at loading, and would let a host's name replace the library's.
    EXPECT_EQ(file.ownNamesLookedUp(), interposableNames());
}

TEST_F(LibraryFile, hasNoRunPath)
{
    EXPECT_TRUE(file.dynamicStrings(DT_RPATH).empty());
    EXPECT_TRUE(file.dynamicStrings(DT_RUNPATH).empty());
}

TEST(ProgramFile, hasARunPathRelativeToItself)
{
    // An empty entry would be the working directory, even when root starts the program.
    ElfFile const program(DOVREL_PROGRAM);
    EXPECT_TRUE(program.dynamicStrings(DT_RPATH).empty());
    EXPECT_EQ(program.dynamicStrings(DT_RUNPATH), std::vector<std::string>{"$ORIGIN/../lib"});
}

TEST_F(LibraryFile, resolvesItsSymbolsAtLoadTime)
{
    EXPECT_EQ(file.segmentFlags(PT_GNU_RELRO).size(), 1U);
    auto const flags = file.dynamicValues(DT_FLAGS);
    ASSERT_EQ(flags.size(), 1U);
    EXPECT_TRUE(flags[0] & DF_BIND_NOW);
}

TEST_F(LibraryFile, hasNoWritableCode)
{
    EXPECT_TRUE(file.dynamicValues(DT_TEXTREL).empty());
    for (auto const flags : file.dynamicValues(DT_FLAGS))
        EXPECT_FALSE(flags & DF_TEXTREL);
    for (auto const flags : file.segmentFlags(PT_LOAD))
        EXPECT_NE(flags & (PF_W | PF_X), static_cast<uint32_t>(PF_W | PF_X));
}

TEST_F(LibraryFile, needsNoExecutableStack)
{
    EXPECT_EQ(file.segmentFlags(PT_GNU_STACK), (std::vector<uint32_t>{PF_R | PF_W}));
}

}
