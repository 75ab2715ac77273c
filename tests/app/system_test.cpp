#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;
using testing::Not;

namespace {

json systemOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("system");
}

Outcome runUnder(char const* hypervisor)
{
    Program program = knownMachine({"system", "--json"});
    program.environment["KNOWN_HYPERVISOR"] = hypervisor;
    return program.run();
}

}

TEST(System, isWhatTheFirmwareTells)
{
    WholeMachine machine;
    machine.kernelFile("class/dmi/id/product_version", "1.0\n");

    Outcome const table = machine.program({"system"}).run();
    Outcome const document = machine.program({"system", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(table.err, "");
    EXPECT_THAT(linesOf(table.out),
        ElementsAre("System", "Vendor      Acme", "Product     Rocket", "Version     1.0",
            "Hypervisor  Azure (code 11)"));
    EXPECT_EQ(document.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(systemOf(document), json::parse(R"({ "vendor": "Acme", "product": "Rocket",
        "version": "1.0", "hypervisor": "Azure", "hypervisor_code": 11 })"));
}

TEST(System, ofWhichTheFirmwareTellsNothingIsUnknown)
{
    WholeMachine machine;
    machine.kernelFile("class/dmi/id/sys_vendor", "\n");
    machine.kernelFile("class/dmi/id/product_name", "  \n");

    Outcome const table = machine.program({"system"}).run();
    Outcome const document = machine.program({"system", "--json"}).run();

    EXPECT_THAT(linesOf(table.out),
        ElementsAre("System", "Vendor      -", "Product     -", "Version     -",
            "Hypervisor  Azure (code 11)"));
    EXPECT_TRUE(systemOf(document).at("vendor").is_null());
    EXPECT_TRUE(systemOf(document).at("product").is_null());
    EXPECT_TRUE(systemOf(document).at("version").is_null());
}

TEST(System, hasTheNameOfEveryHypervisor)
{
    char const* const names[] = {"none", "VMware", "Hyper-V", "Xen", "KVM", "QEMU", "VirtualBox",
        "Parallels", "other", "bhyve", "Amazon", "Azure"};
    for (size_t code = 0; code < std::size(names); ++code) {
        json const system = systemOf(runUnder(std::to_string(code).c_str()));

        EXPECT_EQ(system.at("hypervisor"), names[code]);
        EXPECT_EQ(system.at("hypervisor_code"), code);
    }
}

TEST(System, mayRunUnderWhatOnlyANewerLibraryKnows)
{
    json const system = systemOf(runUnder("12"));

    EXPECT_TRUE(system.at("hypervisor").is_null());
    EXPECT_EQ(system.at("hypervisor_code"), 12);
}

TEST(System, neverMovesTheCursor)
{
    Outcome const outcome = knownMachine({"system"}).run();

    EXPECT_THAT(linesOf(outcome.out).at(1), "Vendor      Acme?[2J");
    EXPECT_EQ(systemOf(knownMachine({"system", "--json"}).run()).at("vendor"), "Acme\x1B[2J");
    EXPECT_THAT(knownMachine({"system", "--json"}).run().out, Not(testing::HasSubstr("\x1B")));
}

TEST(System, showsWhatWasKnownBeforeAFailure)
{
    Program program = knownMachine({"system", "--json"});
    program.environment["KNOWN_FAILS"] = "system";

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot read the system's identity: the known machine?failed\n");
    EXPECT_EQ(systemOf(outcome), json::parse(R"({ "vendor": "Acme\u001B[2J", "product": null,
        "version": null, "hypervisor": null, "hypervisor_code": null })"));
}

TEST(System, hasTheHypervisorThatAFailedQueryNames)
{
    for (bool const named : {true, false}) {
        Program program = knownMachine({"system"});
        program.environment["KNOWN_SYSTEM_IS_UNSURE"] = "yes";
        program.environment["KNOWN_HYPERVISOR"] = named ? "11" : "0";

        Outcome const outcome = program.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot read the system's identity: neither the firmware nor the "
            "processor tells it\n");
        EXPECT_EQ(
            linesOf(outcome.out).back(), named ? "Hypervisor  Azure (code 11)" : "Hypervisor  -");
    }
}
