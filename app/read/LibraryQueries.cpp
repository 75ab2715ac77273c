#include "app/read/LibraryQueries.h"

#include "app/read/answer_bytes.h"
#include "app/read/kernel_file.h"
#include "app/read/library_text.h"

#include <sysinfo/LinuxSystemInformation.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>
#include <set>
#include <sstream>
#include <tuple>

namespace app {

namespace {

using Service = sysinfo::SystemInformation;
using Library = sysinfo::LinuxSystemInformation;
using Texts = std::vector<std::string>;

/** Runs one query and adds its records to the answer. @return the query's result. */
using Query = bool (*)(Library const&, LibraryAnswer&);

Texts textsOf(std::vector<dovrel::ip_address> const& addresses)
{
    Texts texts;
    for (dovrel::ip_address const& address : addresses)
        texts.push_back(textOf(address).value_or("<invalid>"));
    return texts;
}

Texts textsOf(std::vector<dovrel::string> const& strings)
{
    Texts texts;
    for (dovrel::string const& string : strings)
        texts.push_back(textOf(string));
    return texts;
}

LibraryRecord toLibraryRecord(Service::PhysicalDiskInfo const& record)
{
    return {textOf(record.toString()),
        {{"getDiskID", textOf(record.getDiskID())},
            {"getDiskCaption", textOf(record.getDiskCaption())},
            {"getDiskNumberOfPartitions", uint64_t{record.getDiskNumberOfPartitions()}},
            {"getDiskTotalSizeInBytes", record.getDiskTotalSizeInBytes()}}};
}

LibraryRecord toLibraryRecord(Service::DiskInfo const& record)
{
    Texts disks;
    for (auto const& disk : record.getParentDisks())
        disks.push_back(textOf(disk->getDiskID()));
    return {textOf(record.toString()),
        {{"getDiskName", textOf(record.getDiskName())}, {"getParentDisks", disks},
            {"getDiskSizeInBytes", record.getDiskSizeInBytes()},
            {"getDiskFreeInBytes", record.getDiskFreeInBytes()}}};
}

/** Without `toString` and `getCurrentUsage`, each of which measures for 1 to 101 seconds. */
LibraryRecord toLibraryRecord(Service::CPUInfo const& record)
{
    return {{},
        {{"getMaxSpeedInMHZ", uint64_t{record.getMaxSpeedInMHZ()}},
            {"getCurrentSpeedInMHZ", uint64_t{record.getCurrentSpeedInMHZ()}}}};
}

LibraryRecord toLibraryRecord(Service::NetworkInfo const& record)
{
    return {textOf(record.toString()),
        {{"getName", textOf(record.getName())}, {"getHostname", textOf(record.getHostname())},
            {"getMACAddr", textOf(record.getMACAddr()).value_or("")},
            {"getIPAddrs", textsOf(record.getIPAddrs())},
            {"getNetmasks", textsOf(record.getNetmasks())},
            {"getDNSAddrs", textsOf(record.getDNSAddrs())},
            {"getGatewayAddrs", textsOf(record.getGatewayAddrs())}}};
}

/** Runs a query, and adds what it has found by then, also where it throws. */
template <class Run, class Add> bool runThenAdd(Run const& run, Add const& add)
{
    try {
        bool const complete = run();
        add();
        return complete;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (...) {
        add();
        throw;
    }
}

template <class Record, auto QUERY> bool listRecords(Library const& library, LibraryAnswer& answer)
{
    std::vector<dovrel::value_ptr<Record>> records;
    auto const addAll = [&] {
        for (auto const& record : records)
            answer.records.push_back(toLibraryRecord(*record));
    };
    return runThenAdd([&] { return (library.*QUERY)(records); }, addAll);
}

bool querySystem(Library const& library, LibraryAnswer& answer)
{
    std::string vendor;
    std::string product;
    std::string version;
    Service::HypervisorType hypervisor = Service::HYPERVISOR_NONE;
    auto const add = [&] {
        answer.records.push_back({{},
            {{"vendor", vendor}, {"product", product}, {"version", version},
                {"hypervisor", uint64_t{hypervisor}}}});
    };
    return runThenAdd(
        [&] { return library.getSystemInfo(vendor, product, version, hypervisor); }, add);
}

bool queryMemory(Library const& library, LibraryAnswer& answer)
{
    uint64_t totalKiB = 0; // The library raises it to the sum of the modules.
    uint64_t freeKiB = 0;
    auto const add = [&] {
        answer.records.push_back({{}, {{"totalKiB", totalKiB}, {"freeKiB", freeKiB}}});
    };
    return runThenAdd([&] { return library.getMemoryInfo(totalKiB, freeKiB); }, add);
}

struct Entry {
    Subject subject;
    char const* name;
    Query query;
    char const* source; ///< The file that the query parses; null where there is no single one.
    bool tracesResults; ///< Whether its trace tells why it left something out.
};

constexpr Entry QUERIES[] = {
    {Subject::SYSTEM, "getSystemInfo", querySystem, nullptr, false},
    {Subject::PROCESSORS, "getCPUsInternal",
        listRecords<Service::CPUInfo, &Library::getCPUsInternal>, "/proc/stat", false},
    {Subject::MEMORY, "getMemoryInfo", queryMemory, "/proc/meminfo", false},
    {Subject::DISKS, "getPhysicalDisksInternal",
        listRecords<Service::PhysicalDiskInfo, &Library::getPhysicalDisksInternal>,
        "/proc/partitions", true},
    {Subject::MOUNTS, "getDisksInternal",
        listRecords<Service::DiskInfo, &Library::getDisksInternal>, "/proc/mounts", true},
    {Subject::NETWORKS, "getNetworksInternal",
        listRecords<Service::NetworkInfo, &Library::getNetworksInternal>, "/etc/resolv.conf",
        false},
};

/** @return why the library cannot list adapters; empty where it has the tools that it runs. */
std::string missingTools()
{
    auto const isMissing = [](std::string const& tool) {
        // The folders in which the library looks.
        constexpr char const* FOLDERS[] = {"/bin/", "/sbin/", "/usr/sbin/", "/usr/bin/"};
        return std::none_of(std::begin(FOLDERS), std::end(FOLDERS),
            [&tool](char const* folder) { return exists(folder + tool); });
    };
    std::string missing;
    for (char const* const tool : {"ifconfig", "route", "cat"})
        if (isMissing(tool))
            missing += (missing.empty() ? "no " : " and no ") + std::string(tool);
    return missing.empty() ? "" : "/bin, /sbin, /usr/sbin and /usr/bin have " + missing;
}

/** @return why the library does not find both figures of the kernel; empty where it can. */
std::string whyNoMemory(std::string const& meminfo)
{
    if (meminfo.empty())
        return "/proc/meminfo cannot be read";
    std::set<std::string> missing = {"MemTotal", "MemFree"};
    for (std::string const& line : linesOf(meminfo))
        missing.erase(line.substr(0, line.find(':')));
    if (!missing.empty())
        return "/proc/meminfo has no " + *missing.begin();
    // The library reads groups of a label, a number and a unit, and ends at any other.
    std::set<std::string> unread = {"MemTotal:", "MemFree:"};
    std::istringstream text(meminfo);
    std::string label;
    std::string unit;
    for (uint64_t number = 0; text >> label >> number >> unit;)
        unread.erase(label);
    return unread.empty() ? ""
                          : "/proc/meminfo has lines of another form before MemTotal or MemFree";
}

/** @return why a query returned false, where the facts at hand show it. */
std::string whyFalse(Entry const& entry, std::string const& source)
{
    switch (entry.subject) {
    case Subject::SYSTEM:
        return "neither the firmware nor the processor identifies the machine";
    case Subject::MEMORY:
        return whyNoMemory(source);
    case Subject::NETWORKS:
        return missingTools();
    default:
        return "";
    }
}

/** In the child. */
std::string answerBytes(Entry const& entry, TraceOutput& trace)
{
    auto const begun = std::chrono::steady_clock::now();
    LibraryAnswer answer;
    answer.query = entry.name;
    trace.takeFailure();
    if (entry.tracesResults)
        trace.keepResults();
    try {
        Library const library;
        if (!entry.query(library, answer))
            answer.outcome = LibraryAnswer::RETURNED_FALSE;
    } catch (std::exception const& error) {
        answer.outcome = LibraryAnswer::THREW;
        answer.reason = error.what();
    }
    answer.trace = trace.results();
    answer.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    if (entry.source)
        answer.source = readFile(entry.source).value_or("");
    // The message is written for people, the exception for programs.
    std::string const cause = trace.takeFailure();
    if (answer.outcome == LibraryAnswer::RETURNED_FALSE) {
        answer.reason = whyFalse(entry, answer.source);
        if (answer.reason.empty())
            answer.reason = cause;
    } else if (answer.outcome == LibraryAnswer::THREW && !cause.empty()) {
        answer.reason = cause;
    }
    return bytesOf(answer);
}

}

LibraryQueries::LibraryQueries(
    Machine const& machine, std::chrono::steady_clock::duration limit, TraceOutput& trace)
    : m_limit(limit), m_begun(std::chrono::steady_clock::now())
{
    for (Entry const& entry : QUERIES)
        if (machine.wasAskedFor(entry.subject))
            m_children.emplace(std::piecewise_construct, std::tuple(entry.subject),
                std::tuple([&] { return answerBytes(entry, trace); }, !trace.isShown()));
}

void LibraryQueries::finish(Machine& machine, std::function<void(Subject)> const& waiting)
{
    for (Entry const& entry : QUERIES) {
        auto const child = m_children.find(entry.subject);
        if (child == m_children.end())
            continue;
        if (waiting)
            waiting(entry.subject);
        TimedChild::Result const result = child->second.wait(m_begun + m_limit);
        if (result.end == TimedChild::ENDED) {
            machine.library[entry.subject] = answerOf(result.bytes);
            continue;
        }
        LibraryAnswer& answer = machine.library[entry.subject];
        answer.query = entry.name;
        answer.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - m_begun).count();
        if (result.end == TimedChild::NOT_STARTED) {
            answer.outcome = LibraryAnswer::CRASHED;
            answer.reason = std::string("no process can be started for the query: ")
                + std::strerror(result.error);
        } else if (result.end == TimedChild::CRASHED) {
            answer.outcome = LibraryAnswer::CRASHED;
            answer.reason = "the process that ran the query ended without a result";
        } else {
            answer.outcome = LibraryAnswer::NOT_ENDED;
            answer.reason = "the query, or a tool that it runs, did not end in time";
        }
    }
}

LibraryRecord toLibraryRecord(Service::CloneInfo const& record)
{
    auto const number = [](unsigned value) { return uint64_t{value}; };
    auto const time = [](long seconds) { return int64_t{seconds}; };
    return {textOf(record.toString()),
        {{"getOperationID", number(record.getOperationID())},
            {"getFailedOperationID", number(record.getFailedOperationID())},
            {"getOperationProgress", number(record.getOperationProgress())},
            {"getTotalFiles", number(record.getTotalFiles())},
            {"getTotalMBytes", number(record.getTotalMBytes())},
            {"getFilesDone", number(record.getFilesDone())},
            {"getMBytesDone", number(record.getMBytesDone())},
            {"getRecoverStartTime", time(record.getRecoverStartTime())},
            {"getRecoverEndTime", time(record.getRecoverEndTime())},
            {"getRestoreStartTime", time(record.getRestoreStartTime())},
            {"getRestoreEndTime", time(record.getRestoreEndTime())},
            {"getThroughput", record.getThroughput()},
            {"getLastError", textOf(record.getLastError())}}};
}

}
