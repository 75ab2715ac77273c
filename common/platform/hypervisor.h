#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

/** What a machine says of itself, from which its hypervisor can be told. */
struct MachineTraits {
    /** Whether the processor says that a hypervisor is present (CPUID leaf 1, bit 31 of ECX). */
    bool underHypervisor = false;

    /** The signatures of twelve bytes that the hypervisor's CPUID leaves hold, in the order of the
     * leaves: those that offer another's interface show more than one. */
    std::vector<std::string> signatures;

    /** The firmware's texts (SMBIOS type 1, and the asset tag of type 3). */
    std::string vendor;
    std::string product;
    std::string version;
    std::string assetTag;
};

/**
 * @return the code that `getsysinfo` gives: 0 none, 8 one that is not known by name.
 *
 * The firmware's name of the platform goes first: a signature only names the interface that the
 * guest is offered. Among several signatures one that is not Microsoft's goes first, since others
 * offer Microsoft's interface beside their own.
 */
int hypervisorCode(MachineTraits const& machine);

/** Cuts a text to @p longest bytes, before a character of UTF-8 that would be cut in two. */
std::string cutText(std::string_view text, size_t longest);

}
