#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/**
 * A second opinion on the kernel's texts, for tests that compare the library with it on files whose
 * contents nobody has written down. It shares no code with the library, and reads line by line
 * where the library reads byte by byte. Every file's sums must fit into 64 bits.
 */
namespace testkit {

struct ProcStatLine {
    unsigned int index;
    uint32_t idle; // Modulo 2^32.
    uint32_t busy; // Modulo 2^32.
    size_t figures;
};

struct ProcStat {
    std::vector<ProcStatLine> processors;
    uint64_t sumOfAllProcessors = 0; // All figures of the line "cpu".
};

ProcStat readProcStat(std::string const& text);

/** A listing of files: path, tab, contents. */
std::map<std::string, std::string> readListing(std::string const& text);

/** @return the number that the text begins with, in thousands; 0 without one. */
unsigned int thousandsOf(std::string const& text);

/** One file of the collection of other machines' texts. */
struct Capture {
    std::string path;
    std::string tool;
    std::map<std::string, std::string> facts;
};

/** Reads the collection's index: columns between tabs, named by the first line. */
std::vector<Capture> readIndex(std::string const& text);

}
