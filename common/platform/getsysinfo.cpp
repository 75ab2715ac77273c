#include "common/platform/getsysinfo.h"

#include "common/basic/SourceFile.h"
#include "common/basic/trimmed.h"
#include "common/platform/hypervisor.h"

#include <cpuid.h>
#include <cstring>

namespace {

/** Reads one of the firmware's strings and trims it. @return false if the file cannot be read or is
 * empty. */
bool readFirmwareText(char const* name, std::string& out)
{
    constexpr size_t MAX_SIZE = 4096; // A sysfs file contains at most one page.
    std::string const path = std::string("/sys/class/dmi/id/") + name;
    dovrel::SourceFile file(path.c_str());
    char text[MAX_SIZE];
    file.read(text, sizeof text);
    out = dovrel::trimmed({text, strnlen(text, static_cast<size_t>(file.gcount()))});
    return file.gcount() > 0;
}

/** @return false if the processor has no CPUID instruction. */
bool readCpuid(dovrel::HypervisorInputs& machine)
{
    constexpr unsigned FIRST_LEAF = 0x40000000;
    constexpr unsigned LEAF_DISTANCE = 0x100;
    constexpr unsigned LEAF_COUNT = 16;
    constexpr unsigned HYPERVISOR_PRESENT = 1U << 31;
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0)
        return false;
    machine.underHypervisor = (c & HYPERVISOR_PRESENT) != 0;
    for (unsigned i = 0; machine.underHypervisor && i < LEAF_COUNT; ++i) {
        unsigned const leaf = FIRST_LEAF + i * LEAF_DISTANCE;
        __cpuid(leaf, a, b, c, d);
        // EAX contains the highest leaf of the range; old versions of KVM leave it zero. For a
        // range that does not exist, the processor returns the registers of another leaf.
        bool const isRange = a >= leaf && a < leaf + LEAF_DISTANCE;
        if (!isRange && !(a == 0 && b != 0 && leaf == FIRST_LEAF))
            continue;
        unsigned const registers[] = {b, c, d};
        char signature[sizeof registers];
        std::memcpy(signature, registers, sizeof signature);
        machine.signatures.emplace_back(signature, strnlen(signature, sizeof signature));
    }
    return true;
}

void copyText(std::string const& text, char* out)
{
    std::string const cut = dovrel::cutText(text, DOVREL_GETSYSINFO_TEXT_SIZE - 1);
    std::memcpy(out, cut.c_str(), cut.size() + 1);
}

}

extern "C" [[gnu::weak]] int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    for (char* text : {vendor, product, version})
        std::memset(text, 0, DOVREL_GETSYSINFO_TEXT_SIZE);
    *code = 0;

    dovrel::HypervisorInputs machine;
    bool known = readFirmwareText("sys_vendor", machine.vendor);
    known |= readFirmwareText("product_name", machine.product);
    known |= readFirmwareText("product_version", machine.version);
    readFirmwareText("chassis_asset_tag", machine.assetTag);
    known |= readCpuid(machine);
    if (!known)
        return -1;
    copyText(machine.vendor, vendor);
    copyText(machine.product, product);
    copyText(machine.version, version);
    *code = dovrel::hypervisorCode(machine);
    return 0;
}
