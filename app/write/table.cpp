#include "app/write/table.h"

#include "app/model/device_tree.h"
#include "app/write/ColumnTable.h"
#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/notes.h"
#include "app/write/recovery_line.h"

#include <sstream>
#include <vector>

namespace app {

namespace {

constexpr auto LEFT = TextTable::LEFT;
constexpr auto RIGHT = TextTable::RIGHT;
constexpr auto ALWAYS = TextTable::ALWAYS;

/** What the rows of all tables need to know. */
struct RowContext {
    Machine const& machine;
    SizeUnit unit;
    bool bars;
    std::string marks; ///< The numbers of the row's notes.
};

template <class Number> std::string numberText(std::optional<Number> number)
{
    return number ? std::to_string(*number) : UNKNOWN;
}

std::string knownText(std::optional<std::string> const& text)
{
    return text.value_or(UNKNOWN);
}

std::string yesNo(std::optional<bool> flag)
{
    return flag ? (*flag ? "yes" : "no") : UNKNOWN;
}

struct ProcessorRow : RowContext {
    Processor const& processor;
};

constexpr ColumnOf<ProcessorRow> PROCESSOR_COLUMNS[] = {
    {"CPU", "the kernel's number", RIGHT, ALWAYS,
        [](ProcessorRow const& row) { return std::to_string(row.processor.number); }},
    {"SOCKET", "the package that it is in", RIGHT, 0,
        [](ProcessorRow const& row) { return numberText(row.processor.socket); }},
    {"CORE", "the core's number within the socket", RIGHT, 0,
        [](ProcessorRow const& row) { return numberText(row.processor.core); }},
    {"NODE", "the NUMA node", RIGHT, 0,
        [](ProcessorRow const& row) { return numberText(row.processor.node); }},
    {"MIN-MHZ", "the lowest clock speed", RIGHT, 20,
        [](ProcessorRow const& row) { return numberText(row.processor.lowestMHz); }},
    {"MHZ", "the present clock speed", RIGHT, 60,
        [](ProcessorRow const& row) { return numberText(row.processor.currentMHz); }},
    {"MAX-MHZ", "the highest clock speed", RIGHT, 50,
        [](ProcessorRow const& row) { return numberText(row.processor.highestMHz); }},
    {"LOAD", "the share of busy time in one second", RIGHT, 100,
        [](ProcessorRow const& row) { return percentText(row.processor.loadPercent); }},
    {"", "", LEFT, 10,
        [](ProcessorRow const& row) { return row.bars ? barText(row.processor.loadPercent) : ""; }},
    {"NOTE", "the numbers of notes", LEFT, 90, [](ProcessorRow const& row) { return row.marks; }},
};

struct DeviceRow : RowContext {
    Disk const& disk;
    std::string prefix; ///< The branches of the tree.
};

std::string mountPoints(DeviceRow const& row)
{
    std::vector<std::string> places;
    if (!row.machine.mounts)
        return UNKNOWN;
    for (Mount const& mount : *row.machine.mounts)
        if (mount.device == row.disk.name)
            places.push_back(mount.mountPoint);
    return joined(places);
}

std::string slavesText(DeviceRow const& row)
{
    std::vector<std::string> names = row.disk.slaves;
    if (!row.disk.parent.empty())
        names.push_back(row.disk.parent);
    return joined(names);
}

constexpr ColumnOf<DeviceRow> DEVICE_COLUMNS[] = {
    {"NAME", "the device's name; in /dev/mapper or /dev/md where it has one", LEFT, ALWAYS,
        [](DeviceRow const& row) { return row.prefix + row.disk.label; }},
    {"KNAME", "the kernel's name", LEFT, 0, [](DeviceRow const& row) { return row.disk.name; }},
    {"DEV", "major and minor number", LEFT, 0,
        [](DeviceRow const& row) { return row.disk.device; }},
    {"TYPE", "disk, part, rom, loop, lvm, crypt, mpath, dm or the RAID level", LEFT, 70,
        [](DeviceRow const& row) { return typeText(row.disk); }},
    {"SIZE", "the size", RIGHT, ALWAYS,
        [](DeviceRow const& row) { return sizeText(row.disk.bytes, row.unit); }},
    {"KIND", "HDD, SSD, virtual or removable", LEFT, 60,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.kind()) : "";
        }},
    {"TRAN", "the bus: nvme, sata, sas, usb, virtio, mmc, fc, iscsi ...", LEFT, 40,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.transport) : "";
        }},
    {"PARTS", "the number of partitions", RIGHT, 30,
        [](DeviceRow const& row) {
            return row.disk.parent.empty()
                ? std::to_string(partitionsOf(*row.machine.disks, row.disk))
                : "";
        }},
    {"ON", "the devices that it lies on", LEFT, 35, slavesText},
    {"MODEL", "the model", LEFT, 50,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.model) : "";
        }},
    {"SERIAL", "the serial number", LEFT, 0,
        [](DeviceRow const& row) {
            return row.disk.isPhysical() ? knownText(row.disk.serial) : "";
        }},
    {"RO", "whether it is read-only", LEFT, 0,
        [](DeviceRow const& row) { return yesNo(row.disk.readOnly); }},
    {"LOG-SEC", "the logical sector size in bytes", RIGHT, 0,
        [](DeviceRow const& row) { return numberText(row.disk.logicalSector); }},
    {"PHY-SEC", "the physical sector size in bytes", RIGHT, 0,
        [](DeviceRow const& row) { return numberText(row.disk.physicalSector); }},
    {"MOUNTPOINTS", "the places where it is mounted; with --tree", LEFT, 0, mountPoints},
    {"NOTE", "the numbers of notes", LEFT, 90, [](DeviceRow const& row) { return row.marks; }},
};

