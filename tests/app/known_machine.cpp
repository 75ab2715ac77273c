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
constexpr unsigned KVM = 4;

std::vector<app::Disk> knownDisks()
{
    return {{"sda", "MODEL_1", 2, 1000204886016, 500107862016},
        {"cciss/c0d0", "", 0, 4096, std::nullopt},
        {"sd\x1B[2Jb", "EVIL\x07\x7F\xC2\x9B", 1, std::nullopt, 42}};
}

std::vector<app::Mount> knownMounts()
{
    return {{"/", "/", {"sda"}, 1000 * GIB, 250 * GIB},
        {"/gone", "/gone", {}, std::nullopt, std::nullopt},
        {"/media/my disk", "/media/my\\040disk", {"sda", "cciss/c0d0"}, 2 * GIB, 0},
        {"/odd\x1B[2J", "/odd\\033[2J", {"unlisted"}, 1024, 2048}};
}

app::Networks knownNetworks()
{
    return {"file\x1Bserver",
        {{"eth0", "00:0c:29:aa:bb:cc",
             {{"10.0.0.5", "255.255.255.0"}, {"fe80::1", std::nullopt}, {"10.0.0.6", "255.0.0.0"}},
             {"255.255.255.0", "255.0.0.0"}},
            {"ib\x1B[2J", "80:00:00:48:fe:80:01:02",
                {{std::nullopt, "255.255.0.0"}, {"10.1.0.1", "\x1B[2J"}},
                {"255.255.0.0", "\x1B[2J"}},
            {"tun0", std::nullopt, {}, {}}},
        {{"10.0.0.1", std::nullopt}}};
}

/** Fills one part in. Without a default, so that a new subject does not compile until it is here
 * and every test of all subjects has it. */
void fill(app::Machine& machine, Subject subject)
{
    switch (subject) {
    case Subject::SYSTEM:
        machine.system = {"Acme\x1B[2J", "Rocket 9000", "", KVM};
        break;
    case Subject::PROCESSORS:
        machine.processors = {{1200, std::nullopt, 25.0}, {std::nullopt, 10400, std::nullopt}};
        machine.loadsMeasured = true;
        break;
    case Subject::MEMORY:
        machine.memory = {16 * GIB, 4 * GIB, app::MemorySource::MODULES};
        break;
    case Subject::DISKS:
        machine.disks = knownDisks();
        break;
    case Subject::MOUNTS:
        machine.mounts = knownMounts();
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

app::Problem failureOf(Subject subject)
{
    return {subject, "a part of the machine", "the test says so", "the test"};
}

std::vector<std::string> tablesOf(app::Machine const& machine, app::TableOptions options)
{
    std::ostringstream out;
    app::writeTables(machine, options, out);
    return linesOf(out.str());
}

std::vector<std::string> summaryOf(app::Machine const& machine)
{
    std::ostringstream out;
    app::writeSummary(machine, out);
    return linesOf(out.str());
}

std::string jsonTextOf(app::Machine const& machine, bool diskTree)
{
    std::ostringstream out;
    app::writeJson(machine, diskTree, out);
    return out.str();
}

nlohmann::json jsonOf(app::Machine const& machine, bool diskTree)
{
    return nlohmann::json::parse(jsonTextOf(machine, diskTree));
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
