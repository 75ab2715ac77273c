#include "tests/app/known_machine.h"

#include "app/write/json.h"
#include "app/write/summary.h"
#include "tests/app/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace app_test {

namespace {

using app::Subject;

constexpr uint64_t GIB = 1ULL << 30;

app::System knownSystem()
{
    app::System system;
    system.hostName = "file\x1Bserver";
    system.vendor = "Acme\x1B[2J";
    system.product = "Rocket 9000";
    system.virtualMachine = "none";
    system.osName = "Some Linux 12";
    system.uptimeSeconds = 90061;
    return system;
}

app::Processors knownProcessors()
{
    app::Processors processors;
    processors.list.resize(2);
    processors.list[0].currentMHz = 1200;
    processors.list[0].loadPercent = 25.0;
    processors.list[1].number = 1;
    processors.list[1].highestMHz = 10400;
    processors.model = "Acme CPU";
    processors.loadPercent = 25.0;
    processors.loadsMeasured = true;
    return processors;
}

app::Memory knownMemory()
{
    app::Memory memory;
    memory.total = 16 * GIB;
    memory.available = 4 * GIB;
    memory.swapTotal = 0;
    return memory;
}

std::vector<app::Disk> knownDisks()
{
    app::Disk disk = diskOf("sda");
    disk.model = "MODEL_1";
    app::Disk partition = diskOf("sda1");
    partition.type = app::Disk::PARTITION;
    partition.parent = "sda";
    app::Disk odd = diskOf("sd\x1B[2Jb");
    odd.bytes.reset();
    odd.model = "EVIL\x07\x7F\xC2\x9B";
    return {disk, partition, odd};
}

app::Networks knownNetworks()
{
    app::Networks networks;
    networks.hostName = "file\x1Bserver";
    networks.adapters = {adapterOf("eth0", {"10.0.0.5", "10.0.0.6"}), adapterOf("ib\x1B[2J", {}),
        adapterOf("tun0", {"10.1.0.1"})};
    networks.nameServers = {"10.0.0.1"};
    return networks;
}

/** Fills one part in. Without a default, so that a new subject does not compile until it is here
 * and every test of all subjects has it. */
void fill(app::Machine& machine, Subject subject)
{
    switch (subject) {
    case Subject::SYSTEM:
        machine.system = knownSystem();
        break;
    case Subject::PROCESSORS:
        machine.processors = knownProcessors();
        break;
    case Subject::MEMORY:
        machine.memory = knownMemory();
        break;
    case Subject::DISKS:
        machine.disks = knownDisks();
        break;
    case Subject::MOUNTS:
        machine.mounts = {mountOf("/", 75), mountOf("/odd\x1B[2J", 0)};
        machine.mounts->back().used.reset();
        break;
    case Subject::NETWORKS:
        machine.networks = knownNetworks();
        break;
    case Subject::RECOVERY:
        machine.recovery.emplace().operation = app::OPERATION_RESTORE;
        machine.recovery->percent = 37;
        break;
    }
}

}

app::Subjects allSubjects()
{
    // `fill` is where a new one is missed.
    return {Subject::SYSTEM, Subject::PROCESSORS, Subject::MEMORY, Subject::DISKS, Subject::MOUNTS,
        Subject::NETWORKS, Subject::RECOVERY};
}

app::Machine knownMachine(app::Subjects const& subjects)
{
    app::Machine machine;
    machine.subjects = subjects;
    for (Subject const subject : subjects)
        fill(machine, subject);
    return machine;
}

app::Disk diskOf(std::string const& name)
{
    app::Disk disk;
    disk.name = name;
    disk.label = name;
    disk.device = "8:0";
    disk.bytes = 1024 * GIB;
    disk.rotational = true;
    return disk;
}

app::Mount mountOf(std::string const& place, unsigned usedPercent)
{
    app::Mount mount;
    mount.mountPoint = place;
    mount.source = "/dev/sda1";
    mount.filesystem = "ext4";
    mount.device = "sda1";
    mount.disks = {"sda"};
    mount.size = 100 * GIB;
    mount.used = usedPercent * GIB;
    mount.available = (100 - usedPercent) * GIB;
    return mount;
}

app::Adapter adapterOf(std::string const& name, std::vector<std::string> const& addresses)
{
    constexpr unsigned PREFIX = 24;
    app::Adapter adapter;
    adapter.name = name;
    adapter.state = "up";
    adapter.addresses.emplace();
    for (std::string const& address : addresses)
        adapter.addresses->push_back({address, PREFIX, "global"});
    return adapter;
}

app::Problem failureOf(Subject subject)
{
    return {subject, "a part of the machine", "the test says so", "the test"};
}

app::Layout terminal(size_t columns)
{
    app::Layout layout;
    layout.columns = columns;
    return layout;
}

std::vector<std::string> tablesOf(app::Machine const& machine, app::TableOptions const& options)
{
    std::ostringstream out;
    app::writeTables(machine, options, out);
    return linesOf(out.str());
}

std::vector<std::string> tablesOf(app::Machine const& machine)
{
    return tablesOf(machine, app::TableOptions());
}

std::vector<std::string> summaryOf(app::Machine const& machine, app::Layout const& layout)
{
    std::ostringstream out;
    app::writeSummary(machine, layout, out);
    return linesOf(out.str());
}

std::string jsonTextOf(app::Machine const& machine)
{
    std::ostringstream out;
    app::writeJson(machine, out);
    return out.str();
}

testkit::Json jsonOf(app::Machine const& machine)
{
    return testkit::Json::parse(jsonTextOf(machine));
}

std::vector<std::string> linesBehind(
    std::string const& label, std::vector<std::string> const& summary)
{
    constexpr size_t LABEL_COLUMNS = 12;
    auto line = std::find_if(summary.begin(), summary.end(),
        [&](std::string const& text) { return text.starts_with(label + " "); });
    EXPECT_NE(line, summary.end()) << label;
    std::vector<std::string> found;
    for (; line != summary.end() && (found.empty() || line->starts_with(' ')); ++line)
        found.push_back(line->substr(LABEL_COLUMNS));
    return found;
}

}