struct MountRow : RowContext {
    Mount const& mount;
};

std::optional<uint64_t> usedInodes(Mount const& mount)
{
    return mount.inodes && mount.freeInodes && *mount.freeInodes <= *mount.inodes
        ? std::optional(*mount.inodes - *mount.freeInodes)
        : std::nullopt;
}

constexpr ColumnOf<MountRow> MOUNT_COLUMNS[] = {
    {"MOUNTPOINT", "the place where it is mounted", LEFT, ALWAYS,
        [](MountRow const& row) { return row.mount.mountPoint; }},
    {"SOURCE", "the device or the server's share", LEFT, 40,
        [](MountRow const& row) { return row.mount.source; }},
    {"TYPE", "the filesystem", LEFT, 60, [](MountRow const& row) { return row.mount.filesystem; }},
    {"MODE", "ro or rw", LEFT, 30,
        [](MountRow const& row) { return std::string(row.mount.readOnly ? "ro" : "rw"); }},
    {"SIZE", "the size", RIGHT, 90,
        [](MountRow const& row) { return sizeText(row.mount.size, row.unit); }},
    {"USED", "the space in use", RIGHT, 70,
        [](MountRow const& row) { return sizeText(row.mount.used, row.unit); }},
    {"AVAIL", "the space that is left to ordinary users", RIGHT, 80,
        [](MountRow const& row) { return sizeText(row.mount.available, row.unit); }},
    {"USE", "the share of the space in use", RIGHT, 95,
        [](MountRow const& row) { return percentText(row.mount.usedPercent()); }},
    {"", "", LEFT, 10,
        [](MountRow const& row) { return row.bars ? barText(row.mount.usedPercent()) : ""; }},
    {"INODES", "the number of inodes", RIGHT, 0,
        [](MountRow const& row) { return numberText(row.mount.inodes); }},
    {"IUSE", "the share of inodes in use", RIGHT, 0,
        [](MountRow const& row) {
            return percentText(percentOf(usedInodes(row.mount), row.mount.inodes));
        }},
    {"DISKS", "the physical disks beneath", LEFT, 50,
        [](MountRow const& row) {
            return row.mount.disks.empty() ? (row.mount.network ? "none" : UNKNOWN)
                                           : joined(row.mount.disks);
        }},
    {"NOTE", "the numbers of notes", LEFT, 92, [](MountRow const& row) { return row.marks; }},
};

