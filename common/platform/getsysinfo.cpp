#include "common/platform/getsysinfo.h"

#include "common/basic/SourceFile.h"
#include "common/platform/hypervisor.h"

#include <cpuid.h>
#include <cstring>

namespace {

/** One of the firmware's texts, without blanks at its ends. @return false where it cannot be read.
 */
bool readFirmwareText(char const* name, std::string& out)
{
    constexpr size_t LONGEST = 4096; // The kernel gives a page at most.
    constexpr char BLANKS[] = " \t\r\n";
    std::string const path = std::string("/sys/class/dmi/id/") + name;
    dovrel::SourceFile file(path.c_str());
    char text[LONGEST];
    file.read(text, sizeof text);
    out.assign(text, strnlen(text, static_cast<size_t>(file.gcount())));
    out.erase(out.find_last_not_of(BLANKS) + 1);
    out.erase(0, std::min(out.find_first_not_of(BLANKS), out.size()));
    return file.gcount() > 0;
}

/** @return false where the processor has no such instruction. */
bool readProcessor(dovrel::MachineTraits& machine)
{
    constexpr unsigned FIRST_LEAF = 0x40000000;
    constexpr unsigned LEAF_DISTANCE = 0x100;
    constexpr unsigned LEAVES_LOOKED_AT = 16;
    constexpr unsigned HYPERVISOR_PRESENT = 1U << 31;
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0)
        return false;
    machine.underHypervisor = (c & HYPERVISOR_PRESENT) != 0;
    for (unsigned i = 0; machine.underHypervisor && i < LEAVES_LOOKED_AT; ++i) {
        unsigned const leaf = FIRST_LEAF + i * LEAF_DISTANCE;
        __cpuid(leaf, a, b, c, d);
        // The first register is the highest leaf of the range; old versions of KVM left it zero.
        // Where there is no such range a processor answers with another leaf's registers.
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
    std::string const cut = dovrel::cutText(text, GETSYSINFO_TEXT_SIZE - 1);
    std::memcpy(out, cut.c_str(), cut.size() + 1);
}

}

extern "C" [[gnu::weak]] int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    for (char* text : {vendor, product, version})
        std::memset(text, 0, GETSYSINFO_TEXT_SIZE);
    *code = 0;

    dovrel::MachineTraits machine;
    bool known = readFirmwareText("sys_vendor", machine.vendor);
    known |= readFirmwareText("product_name", machine.product);
    known |= readFirmwareText("product_version", machine.version);
    readFirmwareText("chassis_asset_tag", machine.assetTag);
    known |= readProcessor(machine);
    if (!known)
        return -1;
    copyText(machine.vendor, vendor);
    copyText(machine.product, product);
    copyText(machine.version, version);
    *code = dovrel::hypervisorCode(machine);
    return 0;
}
