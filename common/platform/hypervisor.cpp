#include "common/platform/hypervisor.h"

namespace dovrel {

namespace {

enum Code {
    NONE = 0,
    VMWARE = 1,
    HYPERV = 2,
    XEN = 3,
    KVM = 4,
    QEMU = 5,
    VIRTUALBOX = 6,
    PARALLELS = 7,
    OTHER = 8,
    BHYVE = 9,
    AMAZON = 10,
    AZURE = 11
};

constexpr std::string_view MICROSOFT_SIGNATURE = "Microsoft Hv";

struct Signature {
    std::string_view text;
    Code code;
};

constexpr Signature SIGNATURES[] = {
    {"VMwareVMware", VMWARE}, // Linux arch/x86/kernel/cpu/vmware.c
    {"XenVMMXenVMM", XEN}, // Xen public/arch-x86/cpuid.h
    {"KVMKVMKVM", KVM}, // Linux Documentation/virt/kvm/x86/cpuid.rst
    {"TCGTCGTCGTCG", QEMU}, // QEMU's own emulation, target/i386/cpu.c
    {"VBoxVBoxVBox", VIRTUALBOX}, // VirtualBox's manual, paravirtualisation interface "legacy"
    {" lrpepyh  vr", PARALLELS}, // "prl hyperv  " with the bytes of each register reversed
    {"prl hyperv  ", PARALLELS}, // The spelling of newer versions
    {"bhyve bhyve ", BHYVE}, // FreeBSD sys/amd64/vmm/x86.c
    {MICROSOFT_SIGNATURE, HYPERV}, // Microsoft's "Hypervisor Top Level Functions", leaf 0x40000000
};

/** A platform that the firmware identifies. Each string matches one that starts with it. */
struct Platform {
    std::string_view vendor;
    std::string_view product;
    std::string_view version;
    std::string_view assetTag;
    bool needsHypervisor; ///< Machines without a hypervisor have the same firmware strings.
    Code code;
};

constexpr Platform PLATFORMS[] = {
    // Microsoft, "Azure Instance Metadata Service": the tag of every virtual machine's chassis
    {"Microsoft Corporation", "Virtual Machine", "", "7783-7084-3265-9085-8269-3286-77", false,
        AZURE},
    // Microsoft, "Win32_ComputerSystem class": the model of a guest of Hyper-V
    {"Microsoft Corporation", "Virtual Machine", "", "", false, HYPERV},
    // Amazon, "Identify EC2 instances"; *.metal instances have no hypervisor
    {"Amazon EC2", "", "", "", true, AMAZON},
    // The same page; older instances run on Xen
    {"Xen", "HVM domU", "4.2.amazon", "", false, AMAZON},
    // VMware, knowledge base 1009458; "VMware Virtual Platform", "VMware7,1"
    {"VMware, Inc.", "VMware", "", "", false, VMWARE},
    // VirtualBox, src/VBox/Devices/PC/DevFwCommon.cpp; its signature depends on its settings
    {"innotek GmbH", "VirtualBox", "", "", false, VIRTUALBOX},
    // The same file, the vendor of the board
    {"Oracle Corporation", "VirtualBox", "", "", false, VIRTUALBOX},
    // systemd src/basic/virt.c; "Parallels Virtual Platform"
    {"Parallels", "Parallels", "", "", false, PARALLELS},
    // FreeBSD usr.sbin/bhyve/smbiostbl.c
    {"", "BHYVE", "", "", false, BHYVE},
    // Xen tools/firmware/hvmloader/smbios.c
    {"Xen", "HVM domU", "", "", false, XEN},
};

bool matches(Platform const& platform, HypervisorInputs const& machine)
{
    return machine.vendor.starts_with(platform.vendor)
        && machine.product.starts_with(platform.product)
        && machine.version.starts_with(platform.version)
        && machine.assetTag.starts_with(platform.assetTag)
        && (machine.underHypervisor || !platform.needsHypervisor);
}

Code codeOfSignature(std::string_view text)
{
    for (Signature const& signature : SIGNATURES)
        if (text.starts_with(signature.text))
            return signature.code;
    return OTHER;
}

}

int hypervisorCode(HypervisorInputs const& machine)
{
    for (Platform const& platform : PLATFORMS)
        if (matches(platform, machine))
            return platform.code;
    Code code = NONE;
    for (std::string const& signature : machine.signatures) {
        // Prefers a known signature to an unknown one, and any other to Microsoft's: other
        // hypervisors offer Microsoft's interface in addition to their own.
        Code const next = codeOfSignature(signature);
        bool const isBetter = code == NONE || code == HYPERV || (code == OTHER && next != HYPERV);
        if (isBetter)
            code = next;
    }
    if (code != NONE)
        return code;
    // QEMU's emulated processor may report no hypervisor.
    if (machine.vendor.starts_with("QEMU"))
        return QEMU;
    return machine.underHypervisor ? OTHER : NONE;
}

std::string cutText(std::string_view text, size_t longest)
{
    if (text.size() > longest) {
        auto const isContinuation = [](char c) { return (c & 0xC0) == 0x80; };
        while (longest > 0 && isContinuation(text[longest]))
            --longest;
        text = text.substr(0, longest);
    }
    return std::string(text);
}

}