struct AdapterRow : RowContext {
    Adapter const& adapter;
    Address const* address; ///< Null for an adapter without one.
    bool first; ///< Of the adapter's rows.
};

/** A cell that stands in the first of an adapter's rows only, on a terminal. */
std::string onceOnly(AdapterRow const& row, std::string const& text)
{
    return row.first || !row.bars ? text : "";
}

std::string gatewaysText(Adapter const& adapter)
{
    if (!adapter.gateways)
        return UNKNOWN;
    return adapter.gateways->empty() ? "none" : joined(*adapter.gateways);
}

constexpr ColumnOf<AdapterRow> ADAPTER_COLUMNS[] = {
    {"NAME", "the adapter's name", LEFT, ALWAYS,
        [](AdapterRow const& row) { return onceOnly(row, row.adapter.name); }},
    {"KIND", "physical, wireless, bridge, bond, vlan, tunnel, loopback or virtual", LEFT, 70,
        [](AdapterRow const& row) { return onceOnly(row, knownText(row.adapter.kind)); }},
    {"STATE", "up, down or no carrier", LEFT, 80,
        [](AdapterRow const& row) { return onceOnly(row, knownText(row.adapter.state)); }},
    {"ADDRESS", "an address with its prefix length", LEFT, ALWAYS,
        [](AdapterRow const& row) {
            if (!row.address)
                return std::string("none");
            auto const length = row.address->prefixLength;
            return row.address->text + (length ? "/" + std::to_string(*length) : "");
        }},
    {"SCOPE", "the address's scope: host, link, site or global", LEFT, 30,
        [](AdapterRow const& row) { return row.address ? row.address->scope : ""; }},
    {"MAC", "the hardware address", LEFT, 50,
        [](AdapterRow const& row) {
            return onceOnly(
                row, row.adapter.mac.value_or(row.adapter.macIsUnknown ? UNKNOWN : "none"));
        }},
    {"MBIT", "the link's speed in Mbit/s", RIGHT, 40,
        [](AdapterRow const& row) { return onceOnly(row, numberText(row.adapter.speedMbit)); }},
    {"MTU", "the largest packet in bytes", RIGHT, 20,
        [](AdapterRow const& row) { return onceOnly(row, numberText(row.adapter.mtu)); }},
    {"GATEWAY", "the gateways of default routes", LEFT, 60,
        [](AdapterRow const& row) { return onceOnly(row, gatewaysText(row.adapter)); }},
    {"NOTE", "the numbers of notes", LEFT, 90,
        [](AdapterRow const& row) { return onceOnly(row, row.marks); }},
};

/** Writes the tables of one machine. */
class TableWriter {
public:
    TableWriter(Machine const& machine, TableOptions const& options, std::ostream& out)
        : m_machine(machine), m_options(options), m_notes(machine), m_out(out)
    {
    }

    void write()
    {
        if (m_machine.system)
            begin(Subject::SYSTEM, textOf(*m_machine.system));
        if (m_machine.processors)
            writeProcessors(*m_machine.processors);
        if (m_machine.memory)
            writeMemory(*m_machine.memory);
        if (m_machine.disks && m_machine.wasAskedFor(Subject::DISKS))
            writeDevices();
        if (m_machine.mounts && !m_options.diskTree)
            writeMounts(*m_machine.mounts);
        if (m_machine.networks)
            writeNetworks(*m_machine.networks);
        if (m_machine.wasAskedFor(Subject::RECOVERY))
            writeRecovery();
    }

private:
    RowContext context(Subject subject, std::string const& item) const
    {
        return {m_machine, unit(), m_options.layout.isTerminal(), m_notes.marks(subject, item)};
    }

    SizeUnit unit() const { return m_options.bytes ? UNIT_BYTES : UNIT_FITTING; }

