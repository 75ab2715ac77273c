#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/ToolOutput.h"
#include "sysinfo/parsers/ifconfig_output.h"
#include "sysinfo/parsers/resolv_conf.h"
#include "sysinfo/parsers/route_output.h"

#include <boost/filesystem.hpp>

#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

using dovrel::ip_address;
using dovrel::string;

namespace sysinfo {

namespace {

constexpr char UNTRANSLATED[] = "LANG=C ";

/** @return the path of the first file of that name in four folders; empty if there is none. */
std::string findTool(char const* name)
{
    for (char const* folder : {"/bin/", "/sbin/", "/usr/sbin/", "/usr/bin/"}) {
        std::string path = std::string(folder) + name;
        boost::system::error_code error;
        auto const type = boost::filesystem::status(path, error).type();
        if (type != boost::filesystem::status_error && type != boost::filesystem::file_not_found)
            return path;
    }
    return {};
}

string hostName()
{
    char name[256] = "";
    if (::gethostname(name, sizeof name - 1) != 0)
        return {};
    return name;
}

UNIXSystemInformation::UNIXNetworkInfo* makeRecord(
    AdapterText const& text, string const& hostname, std::vector<ip_address> const& nameServers)
{
    std::vector<ip_address> addresses;
    for (std::string const& address : text.addresses)
        addresses.emplace_back(string(address));
    std::vector<string> netmasks;
    for (std::string const& mask : text.netmasks)
        netmasks.push_back(UNIXSystemInformation::UNIXNetworkInfo::convertMask(mask));
    dovrel::macaddress_cpp mac;
    if (!text.hardwareAddresses.empty())
        mac = dovrel::literal_cast<dovrel::macaddress_cpp>(text.hardwareAddresses.back(), {});
    return new UNIXSystemInformation::UNIXNetworkInfo(
        text.name, hostname, mac, addresses, netmasks, nameServers);
}

/** Kept: gateways are traced and not stored in the record. */
void traceGateways(traceobject& trace, std::string const& route, string const& adapter)
{
    trace.write(5, "Finding default gateway for %s", adapter);
    char const* const name = adapter;
    if (*name == '\0')
        return; // An empty pattern of grep would match every route.
    ToolOutput output(UNTRANSLATED + route + " -n | grep " + grepArgument(name));
    readGateways(output, [&](std::string const& gateway) {
        trace.write(5, "Found gateway for %s: %s", adapter, gateway);
    });
}

/** The paths of the tools; empty if a tool is missing. */
struct Tools {
    std::string const ifconfig = findTool("ifconfig");
    std::string const route = findTool("route");
    std::string const cat = findTool("cat");
};

void listAdapters(Tools const& tools, traceobject& trace,
    std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>>& adapters)
{
    string const hostname = hostName();
    auto const add = [&](AdapterText const& text, std::vector<ip_address> const& nameServers) {
        trace.write(5, "Adding adapter: %s", text.name);
        adapters.push_back(dovrel::value_ptr<SystemInformation::NetworkInfo>(
            makeRecord(text, hostname, nameServers)));
    };
    auto const found = [&](std::string const& name) { trace.write(5, "Found adapter: %s", name); };
    std::istringstream output = readOutput(UNTRANSLATED + tools.ifconfig + " -a");
    AdapterText const last =
        readAdapters(output, found, [&](AdapterText const& text) { add(text, {}); });
    for (auto const& adapter : adapters)
        if (adapter) // The caller's list may contain null records.
            traceGateways(trace, tools.route, adapter->getName());

    // Kept: the last record contains the machine's name servers, the others have none.
    std::vector<ip_address> nameServers;
    std::istringstream resolverText = readOutput(UNTRANSLATED + tools.cat + " /etc/resolv.conf");
    readNameServers(resolverText, [&](std::string const& server) {
        trace.write(5, "Found nameserver: %s", server);
        nameServers.emplace_back(string(server));
    });
    if (!last.name.empty())
        add(last, nameServers);
}

}

bool LinuxSystemInformation::getNetworksInternal(
    std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const
{
    DOVREL_TRACE_SCOPE(
        "virtual bool sysinfo::LinuxSystemInformation::getNetworksInternal("
        "std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>, "
        "std::allocator<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo> > >&) "
        "const");
    dovrel::CancellationBlock const block;
    Tools const tools;
    if (tools.ifconfig.empty() || tools.route.empty() || tools.cat.empty()) {
        trace.write(1, "Failed to find one of: ifconfig, route, cat");
        return false;
    }
    try {
        listAdapters(tools, trace, adapters);
    } catch (std::out_of_range const& error) {
        trace.write(1, "%s", error.what());
        throw;
    } catch (ToolOutput::TooLarge const& error) {
        trace.write(1, "%s", error.what());
        return false;
    }
    return true;
}

}
