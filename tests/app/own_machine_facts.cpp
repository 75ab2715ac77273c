#include "tests/app/own_machine_facts.h"

#include "tests/support/Json.h"
#include "tests/support/commands.h"
#include "tests/support/text.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>

namespace app_test {

using testkit::Json;
using testkit::linesOf;
using testkit::outputOf;

std::string quoted(std::string const& text)
{
    std::string word = "'";
    for (char const c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

Json readByProgram(std::string const& command)
{
    return Json::parse(outputOf(std::string("'") + DOVREL_PROGRAM + "' " + command + " --json"));
}

std::string withSingleBlanks(std::string const& text)
{
    std::istringstream stream(text);
    std::string joined;
    for (std::string word; stream >> word;)
        joined += (joined.empty() ? "" : " ") + word;
    return joined;
}

void add(Facts& facts, std::string const& name, Json const& value)
{
    std::string const text = value.is_string() ? value.get<std::string>() : value.dump();
    if (!value.is_null() && !text.empty())
        facts[name] = text;
}

std::string lineOf(std::string const& command)
{
    std::string const output = outputOf(command);
    return output.substr(0, output.find_last_not_of('\n') + 1);
}

Figures memoryByFree()
{
    Figures figures;
    std::vector<std::string> names;
    for (std::string const& line : linesOf(outputOf("free -b -w"))) {
        std::istringstream words(line);
        if (names.empty()) {
            for (std::string name; words >> name;)
                names.push_back(name);
            continue;
        }
        std::string label;
        words >> label;
        std::string const row = label == "Swap:" ? "swap " : "";
        for (std::string const& name : names)
            if (uint64_t figure = 0; words >> figure)
                figures[row + name] = figure;
    }
    // The program reports neither.
    figures.erase("shared");
    figures.erase("swap free");
    return figures;
}

Figures memoryByProgram()
{
    Json const memory = readByProgram("memory").at("memory");
    Figures figures;
    std::pair<char const*, char const*> const keys[] = {{"total", "total_bytes"},
        {"used", "used_bytes"}, {"free", "free_bytes"}, {"buffers", "buffers_bytes"},
        {"cache", "caches_bytes"}, {"available", "available_bytes"},
        {"swap total", "swap_total_bytes"}, {"swap used", "swap_used_bytes"}};
    for (auto const& [name, key] : keys)
        if (!memory.at(key).is_null())
            figures[name] = memory.at(key).get<uint64_t>();
    return figures;
}

namespace {

/** Some versions of lscpu(1) put fields below others. */
void addLscpuFields(Facts& facts, Json const& fields)
{
    for (Json const& field : fields) {
        if (field.at("field") == "Model name:")
            add(facts, "model", withSingleBlanks(field.at("data").get<std::string>()));
        if (field.at("field") == "NUMA node(s):")
            add(facts, "nodes", field.at("data"));
        addLscpuFields(facts, field.value("children", Json::array()));
    }
}

}

Facts processorsByLscpu()
{
    Facts facts;
    std::set<std::string> sockets;
    std::set<std::string> cores;
    size_t count = 0;
    for (std::string const& line :
        linesOf(outputOf("lscpu --physical --parse=CPU,SOCKET,CORE,NODE,MINMHZ,MAXMHZ"))) {
        if (line[0] == '#')
            continue;
        ++count;
        std::vector<std::string> cells;
        std::istringstream stream(line);
        for (std::string cell; std::getline(stream, cell, ',');)
            cells.push_back(cell == "-" ? "" : cell);
        cells.resize(6);
        std::string const name = "processor " + cells[0];
        add(facts, name + ": socket", cells[1]);
        add(facts, name + ": core", cells[2]);
        add(facts, name + ": node", cells[3]);
        add(facts, name + ": lowest MHz", cells[4].substr(0, cells[4].find('.')));
        add(facts, name + ": highest MHz", cells[5].substr(0, cells[5].find('.')));
        sockets.insert(cells[1]);
        cores.insert(cells[1] + " " + cells[2]);
    }
    add(facts, "processors", std::to_string(count));
    add(facts, "sockets", std::to_string(sockets.size()));
    add(facts, "cores", std::to_string(cores.size()));
    addLscpuFields(facts, Json::parse(outputOf("lscpu -J")).at("lscpu"));
    return facts;
}

namespace {

/** lscpu(1) writes MHz. */
Json inMegahertz(Json const& hertz)
{
    constexpr uint64_t MEGA = 1'000'000;
    return hertz.is_null() ? hertz : Json(hertz.get<uint64_t>() / MEGA);
}

}

Facts processorsByProgram()
{
    Json const processors = readByProgram("cpus --no-usage").at("processors");
    Facts facts;
    add(facts, "processors", processors.at("count"));
    add(facts, "sockets", processors.at("sockets"));
    add(facts, "cores", processors.at("cores"));
    add(facts, "nodes", processors.at("numa_nodes"));
    add(facts, "model", processors.at("model"));
    for (Json const& processor : processors.at("list")) {
        std::string const name = "processor " + processor.at("number").dump();
        add(facts, name + ": socket", processor.at("socket"));
        add(facts, name + ": core", processor.at("core"));
        add(facts, name + ": node", processor.at("numa_node"));
        add(facts, name + ": lowest MHz", inMegahertz(processor.at("lowest_hertz")));
        add(facts, name + ": highest MHz", inMegahertz(processor.at("highest_hertz")));
    }
    return facts;
}

Facts systemByTools()
{
    Facts facts;
    add(facts, "kernel", lineOf("uname -r"));
    add(facts, "architecture", lineOf("uname -m"));
    add(facts, "host name", lineOf("uname -n"));
    add(facts, "operating system", lineOf(". /etc/os-release && printf %s \"$PRETTY_NAME\""));
    add(facts, "boot time",
        lineOf("date --iso-8601=seconds --date=@$(sed -n 's/^btime //p' /proc/stat)"));
    return facts;
}

Facts systemByProgram()
{
    Json const system = readByProgram("system").at("system");
    Facts facts;
    add(facts, "kernel", system.at("kernel"));
    add(facts, "architecture", system.at("architecture"));
    add(facts, "host name", system.at("host_name"));
    add(facts, "operating system", system.at("os"));
    add(facts, "boot time", system.at("boot_time"));
    return facts;
}

namespace {

std::string stateByFlags(Json const& flags)
{
    bool const isUp = std::find(flags.begin(), flags.end(), "UP") != flags.end();
    bool const noCarrier = std::find(flags.begin(), flags.end(), "NO-CARRIER") != flags.end();
    return isUp ? (noCarrier ? "no_carrier" : "up") : "down";
}

/** The gateways of the default routes, by adapter; a route may have several next hops. */
void addGateways(std::map<std::string, std::set<std::string>>& gateways, Json const& routes)
{
    for (Json const& route : routes) {
        Json const hops = route.value("nexthops", Json::array({route}));
        for (Json const& hop : hops)
            if (hop.contains("gateway"))
                gateways[hop.at("dev")].insert(hop.at("gateway").get<std::string>());
            else if (hop.contains("via"))
                gateways[hop.at("dev")].insert(hop.at("via").at("host").get<std::string>());
    }
}

}

Facts adaptersByIp()
{
    std::map<std::string, std::set<std::string>> gateways;
    for (char const* const family : {"-4", "-6"}) {
        std::string const routes =
            outputOf(std::string("ip -json ") + family + " route show default");
        if (!routes.empty())
            addGateways(gateways, Json::parse(routes));
    }
    Facts facts;
    for (Json const& link : Json::parse(outputOf("ip -json address"))) {
        // ip(8) writes an empty object for an adapter that goes in between.
        if (!link.contains("ifname"))
            continue;
        auto const name = link.at("ifname").get<std::string>();
        add(facts, name + ": mtu", link.at("mtu"));
        add(facts, name + ": state", stateByFlags(link.at("flags")));
        if (link.at("link_type") == "ether")
            add(facts, name + ": mac", link.at("address"));
        std::multiset<std::string> addresses;
        for (Json const& info : link.at("addr_info"))
            if (info.contains("local"))
                addresses.insert(info.at("local").get<std::string>() + "/"
                    + info.at("prefixlen").dump() + " " + info.at("scope").get<std::string>());
        add(facts, name + ": addresses", Json(addresses).dump());
        add(facts, name + ": gateways", Json(gateways[name]).dump());
    }
    return facts;
}

Facts adaptersByProgram()
{
    Facts facts;
    Json const machine = readByProgram("networks").at("networks");
    for (Json const& adapter : machine.at("adapters")) {
        auto const name = adapter.at("name").get<std::string>();
        add(facts, name + ": mtu", adapter.at("mtu_bytes"));
        add(facts, name + ": state", adapter.at("state"));
        // ip(8) prints the hardware address of a tunnel in other forms.
        if (adapter.at("kind") != "tunnel")
            add(facts, name + ": mac", adapter.at("mac"));
        std::multiset<std::string> addresses;
        for (Json const& address : adapter.at("addresses"))
            addresses.insert(address.at("address").get<std::string>() + "/"
                + address.at("prefix_length").dump() + " "
                + address.at("scope").get<std::string>());
        add(facts, name + ": addresses", Json(addresses).dump());
        add(facts, name + ": gateways",
            Json(adapter.at("gateways").get<std::set<std::string>>()).dump());
    }
    return facts;
}

}
