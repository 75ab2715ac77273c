#include "app/read/virtualization.h"
#include "tests/app/read/FakeSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

using app::container;
using app::virtualMachine;
using app_read_test::Files;
using app_read_test::writeFiles;
using testkit::machine;

namespace {

constexpr char const* CLOCKS = "/sys/devices/system/clocksource/clocksource0/available_clocksource";
constexpr char const* BARE_METAL = "processor\t: 0\nflags\t\t: fpu vme\n";
constexpr char const* GUEST = "processor\t: 0\nflags\t\t: fpu hypervisor vme\n";

/** The hypervisor of a machine whose firmware has these texts. */
std::optional<std::string> withFirmware(Files const& texts)
{
    machine.empty();
    machine.file("/proc/cpuinfo", BARE_METAL);
    writeFiles("/sys/class/dmi/id", texts);
    return virtualMachine();
}

}

TEST(VirtualMachine, isNamedByTheFirmware)
{
    std::pair<Files, char const*> const signs[] = {
        {{{"sys_vendor", "Amazon EC2"}}, "Amazon"},
        {{{"product_name", "Google Compute Engine"}}, "Google"},
        {{{"product_name", "KVM"}}, "KVM"},
        {{{"product_name", "OpenStack Nova"}}, "KVM"},
        {{{"board_vendor", "Red Hat KVM"}}, "KVM"},
        {{{"sys_vendor", "QEMU"}}, "QEMU"},
        {{{"bios_vendor", "Bochs"}}, "QEMU"},
        {{{"product_name", "VMware Virtual Platform"}}, "VMware"},
        {{{"product_name", "VMW71.00V"}}, "VMware"},
        {{{"sys_vendor", "innotek GmbH"}}, "VirtualBox"},
        {{{"product_name", "VirtualBox"}}, "VirtualBox"},
        {{{"sys_vendor", "Xen"}}, "Xen"},
        {{{"sys_vendor", "Parallels Software"}}, "Parallels"},
        {{{"bios_vendor", "BHYVE"}}, "bhyve"},
        {{{"product_version", "Hyper-V UEFI Release"}}, "Hyper-V"},
        {{{"product_name", "Apple Virtualization Generic Platform"}}, "Apple"},
    };
    for (auto const& [texts, name] : signs)
        EXPECT_EQ(withFirmware(texts), name) << texts[0].second;
}

TEST(VirtualMachine, isHyperVOnlyOnTheVirtualProductOfItsVendor)
{
    EXPECT_EQ(withFirmware(
                  {{"sys_vendor", "Microsoft Corporation"}, {"product_name", "Virtual Machine"}}),
        "Hyper-V");
    EXPECT_EQ(withFirmware({{"sys_vendor", "Microsoft Corporation"}, {"product_name", "Surface"}}),
        "none");
}

TEST(VirtualMachine, isNoneOnARealMachineOfAVendorOfVirtualOnes)
{
    EXPECT_EQ(withFirmware({{"sys_vendor", "Google"}, {"product_name", "Eve"}}), "none");
    for (char const* const product : {"m5.metal", "m7i.metal-24xl"})
        EXPECT_EQ(withFirmware({{"sys_vendor", "Amazon EC2"}, {"product_name", product}}), "none");
    EXPECT_EQ(withFirmware({{"sys_vendor", "Amazon EC2"}, {"product_name", "m5.large"}}), "Amazon");
}

TEST(VirtualMachine, isNotNamedByAWordInTheMiddle)
{
    EXPECT_EQ(withFirmware({{"product_name", "Rocket for VMware"}}), "none");
}

TEST(VirtualMachine, isNamedByItsClock)
{
    std::pair<char const*, char const*> const clocks[] = {{"kvm-clock tsc acpi_pm", "KVM"},
        {"tsc hyperv_clocksource_tsc_page", "Hyper-V"}, {"xen tsc", "Xen"}};
    for (auto const& [clock, name] : clocks) {
        machine.file(CLOCKS, std::string(clock) + "\n");
        EXPECT_EQ(virtualMachine(), name) << clock;
    }
}

TEST(VirtualMachine, isKvmWhereQemusFirmwareHasItsClock)
{
    writeFiles("/sys/class/dmi/id", {{"sys_vendor", "QEMU"}});
    machine.file(CLOCKS, "kvm-clock tsc\n");
    EXPECT_EQ(virtualMachine(), "KVM");
}

TEST(VirtualMachine, isXenWhereItsInterfaceSaysSo)
{
    machine.file("/proc/cpuinfo", BARE_METAL);
    machine.file("/sys/hypervisor/type", "xen\n");
    EXPECT_EQ(virtualMachine(), "Xen");
}

TEST(VirtualMachine, isAnotherOneByTheFlagOfTheProcessor)
{
    machine.file("/proc/cpuinfo", GUEST);
    EXPECT_EQ(virtualMachine(), "other");
}

TEST(VirtualMachine, isNoneWhereTheProcessorHasNoFlagOfAGuest)
{
    machine.file("/proc/cpuinfo", BARE_METAL);
    machine.file(CLOCKS, "tsc hpet acpi_pm\n");
    EXPECT_EQ(virtualMachine(), "none");
}

TEST(VirtualMachine, isUnknownOnAProcessorWithoutFlags)
{
    machine.file("/proc/cpuinfo", "processor : 0\nFeatures : fp asimd\n");
    EXPECT_EQ(virtualMachine(), std::nullopt);
}

TEST(Container, isNamedByTheFileOfItsManager)
{
    machine.file("/run/systemd/container", "lxc\n");
    EXPECT_EQ(container(), "lxc");
    machine.remove("/run/systemd/container");
    machine.file("/run/.containerenv", "");
    EXPECT_EQ(container(), "podman");
}

TEST(Container, isDockerByItsFileInTheRoot)
{
    machine.file("/.dockerenv", "");
    EXPECT_EQ(container(), "docker");
}

TEST(Container, isOpenvzButNotOnItsHost)
{
    machine.folder("/proc/vz");
    EXPECT_EQ(container(), "openvz");
    machine.folder("/proc/bc");
    EXPECT_EQ(container(), "none");
}

TEST(Container, isNamedByTheEnvironmentOfTheFirstProcess)
{
    using namespace std::string_literals;
    machine.file("/proc/1/environ", "A=1\0container=lxc\0B=2"s);
    EXPECT_EQ(container(), "lxc");
    machine.file("/proc/1/environ", "mycontainer=x\0container="s);
    EXPECT_EQ(container(), "none");
}

TEST(Container, isUnknownWhereTheEnvironmentOfTheFirstProcessIsHidden)
{
    machine.file("/proc/1/environ", "A=1");
    ASSERT_EQ(chmod("/proc/1/environ", 0), 0);
    EXPECT_EQ(container(), std::nullopt);
    machine.folder("/run/systemd/system");
    EXPECT_EQ(container(), "none") << "systemd would have left its file";
}

TEST(Container, isNoneWithoutASign)
{
    EXPECT_EQ(container(), "none");
}
