#include "common/platform/hypervisor.h"

#include "sysinfo/SystemInformation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using dovrel::cutText;
using dovrel::hypervisorCode;
using dovrel::HypervisorInputs;
using System = sysinfo::SystemInformation;

namespace {

constexpr char AZURE_TAG[] = "7783-7084-3265-9085-8269-3286-77";

HypervisorInputs withSignatures(std::vector<std::string> signatures)
{
    HypervisorInputs machine;
    machine.underHypervisor = true;
    machine.signatures = std::move(signatures);
    return machine;
}

HypervisorInputs withFirmware(
    std::string vendor, std::string product, std::string version = "", std::string assetTag = "")
{
    HypervisorInputs machine = withSignatures({"KVMKVMKVM"});
    machine.vendor = std::move(vendor);
    machine.product = std::move(product);
    machine.version = std::move(version);
    machine.assetTag = std::move(assetTag);
    return machine;
}

}

TEST(HypervisorCode, isNoneWithoutSignatureAndKnownFirmware)
{
    EXPECT_EQ(hypervisorCode({}), System::HYPERVISOR_NONE);
    HypervisorInputs bare;
    bare.vendor = "Dell Inc.";
    bare.product = "PowerEdge R740";
    EXPECT_EQ(hypervisorCode(bare), System::HYPERVISOR_NONE);
}

TEST(HypervisorCode, isOtherForAnUnknownHypervisor)
{
    EXPECT_EQ(hypervisorCode(withSignatures({})), System::HYPERVISOR_OTHER);
    for (std::string const signature : {"ACRNACRNACRN", "SomeSomeSome", "", "kvmkvmkvm", "KVMKVM"})
        EXPECT_EQ(hypervisorCode(withSignatures({signature})), System::HYPERVISOR_OTHER)
            << signature;
}

TEST(HypervisorCode, isDetectedFromTheSignature)
{
    struct {
        char const* signature;
        System::HypervisorType type;
    } const rows[] = {{"VMwareVMware", System::HYPERVISOR_VMWARE},
        {"XenVMMXenVMM", System::HYPERVISOR_XEN}, {"KVMKVMKVM", System::HYPERVISOR_KVM},
        {"TCGTCGTCGTCG", System::HYPERVISOR_QEMU}, {"VBoxVBoxVBox", System::HYPERVISOR_VIRTUALBOX},
        {" lrpepyh  vr", System::HYPERVISOR_PARALLELS},
        {"prl hyperv  ", System::HYPERVISOR_PARALLELS}, {"bhyve bhyve ", System::HYPERVISOR_BHYVE},
        {"Microsoft Hv", System::HYPERVISOR_HYPERV}};
    for (auto const& row : rows)
        EXPECT_EQ(hypervisorCode(withSignatures({row.signature})), row.type) << row.signature;
}

TEST(HypervisorCode, prefersAKnownSignatureAndAnyOtherToMicrosofts)
{
    EXPECT_EQ(
        hypervisorCode(withSignatures({"Microsoft Hv", "KVMKVMKVM"})), System::HYPERVISOR_KVM);
    EXPECT_EQ(
        hypervisorCode(withSignatures({"KVMKVMKVM", "Microsoft Hv"})), System::HYPERVISOR_KVM);
    EXPECT_EQ(
        hypervisorCode(withSignatures({"Microsoft Hv", "XenVMMXenVMM"})), System::HYPERVISOR_XEN);
    EXPECT_EQ(
        hypervisorCode(withSignatures({"SomeSomeSome", "Microsoft Hv"})), System::HYPERVISOR_OTHER);
    EXPECT_EQ(
        hypervisorCode(withSignatures({"Microsoft Hv", "SomeSomeSome"})), System::HYPERVISOR_OTHER);
    EXPECT_EQ(
        hypervisorCode(withSignatures({"SomeSomeSome", "bhyve bhyve "})), System::HYPERVISOR_BHYVE);
    EXPECT_EQ(
        hypervisorCode(withSignatures({"VMwareVMware", "KVMKVMKVM"})), System::HYPERVISOR_VMWARE);
}

