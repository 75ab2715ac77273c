#include "tests/sysinfo/NetworkMachine.h"

#include "common/basic/NetworkError.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"

#include <filesystem>
#include <stdexcept>

namespace testkit {

namespace {

std::string textOf(dovrel::ip_address const& address)
{
    return address.valid() ? narrow(address.toStringInternal()) : "<invalid>";
}

}

NetworkAnswer::NetworkAnswer(
    std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>> before)
    : adapters(std::move(before))
{
    try {
        known = sysinfo::LinuxSystemInformation().getNetworksInternal(adapters);
    } catch (std::out_of_range const&) {
        outOfRange = true;
    }
}

std::vector<std::string> NetworkAnswer::names() const
{
    std::vector<std::string> all;
    for (auto const& adapter : adapters)
        all.push_back(narrow(adapter->getName()));
    return all;
}

std::string NetworkAnswer::text() const
{
    std::string all;
    for (auto const& adapter : adapters)
        all += narrow(adapter->toString()) + '\n';
    return all;
}

std::string NetworkAnswer::nameServers() const
{
    std::string all;
    for (auto const& adapter : adapters) {
        std::string line;
        for (auto const& server : adapter->getDNSAddrs())
            line += (line.empty() ? "" : " ") + textOf(server);
        all += line + '\n';
    }
    return all;
}

NetworkMachine::NetworkMachine()
{
    ifconfigPrints("");
    routePrints("");
    resolverText("");
    for (std::string const tool : {"ifconfig", "route"})
        toolAt("/sbin/" + tool, tool);
    toolAt("/bin/cat", "cat");
    machine.tool("/usr/bin/grep",
        "{ for argument; do printf '[%s]' \"$argument\"; done; echo; } >>/tmp/grep.log\n"
        "exec grep \"$@\"");
}

void NetworkMachine::ifconfigPrints(std::string const& output, std::string const& then)
{
    machine.file("/outputs/ifconfig", output);
    machine.file("/outputs/ifconfig.then", then);
}

void NetworkMachine::routePrints(std::string const& output, std::string const& then)
{
    machine.file("/outputs/route", output);
    machine.file("/outputs/route.then", then);
}

void NetworkMachine::resolverText(std::string const& text)
{
    machine.file("/etc/resolv.conf", text);
}

void NetworkMachine::toolAt(std::string const& path, std::string const& tool)
{
    std::string const record = "echo \"LANG=$LANG $0 $*\" >>/tmp/" + tool + ".log\n";
    if (tool == "cat")
        machine.tool(path, record + "exec cat \"$@\"");
    else
        machine.tool(path, record + "cat /outputs/" + tool + "\n. /outputs/" + tool + ".then");
}

void NetworkMachine::forgetRuns()
{
    for (auto const& entry : std::filesystem::directory_iterator("/tmp"))
        if (entry.is_regular_file())
            std::filesystem::remove(entry);
}

std::string NetworkMachine::runsOf(std::string const& tool) const
{
    std::string const path = "/tmp/" + tool + ".log";
    return std::filesystem::exists(path) ? contentsOf(path) : std::string();
}

}
