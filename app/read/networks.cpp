#include "app/read/Reader.h"
#include "app/read/library_text.h"

#include <algorithm>

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>>;
using Addresses = std::vector<dovrel::ip_address>;

/**
 * Assigns the netmasks to addresses by their order.
 *
 * The library lists masks apart from addresses. IPv6 addresses have none. An address that it could
 * not read may have one: it has where there are more masks than IPv4 addresses.
 */
void assignMasks(Addresses const& records, Adapter& adapter)
{
    auto const ipv4 = std::count_if(records.begin(), records.end(),
        [](dovrel::ip_address const& address) { return address.ipv4(); });
    bool const invalidHave = adapter.netmasks.size() > static_cast<size_t>(ipv4);
    size_t next = 0;
    for (size_t i = 0; i < records.size() && next < adapter.netmasks.size(); ++i)
        if (records[i].ipv4() || (invalidHave && !records[i].valid()))
            adapter.addresses[i].netmask = adapter.netmasks[next++];
}

Adapter toAdapter(sysinfo::SystemInformation::NetworkInfo const& record)
{
    Adapter adapter;
    adapter.name = textOf(record.getName());
    adapter.mac = textOf(record.getMACAddr());
    Addresses const addresses = record.getIPAddrs();
    for (dovrel::ip_address const& address : addresses)
        adapter.addresses.push_back({textOf(address), std::nullopt});
    for (dovrel::string const& mask : record.getNetmasks())
        adapter.netmasks.push_back(textOf(mask));
    assignMasks(addresses, adapter);
    return adapter;
}

}

void readNetworks(Reader& reader, Machine& machine)
{
    Records records;
    bool const complete = reader.query(machine,
        {Subject::NETWORKS, "the network adapters", "ifconfig, route or cat is missing",
            "ifconfig -a, route -n, /etc/resolv.conf"},
        [&] { return reader.library().getNetworksInternal(records); });
    if (!complete && records.empty())
        return;
    auto& networks = machine.networks.emplace();
    std::vector<std::optional<std::string>> nameServers;
    for (auto const& record : records) {
        networks.adapters.push_back(toAdapter(*record));
        if (std::string const name = textOf(record->getHostname()); !name.empty())
            networks.hostName = name;
        // The library attaches the machine's name servers to one adapter.
        for (dovrel::ip_address const& server : record->getDNSAddrs())
            nameServers.push_back(textOf(server));
    }
    // The library reads them last.
    if (complete || !nameServers.empty())
        networks.nameServers = std::move(nameServers);
}

}
