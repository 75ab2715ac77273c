#pragma once

#include <string>
#include <vector>

/**
 * The whole virtual table of a living object's class, entry by entry, as the Itanium C++ ABI
 * (section 2.5) lays it out: the primary table, then those of the other bases.
 *
 * An entry reads "offset N" (the offset to the top of the object) or is the mangled name of what it
 * points to. Where several names stand for one address, as those of a complete and a base
 * destructor do, it is the one that @p expected has in that place.
 */
std::vector<std::string> vtableOf(void const* object, std::vector<std::string> const& expected);

/**
 * What the table of a record class has to be: destructor (complete, deleting), the operations that
 * the class declares, then the second table, for holders of the `Cloneable` side.
 *
 * @param name the mangled name of the class, without what encloses it: `10DiskRecord`,
 * `7sysinfo21UNIXSystemInformation11UNIXCPUInfo`.
 * @param operations in slot order; those that are not `const` carry a leading '!'.
 */
std::vector<std::string> recordTable(
    std::string const& name, std::vector<std::string> const& operations);
