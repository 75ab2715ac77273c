#include "app/read/DifferenceList.h"
#include "app/read/kernel_file.h"

#include <algorithm>
#include <set>

namespace app {

namespace {

using Texts = std::vector<std::string>;

/** @return an IPv4 netmask, "255.255.255.0" for 24. */
std::string maskOf(unsigned prefixLength)
{
    constexpr unsigned BITS = 8;
    std::string mask;
    for (unsigned octet = 0; octet < 4; ++octet) {
        unsigned const ones = std::min(prefixLength - std::min(prefixLength, octet * BITS), BITS);
        mask += (octet == 0 ? "" : ".") + std::to_string(0xFFU & ~(0xFFU >> ones));
    }
    return mask;
}

/** @return the results of a getter in all records of an adapter; an alias has a separate record
 * with its adapter's name. */
Texts textsOf(std::vector<LibraryRecord const*> const& records, char const* getter)
{
    Texts texts;
    for (LibraryRecord const* const record : records)
        for (std::string const& text : record->get<Texts>(getter))
            texts.push_back(text);
    return texts;
}

std::string whyOtherAddresses(std::set<std::string> const& own, Texts const& library)
{
    bool const isInvalid = std::find(library.begin(), library.end(), "<invalid>") != library.end();
    bool const hasIpv6 = std::any_of(own.begin(), own.end(),
        [](std::string const& address) { return address.find(':') != std::string::npos; });
    if (isInvalid && hasIpv6
        && std::none_of(library.begin(), library.end(),
            [](std::string const& address) { return address.find(':') != std::string::npos; }))
        return "the library cannot read the IPv6 addresses of net-tools before 2.0";
    bool const isSubset = std::all_of(library.begin(), library.end(),
        [&own](std::string const& address) { return own.count(address) != 0; });
    return isSubset ? "ifconfig prints no others of this adapter" : "";
}

/** The library has a mask for each IPv4 address, and none for IPv6. */
void compareMasks(
    Adapter const& adapter, Texts const& addresses, Texts const& masks, DifferenceList& list)
{
    Texts own;
    size_t count = 0;
    for (std::string const& listed : addresses) {
        if (listed.find('.') == std::string::npos || listed.find(':') != std::string::npos)
            continue;
        ++count;
        for (Address const& address : adapter.knownAddresses())
            if (address.text == listed && address.prefixLength)
                own.push_back(maskOf(*address.prefixLength));
    }
    // An address that only one of the two has is a separate difference.
    if (own.size() == count && own != masks)
        list.add(adapter.name, "netmasks", masks);
}

void compareMac(Adapter const& adapter, std::string const& library, DifferenceList& list)
{
    if (library == adapter.mac.value_or(""))
        return;
    constexpr size_t LONGEST = 8 * 3 - 1; // Eight bytes with colons between them.
    std::optional<LibraryValue> value;
    if (!library.empty())
        value = library;
    list.add(adapter.name, "mac", value,
        adapter.mac && adapter.mac->size() > LONGEST ? "the library's MAC addresses have 8 bytes"
                                                     : "");
}

void compareAdapter(Adapter const& adapter, DifferenceList& list)
{
    std::vector<LibraryRecord const*> records;
    for (LibraryRecord const& record : list.records())
        if (record.get<std::string>("getName") == adapter.name)
            records.push_back(&record);
    if (records.empty()) {
        list.addMissing(
            adapter.name, list.isComplete() ? "ifconfig -a prints no adapter of this name" : "");
        return;
    }
    if (records.size() > 1)
        list.add(adapter.name, "records", uint64_t{records.size()},
            "the library reports an alias as a separate adapter");
    compareMac(adapter, records.front()->get<std::string>("getMACAddr"), list);
    auto const library = textsOf(records, "getIPAddrs");
    std::set<std::string> own;
    for (Address const& address : adapter.knownAddresses())
        own.insert(address.text);
    if (own != std::set(library.begin(), library.end()))
        list.add(adapter.name, "addresses", library, whyOtherAddresses(own, library));
    compareMasks(adapter, library, textsOf(records, "getNetmasks"), list);
    auto const gateways = textsOf(records, "getGatewayAddrs");
    if (gateways != adapter.gateways.value_or(Texts()))
        list.add(adapter.name, "gateways", gateways,
            gateways.empty() ? "the library traces gateways and stores none" : "");
}

/** @return the servers that the library takes from resolv.conf(5): of each line with the word the
 * part behind column 11. */
std::set<std::string> serversIn(std::string const& text)
{
    constexpr size_t COLUMN = 11;
    std::set<std::string> servers;
    for (std::string const& line : linesOf(text))
        if (line.find("nameserver") != std::string::npos && line.size() >= COLUMN)
            servers.insert(line.substr(COLUMN));
    return servers;
}

std::string whyOtherServers(std::set<std::string> const& library, LibraryAnswer const& answer)
{
    if (answer.records.empty())
        return "the library lists no adapter that could have them";
    auto const lines = serversIn(answer.source);
    bool const areThose = std::all_of(library.begin(), library.end(),
        [&](std::string const& server) { return server == "<invalid>" || lines.count(server); });
    return !answer.source.empty() && areThose && lines.size() >= library.size()
        ? "the library takes the text behind \"nameserver \" on every line of /etc/resolv.conf"
        : "";
}

}

void compareNetworks(Networks const& networks, DifferenceList& list)
{
    std::set<std::string> servers;
    for (LibraryRecord const& record : list.records()) {
        for (std::string const& server : record.get<Texts>("getDNSAddrs"))
            servers.insert(server);
        auto const hostName = record.get<std::string>("getHostname");
        if (&record == &list.records().front() && hostName != networks.hostName.value_or(""))
            list.add("", "host_name", hostName);
    }
    // The library reads them last.
    if (list.isComplete() && networks.nameServers
        && servers != std::set(networks.nameServers->begin(), networks.nameServers->end()))
        list.add("", "name_servers", Texts(servers.begin(), servers.end()),
            whyOtherServers(servers, list.answer()));
    for (Adapter const& adapter : networks.adapters)
        compareAdapter(adapter, list);
    std::set<std::string> known;
    for (Adapter const& adapter : networks.adapters)
        known.insert(adapter.name);
    for (LibraryRecord const& record : list.records())
        if (auto const name = record.get<std::string>("getName"); known.insert(name).second)
            list.addExtra(name, "the kernel has no adapter of this name");
}

}
