#include "app/disks.h"

#include "app/Session.h"
#include "app/Table.h"
#include "app/disk_list.h"
#include "app/display.h"
#include "app/json_text.h"
#include "app/mount_list.h"
#include "app/summary_rows.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <optional>

namespace app {

namespace {

/** A disk and what is mounted from it; a filesystem on several disks is mounted from each. */
struct Branch {
    std::optional<Disk> disk; // Nothing for mounts of which no disk is known.
    std::vector<Mount> mounts;
};

std::vector<Branch> makeTree(std::vector<Disk> const& disks, std::vector<Mount> const& mounts)
{
    std::vector<Branch> tree;
    tree.reserve(disks.size() + 1);
    for (Disk const& disk : disks)
        tree.push_back({disk, {}});
    Branch rest;
    for (Mount const& mount : mounts) {
        bool found = false;
        for (Branch& branch : tree) {
            if (std::find(mount.disks.begin(), mount.disks.end(), branch.disk->name)
                == mount.disks.end())
                continue;
            branch.mounts.push_back(mount);
            found = true;
        }
        if (!found)
            rest.mounts.push_back(mount);
    }
    tree.push_back(std::move(rest));
    return tree;
}

std::string known(std::string const& text)
{
    return text.empty() ? UNKNOWN : text;
}

std::string asTable(std::vector<Disk> const& disks, SizeUnit unit)
{
    Table table;
    table.addColumn("Disk", Table::LEFT);
    table.addColumn("Caption", Table::LEFT);
    table.addColumn("Size", Table::RIGHT);
    table.addColumn("Partitions", Table::RIGHT);
    for (Disk const& disk : disks)
        table.addRow({disk.name, known(disk.caption), sizeText(disk.bytes, unit),
            std::to_string(disk.partitions)});
    return table.text();
}

std::string twig(bool last)
{
    if (!localeIsUtf8())
        return last ? "`- " : "|- ";
    return last ? "\xE2\x94\x94\xE2\x94\x80 " : "\xE2\x94\x9C\xE2\x94\x80 "; // U+2514, U+251C
}

std::string asTable(std::vector<Branch> const& tree, SizeUnit unit)
{
    Table table;
    table.addColumn("Disk", Table::LEFT);
    table.addColumn("Size", Table::RIGHT);
    table.addColumn("Used", Table::RIGHT);
    table.addColumn("", Table::LEFT);
    table.addColumn("Partitions", Table::RIGHT);
    table.addColumn("Caption", Table::LEFT);
    for (Branch const& branch : tree) {
        if (branch.disk)
            table.addRow({branch.disk->name, sizeText(branch.disk->bytes, unit), "", "",
                std::to_string(branch.disk->partitions), known(branch.disk->caption)});
        else if (!branch.mounts.empty())
            table.addRow({"(no disk)"});
        for (size_t i = 0; i < branch.mounts.size(); ++i) {
            Mount const& mount = branch.mounts[i];
            table.addRow({twig(i + 1 == branch.mounts.size()) + mount.mountPoint(),
                sizeText(mount.size, unit), sizeText(mount.used(), unit),
                barText(mount.usedPercent())});
        }
    }
    return table.text();
}

Json asJson(Disk const& disk)
{
    return {{"name", disk.name},
        {"caption", disk.caption.empty() ? Json(nullptr) : Json(disk.caption)},
        {"size_bytes", jsonValue(disk.bytes)}, {"partitions", disk.partitions},
        {"library_size_figure", jsonValue(disk.librarySizeFigure)}};
}

Json asJson(std::vector<Disk> const& disks)
{
    Json list = Json::array();
    for (Disk const& disk : disks)
        list.push_back(asJson(disk));
    return list;
}

class DisksCommand : public Command {
public:
    std::string name() const override { return "disks"; }

    std::string description() const override
    {
        return "Physical disks: names, sizes and partitions, and what is mounted from them";
    }

    void addOptions(CLI::App& options, Settings&) override
    {
        options.add_flag_callback(
            "--bytes", [this] { m_unit = UNIT_BYTES; }, "Show sizes as numbers of bytes");
        options.add_flag_callback(
            "--tree", [this] { m_asTree = true; },
            "Show the mounted filesystems below their disks;\nthose without a disk come last");
    }

    ExitStatus run(Session& session) override
    {
        std::vector<Disk> disks;
        bool const complete = readDisks(session, disks);
        if (!complete && disks.empty())
            return EXIT_STATUS_QUERY_FAILED;
        if (m_asTree)
            return printTree(session, disks, complete);
        session.print(session.settings().json ? jsonText({{"disks", asJson(disks)}})
                                              : asTable(disks, m_unit));
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        std::vector<Disk> disks;
        bool const complete = readDisks(session, disks);
        Table table;
        for (auto const alignment : {Table::LEFT, Table::RIGHT, Table::LEFT})
            table.addColumn("", alignment);
        for (Disk const& disk : disks)
            table.addRow({disk.name, sizeText(disk.bytes), disk.caption});
        return addSummaryRows(lines, "Disks", table, complete, name());
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        std::vector<Disk> disks;
        bool const complete = readDisks(session, disks);
        document["disks"] = complete || !disks.empty() ? asJson(disks) : Json(nullptr);
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

private:
    ExitStatus printTree(Session& session, std::vector<Disk> const& disks, bool disksComplete) const
    {
        std::vector<Mount> mounts;
        bool const complete = readMounts(session, mounts);
        std::vector<Branch> const tree = makeTree(disks, mounts);
        session.print(
            session.settings().json ? jsonText(treeAsJson(tree, complete)) : asTable(tree, m_unit));
        return complete && disksComplete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    static Json treeAsJson(std::vector<Branch> const& tree, bool mountsComplete)
    {
        bool const anyMounts = std::any_of(
            tree.begin(), tree.end(), [](Branch const& branch) { return !branch.mounts.empty(); });
        Json document = {{"disks", Json::array()}};
        for (Branch const& branch : tree) {
            // Where no mounts could be read, that there are none is not known.
            Json mounts = nullptr;
            if (mountsComplete || anyMounts)
                mounts = mountsAsJson(branch.mounts);
            if (!branch.disk) {
                document["mounts_without_disk"] = std::move(mounts);
                continue;
            }
            Json disk = asJson(*branch.disk);
            disk["mounts"] = std::move(mounts);
            document["disks"].push_back(std::move(disk));
        }
        return document;
    }

    SizeUnit m_unit = UNIT_FITTING;
    bool m_asTree = false;
};

}

std::unique_ptr<Command> makeDisksCommand()
{
    return std::make_unique<DisksCommand>();
}

}
