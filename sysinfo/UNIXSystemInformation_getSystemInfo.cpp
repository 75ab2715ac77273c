#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/getsysinfo.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"

#include <algorithm>
#include <string_view>

namespace sysinfo {

namespace {

SystemInformation::HypervisorType toHypervisor(int code)
{
    using System = SystemInformation;
    if (code < System::HYPERVISOR_NONE || code > System::HYPERVISOR_AZURE)
        return System::HYPERVISOR_OTHER;
    return static_cast<System::HypervisorType>(code);
}

/** @return true if the MAC address has the prefix that is registered for the cloud's virtual
 * adapters. */
bool isAzureAdapter(SystemInformation::NetworkInfo const& adapter)
{
    dovrel::string const address = dovrel::str_cast(adapter.getMACAddr());
    return std::wstring_view(address.c_str()).starts_with(L"00:0d:3a");
}

}

bool UNIXSystemInformation::getSystemInfo(std::string& vendor, std::string& product,
    std::string& version, HypervisorType& hypervisor) const
{
    DOVREL_TRACE_SCOPE(
        "virtual bool sysinfo::UNIXSystemInformation::getSystemInfo(std::string&, "
        "std::string&, std::string&, sysinfo::SystemInformation::HypervisorType&) const");
    dovrel::CancellationBlock const block;
    // A host's own routine may fail without writing its outputs, or leave out a terminator.
    char texts[3][DOVREL_GETSYSINFO_TEXT_SIZE + 1] = {};
    int code = 0;
    int const result = ::getsysinfo(texts[0], texts[1], texts[2], &code);
    vendor = texts[0];
    product = texts[1];
    version = texts[2];
    hypervisor = toHypervisor(code);

    std::vector<dovrel::value_ptr<NetworkInfo>> adapters;
    getNetworksInternal(adapters); // Adapters found before a failure count.
    // Kept: only the first adapter counts. Null records of a host's own class are skipped.
    auto const first = std::find_if(
        adapters.begin(), adapters.end(), [](auto const& adapter) { return bool(adapter); });
    if (first != adapters.end() && isAzureAdapter(**first))
        hypervisor = HYPERVISOR_AZURE;
    return result == 0;
}

}
