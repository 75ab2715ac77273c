#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using app::Subject;
using app_test::jsonOf;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::summaryOf;
using app_test::tablesOf;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;

namespace {

json systemOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("system");
}

/** A machine under a hypervisor. */
app::Machine machineUnder(std::optional<unsigned> code)
{
    app::Machine machine = knownMachine({Subject::SYSTEM});
    machine.system->hypervisorCode = code;
    return machine;
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
    for (unsigned code = 0; code < std::size(names); ++code) {
        app::Machine const machine = machineUnder(code);

        EXPECT_EQ(jsonOf(machine).at("system").at("hypervisor"), names[code]);
        EXPECT_EQ(jsonOf(machine).at("system").at("hypervisor_code"), code);
        EXPECT_EQ(tablesOf(machine).back(),
            std::string("Hypervisor  ") + names[code] + " (code " + std::to_string(code) + ")");
        EXPECT_THAT(summaryOf(machine).back(),
            testing::EndsWith(
                code == 0 ? ", no hypervisor" : std::string(", under ") + names[code]));
    }
}

TEST(System, mayRunUnderAHypervisorThatOnlyANewerLibraryKnows)
{
    app::Machine const machine = machineUnder(12);

    EXPECT_TRUE(jsonOf(machine).at("system").at("hypervisor").is_null());
    EXPECT_EQ(jsonOf(machine).at("system").at("hypervisor_code"), 12);
    EXPECT_EQ(tablesOf(machine).back(), "Hypervisor  unknown (code 12)");
    EXPECT_THAT(summaryOf(machine).back(), testing::EndsWith(", hypervisor unknown"));
}

TEST(System, showsTheFactsThatWereFoundBeforeAFailure)
{
    app::Machine machine;
    machine.subjects = {Subject::SYSTEM};
    machine.system.emplace().vendor = "Acme";
    machine.problems = {app_test::failureOf(Subject::SYSTEM)};

    EXPECT_EQ(jsonOf(machine), json::parse(R"({ "system": { "vendor": "Acme", "product": null,
        "version": null, "hypervisor": null, "hypervisor_code": null } })"));
    EXPECT_THAT(tablesOf(machine),
        ElementsAre(
            "System", "Vendor      Acme", "Product     -", "Version     -", "Hypervisor  -"));
    EXPECT_THAT(summaryOf(machine), ElementsAre("System      Acme, hypervisor unknown"));
}
