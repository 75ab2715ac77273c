#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace sysinfo {

/** The time that a processor has spent since boot, in clock ticks modulo 2^32. */
struct ProcessorCounters {
    uint32_t idle;
    uint32_t busy;
};

/**
 * Counts the words of /proc/stat (proc(5)) that begin with "cpu" and end in a digit, on any line.
 *
 * @param found called with each such word.
 */
uint32_t countProcessors(
    std::istream& text, std::function<void(std::string const& word)> const& found);

/**
 * Finds the first line of /proc/stat (proc(5)) whose first word begins with @p label, and reads its
 * first seven figures: user, nice, system, idle, iowait, irq, softirq.
 *
 * A missing figure and one that is not a number count as 0, and so do the figures after it. Figures
 * are taken modulo 2^32: the kernel's counters exceed that on a large machine after some weeks.
 *
 * @return false, with @p out unchanged, if no line matches.
 */
bool findProcessorCounters(std::istream& text, std::string_view label, ProcessorCounters& out);

}