    /** Writes a table and its notes. @param details what stands between the two. */
    void begin(Subject subject, std::string const& table, std::string const& details = "")
    {
        if (!m_first)
            m_out << '\n';
        m_first = false;
        m_out << table;
        if (!m_options.layout.headings)
            return;
        if (!details.empty())
            m_out << '\n' << details;
        std::ostringstream notes;
        m_notes.write(subject, m_options.layout, notes);
        if (!notes.str().empty())
            m_out << '\n' << notes.str();
    }

    std::string textOf(System const& system) const
    {
        FactList table("SYSTEM");
        table.add("Host name", knownText(system.hostName));
        table.add("Vendor", knownText(system.vendor));
        table.add("Product", knownText(system.product));
        table.add("Version", knownText(system.version));
        table.add("Virtual machine", knownText(system.virtualMachine));
        table.add("Container", knownText(system.container));
        table.add("Operating system", knownText(system.osName));
        table.add("Kernel", knownText(system.kernel));
        table.add("Architecture", knownText(system.architecture));
        table.add("Firmware", firmwareText(system));
        table.add("Booted", timeText(system.bootTime));
        table.add("Uptime", uptimeText(system.uptimeSeconds));
        return table.text(m_options.layout);
    }

    static std::string firmwareText(System const& system)
    {
        std::string text;
        for (auto const& part :
            {system.firmwareVendor, system.firmwareVersion, system.firmwareDate})
            if (part)
                text += (text.empty() ? "" : " ") + *part;
        return text.empty() ? UNKNOWN : text;
    }

    void writeProcessors(Processors const& processors)
    {
        std::vector<ProcessorRow> rows;
        for (Processor const& processor : processors.list)
            rows.push_back(
                {context(Subject::PROCESSORS, std::to_string(processor.number)), processor});
        FactList details("PROCESSORS", std::to_string(processors.list.size()));
        details.add("Model", knownText(processors.model));
        details.add("Sockets", numberText(processors.sockets));
        details.add("Cores", numberText(processors.cores));
        details.add("NUMA nodes", numberText(processors.nodes));
        if (processors.loadsMeasured)
            details.add("Load of all", percentText(processors.loadPercent));
        begin(Subject::PROCESSORS,
            tableOf(rows, chosenColumns(PROCESSOR_COLUMNS, m_options.columns))
                .text(m_options.layout),
            details.text(m_options.layout));
    }

    void writeMemory(Memory const& memory)
    {
        TextTable table({{"MEMORY"}, {"SIZE", RIGHT}, {"SHARE", RIGHT, 50}, {"", LEFT, 10}});
        auto const add = [&](char const* name, std::optional<uint64_t> size,
                             std::optional<uint64_t> whole, bool bar) {
            auto const percent = percentOf(size, whole);
            table.addRow({name, sizeText(size, unit()), whole ? percentText(percent) : "",
                bar && m_options.layout.isTerminal() ? barText(percent) : ""});
        };
        add("Total", memory.total, std::nullopt, false);
        add("Used", memory.used(), memory.total, true);
        add("Available", memory.available, memory.total, false);
        add("Free", memory.free, memory.total, false);
        add("Buffers", memory.buffers, memory.total, false);
        add("Caches", memory.caches, memory.total, false);
        if (memory.swapTotal == 0U) {
            table.addRow({"Swap", "none"});
        } else {
            add("Swap", memory.swapTotal, std::nullopt, false);
            add("Swap used", memory.swapUsed(), memory.swapTotal, true);
        }
        TextTable modules({{"MODULE"}, {"SIZE", RIGHT}, {"TYPE", LEFT, 50}, {"SPEED", LEFT, 40}});
        if (memory.modules)
            for (MemoryModule const& module : *memory.modules)
                modules.addRow(
                    {module.slot, module.bytes == 0U ? "empty" : sizeText(module.bytes, unit()),
                        module.bytes == 0U ? "" : knownText(module.type),
                        module.bytes == 0U ? "" : knownText(module.speed)});
        begin(Subject::MEMORY, table.text(m_options.layout),
            modules.isEmpty() ? "" : modules.text(m_options.layout));
    }

