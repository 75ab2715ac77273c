#include "app/write/display.h"
#include "app/write/exact_values.h"
#include "app/write/html_sections.h"
#include "app/write/html_tree.h"
#include "app/write/names.h"
#include "app/write/table.h"

namespace app {

namespace {

std::vector<Cell::Item> listOf(std::string const& key, std::vector<std::string> const& names)
{
    std::vector<Cell::Item> items;
    for (size_t i = 0; i < names.size(); ++i)
        items.push_back({textFact(key + "." + std::to_string(i), names[i])});
    return items;
}

/** The devices beneath, by the names that the first column has for them; JSON has the kernel's. */
Cell slavesCell(std::string const& key, std::vector<Disk> const& disks, Disk const& disk)
{
    std::vector<Cell::Item> items = listOf(key, disk.slaves);
    for (Cell::Item& item : items)
        if (Disk const* const slave = findDisk(disks, item.front().text))
            item.front().text = slave->label;
    return items;
}

void addDisk(PageContext const& page, Disk const& disk, HtmlTable& table)
{
    auto const index = static_cast<size_t>(&disk - page.machine.disks->data());
    std::string const key = elementKey("disks", index);
    auto const ofPhysical = [&](Fact const& fact) {
        return disk.isPhysical() ? Cell(fact) : Cell();
    };
    table.addRow({textFact(key + "label", disk.label), textFact(key + "type", typeText(disk)),
        sizeFact(key + "size_bytes", disk.bytes), ofPhysical(wordFact(key + "kind", disk.kind())),
        ofPhysical(textFact(key + "transport", disk.transport)),
        numberFact(key + "partitions", std::optional(partitionsOf(*page.machine.disks, disk))),
        slavesCell(key + "slaves", *page.machine.disks, disk),
        ofPhysical(textFact(key + "model", disk.model)),
        ofPhysical(textFact(key + "serial", disk.serial)),
        noteLinks(page, Subject::DISKS, disk.name)});
}

Cell::Item addressItem(std::string const& key, Address const& address)
{
    Cell::Item item = {textFact(key + "address", address.text)};
    if (address.prefixLength) {
        item.push_back(words("/"));
        item.push_back(numberFact(key + "prefix_length", address.prefixLength));
    }
    item.push_back(words(" "));
    item.push_back(textFact(key + "scope", address.scope));
    return item;
}

Cell addressCell(std::string const& key, Adapter const& adapter)
{
    if (!adapter.addresses)
        return textFact(key + "addresses", std::nullopt);
    if (adapter.addresses->empty())
        return words("none");
    Cell cell;
    cell.isLines = true;
    for (size_t i = 0; i < adapter.addresses->size(); ++i)
        cell.items.push_back(
            addressItem(elementKey(key + "addresses", i), (*adapter.addresses)[i]));
    return cell;
}

Cell gatewaysCell(std::string const& key, Adapter const& adapter)
{
    if (!adapter.gateways)
        return textFact(key + "gateways", std::nullopt);
    if (adapter.gateways->empty())
        return words("none");
    return Cell(listOf(key + "gateways", *adapter.gateways));
}

}

void writeSection(PageContext const& page, std::vector<Disk> const& disks)
{
    if (disks.empty())
        return writeSentence(page, noItemsText(page.machine, Subject::DISKS));
    {
        HtmlTable table(page.html, "Disks and the devices that are made of others",
            {{"NAME"}, {"TYPE", HtmlTable::WORD}, {"SIZE", HtmlTable::NUMBER},
                {"KIND", HtmlTable::WORD}, {"TRAN", HtmlTable::WORD}, {"PARTS", HtmlTable::NUMBER},
                {"ON", HtmlTable::LIST}, {"MODEL"}, {"SERIAL"}, {"NOTE", HtmlTable::WORD}},
            "wide");
        for (Disk const* const disk : diskRows(disks))
            addDisk(page, *disk, table);
    }
    writeDeviceTrees(page.html, page.machine);
}

void writeSection(PageContext const& page, std::vector<Mount> const& mounts)
{
    if (mounts.empty())
        return writeSentence(page, noItemsText(page.machine, Subject::MOUNTS));
    {
        HtmlTable table(page.html, "Mounted filesystems on disks and on the network",
            {{"MOUNTPOINT"}, {"SOURCE"}, {"TYPE", HtmlTable::WORD}, {"MODE", HtmlTable::WORD},
                {"SIZE", HtmlTable::NUMBER}, {"USED", HtmlTable::NUMBER},
                {"AVAIL", HtmlTable::NUMBER}, {"USE", HtmlTable::NUMBER},
                {"DISKS", HtmlTable::LIST}, {"NOTE", HtmlTable::WORD}},
            "wide");
        for (size_t i = 0; i < mounts.size(); ++i) {
            Mount const& mount = mounts[i];
            if (!mount.sameAs.empty())
                continue; // The page names its place below the table.
            std::string const key = elementKey("mounts", i);
            Cell use = percentFact(key + "used_ratio", mount.usedPercent());
            use.bar = mount.usedPercent();
            use.warns = !mount.readOnly; // An image that is mounted read-only is always full.
            Fact const mode = {
                key + "read_only", mount.readOnly ? "true" : "false", mount.readOnly ? "ro" : "rw"};
            table.addRow({textFact(key + "mount_point", mount.mountPoint),
                textFact(key + "source", mount.source),
                textFact(key + "filesystem", mount.filesystem), mode,
                sizeFact(key + "size_bytes", mount.size), sizeFact(key + "used_bytes", mount.used),
                sizeFact(key + "available_bytes", mount.available), use,
                mount.disks.empty() ? Cell(words(mount.network ? "none" : UNKNOWN))
                                    : Cell(listOf(key + "disks", mount.disks)),
                noteLinks(page, Subject::MOUNTS, mount.mountPoint)});
        }
    }
    for (std::string const& line : furtherPlaces(mounts, Layout()))
        writeSentence(page, line);
}

void writeSection(PageContext const& page, Networks const& networks)
{
    if (!networks.adapters.empty()) {
        HtmlTable table(page.html, "Network adapters",
            {{"NAME"}, {"KIND", HtmlTable::WORD}, {"STATE", HtmlTable::WORD}, {"ADDRESS"},
                {"MAC", HtmlTable::LONG_WORD}, {"MBIT", HtmlTable::NUMBER},
                {"MTU", HtmlTable::NUMBER}, {"GATEWAY"}, {"NOTE", HtmlTable::WORD}},
            "wide");
        for (size_t i = 0; i < networks.adapters.size(); ++i) {
            Adapter const& adapter = networks.adapters[i];
            std::string const key = elementKey("networks.adapters", i);
            Fact mac = textFact(key + "mac", adapter.mac);
            if (!adapter.mac && !adapter.macIsUnknown)
                mac.text = "none";
            table.addRow(
                {textFact(key + "name", adapter.name), wordFact(key + "kind", adapter.kind),
                    wordFact(key + "state", adapter.state), addressCell(key, adapter), mac,
                    scaledFact(key + "speed_bits_per_second", MEGA, adapter.speedMbit),
                    numberFact(key + "mtu_bytes", adapter.mtu), gatewaysCell(key, adapter),
                    noteLinks(page, Subject::NETWORKS, adapter.name)});
        }
    }
    HtmlFactList list(page.html);
    if (networks.adapters.empty())
        list.add("Network adapters", words(noItemsText(page.machine, Subject::NETWORKS)));
    list.add("Host name", textFact("networks.host_name", networks.hostName));
    if (!networks.nameServers)
        list.add("Name servers", textFact("networks.name_servers", std::nullopt));
    else if (networks.nameServers->empty())
        list.add("Name servers", words("none"));
    else
        list.add("Name servers", Cell(listOf("networks.name_servers", *networks.nameServers)));
}

}
