#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace sysinfo {

/** One processor's share of the kernel's accounts since boot, in clock ticks modulo 2^32. */
struct ProcessorCounters {
    uint32_t idle;
    uint32_t busy;
};

/**
 * Counts the processors that the text of /proc/stat (proc(5)) tells of: its words that begin with
 * "cpu" and end in a digit, on whichever line they stand. Linear in the text, whose words and lines
 * may be of any length.
 *
 * @param found called with each such word.
 */
uint32_t countProcessors(
    std::istream& text, std::function<void(std::string const& word)> const& found);

/**
 * Finds the first line whose first word begins with @p label and reads its first seven figures:
 * user, nice, system, idle, iowait, irq, softirq.
 *
 * A figure that is missing or no number counts as 0; one that passes 2^32 is taken modulo 2^32, as
 * the kernel's counters do after some weeks on a large machine.
 *
 * @return false, with @p out untouched, where no line matches.
 */
bool findProcessorCounters(std::istream& text, std::string_view label, ProcessorCounters& out);

}