    void writeDevices()
    {
        std::vector<DeviceRow> rows;
        if (m_options.diskTree) {
            for (DeviceNode const& node : deviceTree(*m_machine.disks))
                rows.push_back(
                    {context(Subject::DISKS, node.disk->name), *node.disk, branches(node)});
        } else {
            for (bool const physical : {true, false})
                for (Disk const& disk : *m_machine.disks)
                    if (disk.isPhysical() == physical && disk.parent.empty()
                        && disk.type != Disk::LOOP)
                        rows.push_back({context(Subject::DISKS, disk.name), disk, ""});
        }
        auto const columns = chosenColumns(DEVICE_COLUMNS, m_options.columns,
            m_options.diskTree ? "NAME,TYPE,SIZE,MOUNTPOINTS,NOTE" : "");
        // The names of encrypted devices are often UUIDs.
        constexpr size_t ENOUGH_OF_A_NAME = 30;
        begin(Subject::DISKS, tableOf(rows, columns, ENOUGH_OF_A_NAME).text(m_options.layout));
    }

    /** The lines that lead from the devices above to this one. */
    static std::string branches(DeviceNode const& node)
    {
        if (node.depth == 0)
            return "";
        bool const utf8 = localeIsUtf8();
        std::string text;
        for (bool const last : node.lastAbove)
            text += last ? "  " : (utf8 ? "\xE2\x94\x82 " : "| "); // U+2502
        // U+2514 and U+251C, each with U+2500.
        if (node.last)
            return text + (utf8 ? "\xE2\x94\x94\xE2\x94\x80" : "`-");
        return text + (utf8 ? "\xE2\x94\x9C\xE2\x94\x80" : "|-");
    }

    void writeMounts(std::vector<Mount> const& mounts)
    {
        std::vector<MountRow> rows;
        rows.reserve(mounts.size());
        for (Mount const& mount : mounts)
            if (mount.sameAs.empty())
                rows.push_back({context(Subject::MOUNTS, mount.mountPoint), mount});
        begin(Subject::MOUNTS,
            tableOf(rows, chosenColumns(MOUNT_COLUMNS, m_options.columns)).text(m_options.layout),
            furtherPlaces(mounts));
    }

    /** A line for each filesystem that is mounted several times. */
    std::string furtherPlaces(std::vector<Mount> const& mounts) const
    {
        constexpr size_t MOST_PLACES = 10;
        std::string text;
        for (Mount const& mount : mounts) {
            std::vector<std::string> places;
            for (Mount const& other : mounts)
                if (other.sameAs == mount.mountPoint && mount.sameAs.empty())
                    places.push_back(other.mountPoint);
            if (places.empty())
                continue;
            std::string more;
            if (m_options.layout.isTerminal() && places.size() > MOST_PLACES) {
                more = " and on " + std::to_string(places.size() - MOST_PLACES) + " more";
                places.resize(MOST_PLACES);
            }
            std::string const line =
                printable(mount.mountPoint + " is also mounted on " + joined(places)) + more + ".";
            for (std::string const& part : wrapped(line, m_options.layout, 0, 2))
                text += part + "\n";
        }
        return text;
    }

    void writeNetworks(Networks const& networks)
    {
        std::vector<AdapterRow> rows;
        for (Adapter const& adapter : networks.adapters) {
            RowContext const shared = context(Subject::NETWORKS, adapter.name);
            if (adapter.addresses.empty())
                rows.push_back({shared, adapter, nullptr, true});
            for (Address const& address : adapter.addresses)
                rows.push_back({shared, adapter, &address, &address == &adapter.addresses.front()});
        }
        FactList details("HOST NAME", knownText(networks.hostName));
        details.add("Name servers",
            networks.nameServers
                ? networks.nameServers->empty() ? "none" : joined(*networks.nameServers)
                : UNKNOWN);
        begin(Subject::NETWORKS,
            tableOf(rows, chosenColumns(ADAPTER_COLUMNS, m_options.columns)).text(m_options.layout),
            details.text(m_options.layout));
    }

