#include "app/system.h"

#include "app/Session.h"
#include "app/Table.h"
#include "app/display.h"
#include "app/json_text.h"

#include <array>
#include <optional>
#include <string>

namespace app {

namespace {

using Service = sysinfo::SystemInformation;

/** In the order of `SystemInformation::HypervisorType`. */
constexpr std::array HYPERVISORS = {"none", "VMware", "Hyper-V", "Xen", "KVM", "QEMU", "VirtualBox",
    "Parallels", "other", "bhyve", "Amazon", "Azure"};
static_assert(HYPERVISORS.size() == Service::HYPERVISOR_AZURE + 1);

/** What is known of the machine; empty texts are unknown. */
struct System {
    std::string vendor;
    std::string product;
    std::string version;
    std::optional<unsigned> hypervisorCode;

    bool nothingKnown() const
    {
        return vendor.empty() && product.empty() && version.empty() && !hypervisorCode;
    }

    /** Nothing for a code that only a newer library knows. */
    std::optional<std::string> hypervisor() const
    {
        if (!hypervisorCode || *hypervisorCode >= HYPERVISORS.size())
            return std::nullopt;
        return HYPERVISORS[*hypervisorCode];
    }
};

/** @return false, with the user told, where not all could be read; @p system has what could be. */
bool readSystem(Session& session, System& system)
{
    Service::HypervisorType hypervisor = Service::HYPERVISOR_NONE;
    bool const complete = session.query(
        "the system's identity",
        [&] {
            return session.service().getSystemInfo(
                system.vendor, system.product, system.version, hypervisor);
        },
        "neither the firmware nor the processor tells it");
    // "None" is what a query that fails leaves there, so then it says nothing.
    if (complete || hypervisor != Service::HYPERVISOR_NONE)
        system.hypervisorCode = static_cast<unsigned>(hypervisor);
    return complete;
}

std::string known(std::string const& text)
{
    return text.empty() ? UNKNOWN : text;
}

std::string hypervisorText(System const& system)
{
    if (!system.hypervisorCode)
        return UNKNOWN;
    return system.hypervisor().value_or("unknown") + " (code "
        + std::to_string(*system.hypervisorCode) + ")";
}

std::string asTable(System const& system)
{
    Table table;
    table.addColumn("System", Table::LEFT);
    table.addColumn("", Table::LEFT);
    table.addRow({"Vendor", known(system.vendor)});
    table.addRow({"Product", known(system.product)});
    table.addRow({"Version", known(system.version)});
    table.addRow({"Hypervisor", hypervisorText(system)});
    return table.text();
}

Json textOrNull(std::string const& text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

Json asJson(System const& system)
{
    return {{"vendor", textOrNull(system.vendor)}, {"product", textOrNull(system.product)},
        {"version", textOrNull(system.version)}, {"hypervisor", jsonValue(system.hypervisor())},
        {"hypervisor_code", jsonValue(system.hypervisorCode)}};
}

std::string nameOf(System const& system)
{
    std::string name;
    for (std::string const& part : {system.vendor, system.product, system.version})
        if (!part.empty())
            name += (name.empty() ? "" : " ") + part;
    return name.empty() ? "of unknown make" : name;
}

std::string underHypervisor(System const& system)
{
    auto const hypervisor = system.hypervisor();
    if (!hypervisor)
        return "hypervisor unknown";
    return system.hypervisorCode == unsigned{Service::HYPERVISOR_NONE} ? "no hypervisor"
                                                                       : "under " + *hypervisor;
}

class SystemCommand : public Command {
public:
    std::string name() const override { return "system"; }

    std::string description() const override
    {
        return "The machine: vendor, product, version, and the hypervisor it runs under";
    }

    void addOptions(CLI::App&, Settings&) override { }

    ExitStatus run(Session& session) override
    {
        System system;
        bool const complete = readSystem(session, system);
        if (complete || !system.nothingKnown())
            session.print(
                session.settings().json ? jsonText({{"system", asJson(system)}}) : asTable(system));
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        System system;
        bool const complete = readSystem(session, system);
        lines.push_back({"System",
            complete || !system.nothingKnown()
                ? printable(nameOf(system)) + ", " + underHypervisor(system)
                : "could not be read"});
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        System system;
        bool const complete = readSystem(session, system);
        document["system"] = complete || !system.nothingKnown() ? asJson(system) : Json(nullptr);
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }
};

}

std::unique_ptr<Command> makeSystemCommand()
{
    return std::make_unique<SystemCommand>();
}

}
