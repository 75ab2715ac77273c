#pragma once

#include <string>

namespace app {

/** Whether the order of lists counts. A redaction changes names, by which lists are sorted. */
enum class ListOrder { COUNTS, DOES_NOT_COUNT };

/** @return a line for each value in which two JSON documents differ: its path, the recorded and the
 * replayed value. Where one of them is no document, the only line says so. */
std::string documentDifferences(
    std::string const& recorded, std::string const& replayed, ListOrder order);

}