    void writeRecovery()
    {
        if (!m_machine.recovery) {
            if (!m_machine.hasProblem(Subject::RECOVERY))
                writeLines(NO_RECOVERY);
            return;
        }
        Recovery const& recovery = *m_machine.recovery;
        std::string progress = UNKNOWN;
        if (recovery.percent) {
            progress = std::to_string(*recovery.percent) + " %";
            if (m_options.layout.isTerminal())
                progress += "  " + barText(double(*recovery.percent));
            if (auto const ofBytes = percentOfMegabytes(recovery))
                progress += "  (" + *ofBytes + " of the MB)";
        }
        auto const doneOfTotal = [](auto done, auto total) {
            return numberText(done) + " of " + numberText(total);
        };
        FactList table("RECOVERY");
        table.add("State", phaseText(recovery));
        table.add("Progress", progress);
        table.add("Files", doneOfTotal(recovery.filesDone, recovery.filesTotal));
        table.add("MB", doneOfTotal(recovery.megabytesDone, recovery.megabytesTotal));
        table.add("Rate",
            recovery.megabytesPerSecond ? numberText(recovery.megabytesPerSecond) + " MB/s"
                                        : UNKNOWN);
        table.add("Recovery started", timeText(recovery.recoverStart));
        table.add("Recovery ended", timeText(recovery.recoverEnd));
        table.add("Restore started", timeText(recovery.restoreStart));
        table.add("Restore ended", timeText(recovery.restoreEnd));
        begin(Subject::RECOVERY, table.text(m_options.layout));
        if (recovery.hasEnded(m_machine.time))
            writeLines(recoveryOutcome(recovery, m_machine.time));
    }

    /** Writes a sentence of its own. */
    void writeLines(std::string const& text)
    {
        if (!m_first)
            m_out << '\n';
        m_first = false;
        for (std::string const& line : wrapped(text, m_options.layout, 0, 0))
            m_out << line << '\n';
    }

    Machine const& m_machine;
    TableOptions const& m_options;
    Notes const m_notes;
    std::ostream& m_out;
    bool m_first = true;
};

}

std::vector<std::string> columnNames(std::string const& list)
{
    std::vector<std::string> names;
    std::istringstream stream(list);
    for (std::string name; std::getline(stream, name, ',');) {
        for (char& c : name)
            c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        names.push_back(name);
    }
    return names;
}

void writeTables(Machine const& machine, TableOptions const& options, std::ostream& out)
{
    TableWriter(machine, options, out).write();
}

void checkColumns(Subjects const& subjects, std::string const& columns)
{
    if (subjects.count(Subject::PROCESSORS))
        chosenColumns(PROCESSOR_COLUMNS, columns);
    else if (subjects.count(Subject::DISKS))
        chosenColumns(DEVICE_COLUMNS, columns);
    else if (subjects.count(Subject::MOUNTS))
        chosenColumns(MOUNT_COLUMNS, columns);
    else if (subjects.count(Subject::NETWORKS))
        chosenColumns(ADAPTER_COLUMNS, columns);
}

void writeColumns(Subject subject, Layout const& layout, std::ostream& out)
{
    switch (subject) {
    case Subject::PROCESSORS:
        out << columnList(PROCESSOR_COLUMNS).text(layout);
        break;
    case Subject::DISKS:
        out << columnList(DEVICE_COLUMNS).text(layout);
        break;
    case Subject::MOUNTS:
        out << columnList(MOUNT_COLUMNS).text(layout);
        break;
    case Subject::NETWORKS:
        out << columnList(ADAPTER_COLUMNS).text(layout);
        break;
    case Subject::SYSTEM:
    case Subject::MEMORY:
    case Subject::RECOVERY:
        break;
    }
}

}
