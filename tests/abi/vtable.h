#pragma once

#include <string>
#include <vector>

/** The entry of a function without a symbol, such as one inside the shipped libstdc++.so. */
constexpr char NO_SYMBOL[] = "unknown";

/**
 * Expects the class of @p object to have exactly the virtual table @p expected.
 *
 * The Itanium C++ ABI (section 2.5) gives the order: the primary table, then those of the other
 * bases. An entry is "offset N" (the offset to the top of the object), NO_SYMBOL, or the mangled
 * name of the function or type description that it points to. If an address has several names, as
 * a complete and a base destructor do, any of them matches.
 */
void expectTable(void const* object, std::vector<std::string> const& expected);

/**
 * @return the table of a class with one base at most.
 *
 * @param type the mangled name of the class: `8HostPipe`, `N6dovrel8UnixPipeE`.
 * @param slots mangled names, in order.
 */
std::vector<std::string> singleTable(std::string const& type, std::vector<std::string> slots);

/**
 * @return the table of a record class: the complete and the deleting destructor, the operations
 * that the class declares, then the second table, for pointers to its `Cloneable` base.
 *
 * @param name the mangled name of the class without the enclosing "N" and "E": `10DiskRecord`,
 * `7sysinfo21UNIXSystemInformation11UNIXCPUInfo`.
 * @param operations in slot order; those that are not `const` begin with '!'.
 */
std::vector<std::string> recordTable(
    std::string const& name, std::vector<std::string> const& operations);
