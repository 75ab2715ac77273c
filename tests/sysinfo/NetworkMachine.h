#pragma once

#include "sysinfo/SystemInformation.h"
#include "tests/sysinfo/AnsweredHost.h"

#include <string>
#include <vector>

namespace testkit {

/** What the query of the network adapters answers. */
struct NetworkAnswer {
    /** Asks. @param before what is in the list already. */
    explicit NetworkAnswer(
        std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>> before = {});

    bool known = false;
    bool outOfRange = false;
    std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>> adapters;

    std::vector<std::string> names() const;

    /** One line an adapter, as `toString()` writes it. */
    std::string text() const;

    /** One line an adapter: the texts of its name servers, "<invalid>" for what is no address. */
    std::string nameServers() const;
};

/**
 * Tools that print what they are told, and `/etc/resolv.conf`.
 *
 * `/tmp/ifconfig.log`, `/tmp/route.log` and `/tmp/cat.log` get a line "LANG=... PATH ARGUMENTS" for
 * each run; `/tmp/grep.log` one of its arguments in brackets, and the real grep does the work.
 */
class NetworkMachine {
public:
    NetworkMachine();

    void ifconfigPrints(std::string const& output, std::string const& then = "");
    void routePrints(std::string const& output, std::string const& then = "");
    void resolverText(std::string const& text);

    /** Makes @p path a tool that prints what the tool named @p tool prints. */
    void toolAt(std::string const& path, std::string const& tool);

    /** @return what was recorded of a tool's runs; nothing where it was not run. */
    std::string runsOf(std::string const& tool) const;

    /** Begins the records anew. */
    void forgetRuns();

    AnsweredHost host;
};

}
