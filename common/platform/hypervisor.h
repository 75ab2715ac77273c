#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

/** Inputs of the hypervisor detection. */
struct HypervisorInputs {
    /** Whether the processor reports a hypervisor (CPUID leaf 1, bit 31 of ECX). */
    bool underHypervisor = false;

    /** The twelve-byte signatures of the hypervisor's CPUID leaves, in the order of the leaves. A
     * hypervisor that also offers the interface of another has more than one. */
    std::vector<std::string> signatures;

    /** The firmware's strings (SMBIOS type 1, and the asset tag of type 3). */
    std::string vendor;
    std::string product;
    std::string version;
    std::string assetTag;
};

/**
 * @return the code of `getsysinfo`: 0 for no hypervisor, 8 for an unknown one.
 *
 * The firmware's strings take precedence: a signature only identifies the interface that the guest
 * sees. Among several signatures, any other takes precedence over Microsoft's, because other
 * hypervisors offer Microsoft's interface in addition to their own.
 */
int hypervisorCode(HypervisorInputs const& machine);

/** @return @p text, cut to at most @p longest bytes between two UTF-8 characters. */
std::string cutText(std::string_view text, size_t longest);

}
