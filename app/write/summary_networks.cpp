#include "app/write/summary_networks.h"

#include "app/write/TextTable.h"
#include "app/write/display.h"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <utility>

namespace app {

namespace {

using Lines = std::vector<std::string>;

/** The adapters that people look for first have the lowest rank. */
enum Rank { TO_THE_WORLD, ADDRESSED, LINK_LOCAL, LOOPBACK, WITHOUT_ADDRESS };

Rank rankOf(Adapter const& adapter)
{
    auto const& addresses = adapter.knownAddresses();
    auto const hasScope = [&addresses](std::initializer_list<char const*> scopes) {
        return std::any_of(addresses.begin(), addresses.end(), [&](Address const& address) {
            return std::count(scopes.begin(), scopes.end(), address.scope) > 0;
        });
    };
    if (adapter.addresses && addresses.empty())
        return WITHOUT_ADDRESS;
    if (adapter.hasGateway())
        return TO_THE_WORLD;
    if (!adapter.addresses)
        return adapter.kind == "loopback" ? LOOPBACK : ADDRESSED;
    if (hasScope({"global", "site"}))
        return ADDRESSED;
    return hasScope({"link"}) ? LINK_LOCAL : LOOPBACK;
}

std::string addressesOf(Adapter const& adapter)
{
    if (!adapter.addresses)
        return UNKNOWN;
    Lines texts;
    for (Address const& address : adapter.knownAddresses())
        texts.push_back(address.text
            + (address.prefixLength ? "/" + std::to_string(*address.prefixLength) : ""));
    return texts.empty() ? "no address" : joined(texts);
}

/** "26 veth…, 3 eth…, lo", the most frequent three. */
std::string stems(std::vector<Adapter const*> const& others)
{
    constexpr size_t MOST_STEMS = 3;
    std::map<std::string, Lines> names;
    for (Adapter const* const adapter : others)
        names[adapter->name.substr(0, adapter->name.find_first_of("0123456789.@"))].push_back(
            adapter->name);
    std::vector<std::pair<std::string, Lines>> sorted(names.begin(), names.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](auto const& first, auto const& second) {
        return first.second.size() > second.second.size();
    });
    Lines texts;
    size_t rest = 0;
    for (auto const& [stem, alike] : sorted)
        if (texts.size() >= MOST_STEMS)
            rest += alike.size();
        else if (alike.size() == 1)
            texts.push_back(printable(alike.front()));
        else
            texts.push_back(std::to_string(alike.size()) + " " + printable(stem)
                + (localeIsUtf8() ? "\xE2\x80\xA6" : "..."));
    if (rest > 0)
        texts.push_back(std::to_string(rest) + " others");
    return joined(texts);
}

}

std::vector<std::string> networkLines(Networks const& networks, size_t most)
{
    std::vector<Adapter const*> shown;
    for (Adapter const& adapter : networks.adapters)
        shown.push_back(&adapter);
    std::stable_sort(shown.begin(), shown.end(),
        [](Adapter const* one, Adapter const* two) { return rankOf(*one) < rankOf(*two); });
    std::vector<Adapter const*> others;
    while (networks.adapters.size() > most && !shown.empty()
        && (shown.size() >= most || rankOf(*shown.back()) == WITHOUT_ADDRESS)) {
        others.push_back(shown.back());
        shown.pop_back();
    }
    // The last cell may be cut by the screen's edge, which the first one may not.
    TextTable table({{""}, {""}, {""}});
    for (Adapter const* const adapter : shown)
        table.addRow({adapter->name, adapter->state.value_or(UNKNOWN), addressesOf(*adapter)});
    Lines lines = table.rows({});
    if (networks.adapters.empty())
        lines.emplace_back("none");
    if (!others.empty())
        lines.push_back(
            (lines.empty() ? "" : "and ") + stems(others) + ": dovrel-sysinfo networks");
    if (networks.nameServers && !networks.nameServers->empty())
        lines.push_back("name servers " + printable(joined(*networks.nameServers)));
    return lines;
}

}
