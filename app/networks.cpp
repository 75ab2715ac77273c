#include "app/networks.h"

#include "app/Session.h"
#include "app/Table.h"
#include "app/display.h"
#include "app/json_text.h"
#include "app/library_text.h"
#include "app/summary_rows.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>>;

struct Address {
    std::optional<std::string> text; // Nothing for what is no address.
    bool ipv4;
    std::optional<std::string> mask;
};

struct Adapter {
    std::string name;
    std::optional<std::string> mac;
    std::optional<std::string> shortMac;
    std::vector<Address> addresses;
    std::vector<std::string> masks; // All that the library tells.
};

struct Networks {
    std::string hostName; // Empty where it is unknown.
    std::vector<Adapter> adapters;
    std::vector<std::optional<std::string>> nameServers; // Nothing for what is no address.
    bool nameServersKnown = false; // The library looks for them last.
};

/**
 * Gives the masks to the addresses that have one, by their order.
 *
 * The library tells masks apart from addresses, and IPv6 addresses have none. What is no address
 * may have had one: where there are more masks than IPv4 addresses it had.
 */
void distributeMasks(Adapter& adapter)
{
    auto const ipv4 = std::count_if(adapter.addresses.begin(), adapter.addresses.end(),
        [](Address const& address) { return address.ipv4; });
    bool const invalidHave = adapter.masks.size() > static_cast<size_t>(ipv4);
    size_t next = 0;
    for (Address& address : adapter.addresses)
        if ((address.ipv4 || (invalidHave && !address.text)) && next < adapter.masks.size())
            address.mask = adapter.masks[next++];
}

Adapter toAdapter(sysinfo::SystemInformation::NetworkInfo const& record)
{
    auto const mac = record.getMACAddr();
    Adapter adapter{textOf(record.getName()), textOf(mac), shortTextOf(mac), {}, {}};
    for (dovrel::ip_address const& address : record.getIPAddrs())
        adapter.addresses.push_back({textOf(address), address.ipv4(), std::nullopt});
    for (dovrel::string const& mask : record.getNetmasks())
        adapter.masks.push_back(textOf(mask));
    distributeMasks(adapter);
    return adapter;
}

/** @return false, with the user told, where not all could be read; @p networks has what could be.
 */
bool readNetworks(Session& session, Networks& networks)
{
    Records records;
    bool const complete = session.query(
        "the network adapters", [&] { return session.service().getNetworksInternal(records); },
        "ifconfig, route or cat is missing");
    for (auto const& record : records) {
        networks.adapters.push_back(toAdapter(*record));
        networks.hostName = textOf(record->getHostname());
        // The library hangs the machine's on one adapter, which has no more to do with them than
        // the others.
        for (dovrel::ip_address const& server : record->getDNSAddrs())
            networks.nameServers.push_back(textOf(server));
    }
    networks.nameServersKnown = complete || !networks.nameServers.empty();
    return complete;
}

std::string addressText(std::optional<std::string> const& address)
{
    return address.value_or("<invalid>");
}

std::string nameServersText(Networks const& networks)
{
    std::string text;
    for (auto const& server : networks.nameServers)
        text += (text.empty() ? "" : ", ") + addressText(server);
    return text.empty() ? UNKNOWN : text;
}

std::string asTable(Networks const& networks)
{
    Table adapters;
    for (char const* const heading : {"Adapter", "MAC", "Address", "Mask"})
        adapters.addColumn(heading, Table::LEFT);
    for (Adapter const& adapter : networks.adapters) {
        std::string name = adapter.name;
        std::string mac = adapter.shortMac.value_or(UNKNOWN);
        if (adapter.addresses.empty())
            adapters.addRow({name, mac, UNKNOWN});
        for (Address const& address : adapter.addresses) {
            adapters.addRow({name, mac, addressText(address.text), address.mask.value_or("")});
            name.clear();
            mac.clear();
        }
    }

    Table machine;
    machine.addColumn("Host name", Table::LEFT);
    machine.addColumn(
        networks.hostName.empty() ? UNKNOWN : printable(networks.hostName), Table::LEFT);
    machine.addRow({"Name servers", nameServersText(networks)});
    return adapters.text() + "\n" + machine.text();
}

Json asJson(Adapter const& adapter)
{
    Json addresses = Json::array();
    for (Address const& address : adapter.addresses)
        addresses.push_back(
            {{"address", jsonValue(address.text)}, {"netmask", jsonValue(address.mask)}});
    return {{"name", adapter.name}, {"mac", jsonValue(adapter.mac)},
        {"addresses", std::move(addresses)}, {"netmasks", adapter.masks}};
}

Json asJson(Networks const& networks)
{
    Json adapters = Json::array();
    for (Adapter const& adapter : networks.adapters)
        adapters.push_back(asJson(adapter));
    Json servers = networks.nameServersKnown ? Json::array() : Json(nullptr);
    for (auto const& server : networks.nameServers)
        servers.push_back(jsonValue(server));
    return {{"host_name", networks.hostName.empty() ? Json(nullptr) : Json(networks.hostName)},
        {"adapters", std::move(adapters)}, {"name_servers", std::move(servers)}};
}

std::string addressesText(Adapter const& adapter)
{
    std::string text;
    for (Address const& address : adapter.addresses)
        text += (text.empty() ? "" : ", ") + addressText(address.text);
    return text.empty() ? UNKNOWN : text;
}

class NetworksCommand : public Command {
public:
    std::string name() const override { return "networks"; }

    std::string description() const override
    {
        return "Network adapters and their addresses, host name and name servers";
    }

    void addOptions(CLI::App&, Settings&) override { }

    ExitStatus run(Session& session) override
    {
        Networks networks;
        bool const complete = readNetworks(session, networks);
        if (complete || !networks.adapters.empty())
            session.print(session.settings().json ? jsonText({{"networks", asJson(networks)}})
                                                  : asTable(networks));
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        Networks networks;
        bool const complete = readNetworks(session, networks);
        Table table;
        table.addColumn("", Table::LEFT);
        table.addColumn("", Table::LEFT);
        for (Adapter const& adapter : networks.adapters)
            table.addRow({adapter.name, addressesText(adapter)});
        ExitStatus const status = addSummaryRows(lines, "Networks", table, complete, name());
        if (!networks.hostName.empty())
            lines.push_back({"", "host name " + printable(networks.hostName)});
        if (!networks.nameServers.empty())
            lines.push_back({"", "name servers " + nameServersText(networks)});
        return status;
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        Networks networks;
        bool const complete = readNetworks(session, networks);
        document["networks"] =
            complete || !networks.adapters.empty() ? asJson(networks) : Json(nullptr);
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }
};

}

std::unique_ptr<Command> makeNetworksCommand()
{
    return std::make_unique<NetworksCommand>();
}

}