TEST(HypervisorCode, prefersTheFirmwareToTheSignature)
{
    struct {
        char const* vendor;
        char const* product;
        char const* version;
        char const* assetTag;
        System::HypervisorType type;
    } const rows[] = {
        {"Microsoft Corporation", "Virtual Machine", "7.0", AZURE_TAG, System::HYPERVISOR_AZURE},
        {"Microsoft Corporation", "Virtual Machine", "7.0", "1234", System::HYPERVISOR_HYPERV},
        {"Amazon EC2", "m5.large", "", "Amazon EC2", System::HYPERVISOR_AMAZON},
        {"Xen", "HVM domU", "4.2.amazon", "", System::HYPERVISOR_AMAZON},
        {"Xen", "HVM domU", "4.11.3", "", System::HYPERVISOR_XEN},
        {"VMware, Inc.", "VMware Virtual Platform", "None", "", System::HYPERVISOR_VMWARE},
        {"VMware, Inc.", "VMware7,1", "None", "", System::HYPERVISOR_VMWARE},
        {"innotek GmbH", "VirtualBox", "1.2", "", System::HYPERVISOR_VIRTUALBOX},
        {"Oracle Corporation", "VirtualBox", "", "", System::HYPERVISOR_VIRTUALBOX},
        {"Parallels Software International Inc.", "Parallels Virtual Platform", "", "",
            System::HYPERVISOR_PARALLELS},
        {"", "BHYVE", "1.0", "", System::HYPERVISOR_BHYVE},
        {"FreeBSD", "BHYVE", "1.0", "", System::HYPERVISOR_BHYVE}};
    for (auto const& row : rows)
        EXPECT_EQ(hypervisorCode(withFirmware(row.vendor, row.product, row.version, row.assetTag)),
            row.type)
            << row.vendor << ' ' << row.product << ' ' << row.version;
}

TEST(HypervisorCode, isDetectedFromTheFirmwareAlone)
{
    HypervisorInputs machine = withFirmware("innotek GmbH", "VirtualBox");
    machine.underHypervisor = false;
    machine.signatures.clear();
    EXPECT_EQ(hypervisorCode(machine), System::HYPERVISOR_VIRTUALBOX);
}

TEST(HypervisorCode, isNoneOnABareMetalCloudInstance)
{
    HypervisorInputs metal = withFirmware("Amazon EC2", "m5.metal");
    metal.underHypervisor = false;
    metal.signatures.clear();
    EXPECT_EQ(hypervisorCode(metal), System::HYPERVISOR_NONE);
}

TEST(HypervisorCode, ignoresFirmwareThatOnlyResemblesAPlatform)
{
    EXPECT_EQ(hypervisorCode(withFirmware("Microsoft Corporation", "Surface Pro", "", AZURE_TAG)),
        System::HYPERVISOR_KVM);
    EXPECT_EQ(hypervisorCode(withFirmware("Oracle Corporation", "SUN FIRE X4170")),
        System::HYPERVISOR_KVM);
    EXPECT_EQ(hypervisorCode(withFirmware("Xen", "PV domU")), System::HYPERVISOR_KVM);
    EXPECT_EQ(hypervisorCode(withFirmware("VMware, Inc.", "Other")), System::HYPERVISOR_KVM);
    EXPECT_EQ(hypervisorCode(withFirmware("A VMware, Inc.", "VMware")), System::HYPERVISOR_KVM);
}

TEST(HypervisorCode, isQemuForItsVendorUnlessThereIsASignature)
{
    HypervisorInputs machine;
    machine.vendor = "QEMU";
    machine.product = "Standard PC (i440FX + PIIX, 1996)";
    EXPECT_EQ(hypervisorCode(machine), System::HYPERVISOR_QEMU);
    machine.underHypervisor = true;
    EXPECT_EQ(hypervisorCode(machine), System::HYPERVISOR_QEMU);
    machine.signatures = {"KVMKVMKVM"};
    EXPECT_EQ(hypervisorCode(machine), System::HYPERVISOR_KVM);
}

TEST(CutText, keepsAStringThatFits)
{
    EXPECT_EQ(cutText("", 0), "");
    EXPECT_EQ(cutText("abc", 3), "abc");
    EXPECT_EQ(cutText("abc", 4), "abc");
    EXPECT_EQ(cutText("\xC3\xA9", 2), "\xC3\xA9");
}

TEST(CutText, cutsBeforeACharacterThatDoesNotFit)
{
    EXPECT_EQ(cutText("abcd", 3), "abc");
    EXPECT_EQ(cutText("abc", 0), "");
    EXPECT_EQ(cutText("ab\xC3\xA9", 3), "ab");
    EXPECT_EQ(cutText("ab\xC3\xA9z", 4), "ab\xC3\xA9");
    for (size_t longest = 1; longest < 5; ++longest)
        EXPECT_EQ(cutText("a\xF0\x9F\x98\x80", longest), "a") << longest;
}

TEST(CutText, acceptsInvalidUtf8)
{
    EXPECT_EQ(cutText("\x80\x80\x80\x80", 2), "");
    EXPECT_EQ(cutText("a\xFF\xFF\xFF", 2), "a\xFF");
}
