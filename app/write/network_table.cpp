#include "app/write/ColumnTable.h"

namespace app {

namespace {

struct AdapterRow : RowContext {
    Adapter const& adapter;
    Address const* address; ///< Null for an adapter without one, or with unknown ones.
    bool first; ///< Of the adapter's rows.
};

/** A cell that stands in the first of an adapter's rows only, on a terminal. */
std::string onceOnly(AdapterRow const& row, std::string const& text)
{
    return row.first || !row.isTerminal ? text : "";
}

std::string gatewaysText(Adapter const& adapter)
{
    if (!adapter.gateways)
        return UNKNOWN;
    return adapter.gateways->empty() ? "none" : joined(*adapter.gateways);
}

constexpr ColumnOf<AdapterRow> ADAPTER_COLUMNS[] = {
    {"NAME", "the adapter's name", LEFT, ALWAYS,
        [](AdapterRow const& row) { return onceOnly(row, row.adapter.name); }},
    {"KIND", "physical, wireless, bridge, bond, vlan, tunnel, loopback or virtual", LEFT, 70,
        [](AdapterRow const& row) { return onceOnly(row, knownText(row.adapter.kind)); }},
    {"STATE", "up, down or no carrier", LEFT, 80,
        [](AdapterRow const& row) { return onceOnly(row, knownText(row.adapter.state)); }},
    {"ADDRESS", "an address with its prefix length", WHOLE, ALWAYS,
        [](AdapterRow const& row) {
            if (!row.address)
                return std::string(row.adapter.addresses ? "none" : UNKNOWN);
            auto const length = row.address->prefixLength;
            return row.address->text + (length ? "/" + std::to_string(*length) : "");
        }},
    {"SCOPE", "the address's scope: host, link, site or global", LEFT, 30,
        [](AdapterRow const& row) {
            return row.address ? row.address->scope : row.adapter.addresses ? "" : UNKNOWN;
        }},
    {"MAC", "the hardware address", WHOLE, 50,
        [](AdapterRow const& row) {
            return onceOnly(
                row, row.adapter.mac.value_or(row.adapter.macIsUnknown ? UNKNOWN : "none"));
        }},
    {"MBIT", "the link's speed in Mbit/s", RIGHT, 40,
        [](AdapterRow const& row) { return onceOnly(row, numberText(row.adapter.speedMbit)); }},
    {"MTU", "the largest packet in bytes", RIGHT, 20,
        [](AdapterRow const& row) { return onceOnly(row, numberText(row.adapter.mtu)); }},
    {"GATEWAY", "the gateways of default routes", WHOLE, 60,
        [](AdapterRow const& row) { return onceOnly(row, gatewaysText(row.adapter)); }},
    {"NOTE", "the numbers of notes", LEFT, 90,
        [](AdapterRow const& row) { return onceOnly(row, row.marks); }},
};

class NetworkTable : public ColumnTable<AdapterRow> {
public:
    NetworkTable() : ColumnTable(ADAPTER_COLUMNS) { }

    std::string details(TableRequest const& request) const override
    {
        Networks const& networks = *request.machine.networks;
        FactList details("HOST NAME", knownText(networks.hostName));
        details.add("Name servers",
            networks.nameServers
                ? networks.nameServers->empty() ? "none" : joined(*networks.nameServers)
                : UNKNOWN);
        return details.text(request.options.layout);
    }

private:
    std::vector<AdapterRow> rows(TableRequest const& request) const override
    {
        std::vector<AdapterRow> list;
        for (Adapter const& adapter : request.machine.networks->adapters) {
            RowContext const shared = request.row(Subject::NETWORKS, adapter.name);
            auto const& addresses = adapter.knownAddresses();
            if (addresses.empty())
                list.push_back({shared, adapter, nullptr, true});
            for (Address const& address : addresses)
                list.push_back({shared, adapter, &address, &address == &addresses.front()});
        }
        return list;
    }
};

}

SubjectTable const& networkTable()
{
    static NetworkTable const table;
    return table;
}

}
