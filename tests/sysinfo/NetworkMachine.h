#pragma once

#include "sysinfo/SystemInformation.h"
#include "tests/sysinfo/FakeHost.h"

#include <string>
#include <vector>

namespace testkit {

/** The result of a network query. */
struct NetworkAnswer {
    /** Runs the query. @param before the records that the list has before the call. */
    explicit NetworkAnswer(
        std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>> before = {});

    bool known = false;
    bool outOfRange = false;
    std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>> adapters;

    std::vector<std::string> names() const;

    /** @return one line per adapter, as `toString()` writes it. */
    std::string text() const;

    /** @return one line per adapter: its name servers, "<invalid>" for an invalid address. */
    std::string nameServers() const;
};

/**
 * Fake network tools and `/etc/resolv.conf`.
 *
 * Each run of a tool appends a line "LANG=... PATH ARGUMENTS" to `/tmp/ifconfig.log`,
 * `/tmp/route.log` or `/tmp/cat.log`. grep appends its arguments in brackets to `/tmp/grep.log` and
 * runs the real grep.
 */
class NetworkMachine {
public:
    NetworkMachine();

    void ifconfigPrints(std::string const& output, std::string const& then = "");
    void routePrints(std::string const& output, std::string const& then = "");
    void resolverText(std::string const& text);

    /** Makes @p path a copy of the fake tool named @p tool. */
    void toolAt(std::string const& path, std::string const& tool);

    /** @return the log of a tool's runs; empty if it did not run. */
    std::string runsOf(std::string const& tool) const;

    /** Removes all logs. */
    void forgetRuns();

    FakeHost host;
};

}
