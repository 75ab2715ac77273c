#include "app/mounts.h"

#include "app/Session.h"
#include "app/Table.h"
#include "app/display.h"
#include "app/json_text.h"
#include "app/mount_list.h"
#include "app/summary_rows.h"

#include <CLI/CLI.hpp>

namespace app {

namespace {

std::string disksText(Mount const& mount)
{
    std::string text;
    for (std::string const& disk : mount.disks)
        text += (text.empty() ? "" : ", ") + disk;
    return text.empty() ? UNKNOWN : text;
}

std::string asTable(std::vector<Mount> const& mounts, SizeUnit unit)
{
    Table table;
    table.addColumn("Mounted on", Table::LEFT);
    table.addColumn("Size", Table::RIGHT);
    table.addColumn("Used", Table::RIGHT);
    table.addColumn("Free", Table::RIGHT);
    table.addColumn("Share", Table::RIGHT);
    table.addColumn("", Table::LEFT);
    table.addColumn("Disks", Table::LEFT);
    for (Mount const& mount : mounts)
        table.addRow({mount.mountPoint(), sizeText(mount.size, unit), sizeText(mount.used(), unit),
            sizeText(mount.free, unit), percentText(mount.usedPercent()),
            barText(mount.usedPercent()), disksText(mount)});
    return table.text();
}

class MountsCommand : public Command {
public:
    std::string name() const override { return "mounts"; }

    std::string description() const override
    {
        return "Mounted filesystems: how large, how full, and on which disks";
    }

    void addOptions(CLI::App& options, Settings&) override
    {
        options.add_flag_callback(
            "--bytes", [this] { m_unit = UNIT_BYTES; }, "Show sizes as numbers of bytes");
    }

    ExitStatus run(Session& session) override
    {
        std::vector<Mount> mounts;
        bool const complete = readMounts(session, mounts);
        if (complete || !mounts.empty())
            session.print(session.settings().json ? jsonText({{"mounts", mountsAsJson(mounts)}})
                                                  : asTable(mounts, m_unit));
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        std::vector<Mount> mounts;
        bool const complete = readMounts(session, mounts);
        Table table;
        for (auto const alignment : {Table::LEFT, Table::RIGHT, Table::RIGHT, Table::LEFT})
            table.addColumn("", alignment);
        for (Mount const& mount : mounts)
            table.addRow({mount.mountPoint(), sizeText(mount.size),
                "used " + percentText(mount.usedPercent()), barText(mount.usedPercent())});
        return addSummaryRows(lines, "Mounts", table, complete, name());
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        std::vector<Mount> mounts;
        bool const complete = readMounts(session, mounts);
        document["mounts"] = complete || !mounts.empty() ? mountsAsJson(mounts) : Json(nullptr);
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

private:
    SizeUnit m_unit = UNIT_FITTING;
};

}

std::unique_ptr<Command> makeMountsCommand()
{
    return std::make_unique<MountsCommand>();
}

}
