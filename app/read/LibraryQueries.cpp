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
    char const* reason; ///< Of a result false without a cause in the trace.
};

constexpr Entry QUERIES[] = {
    {Subject::SYSTEM, "getSystemInfo", querySystem,
        "neither the firmware nor the processor identifies the machine"},
    {Subject::PROCESSORS, "getCPUsInternal",
        listRecords<Service::CPUInfo, &Library::getCPUsInternal>, "/proc/stat cannot be read"},
    {Subject::MEMORY, "getMemoryInfo", queryMemory,
        "the kernel does not report both total and free memory first"},
    {Subject::DISKS, "getPhysicalDisksInternal",
        listRecords<Service::PhysicalDiskInfo, &Library::getPhysicalDisksInternal>,
        "/proc/partitions cannot be read"},
    {Subject::MOUNTS, "getDisksInternal",
        listRecords<Service::DiskInfo, &Library::getDisksInternal>, "/proc/mounts cannot be read"},
    {Subject::NETWORKS, "getNetworksInternal",
        listRecords<Service::NetworkInfo, &Library::getNetworksInternal>,
        "ifconfig, route or cat is missing"},
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
    if (isMissing("ifconfig") || isMissing("route"))
        return "net-tools is not installed";
    return isMissing("cat") ? "cat is not installed" : "";
}

/** In the child. */
std::string answerBytes(Entry const& entry, TraceOutput& trace)
{
    auto const begun = std::chrono::steady_clock::now();
    LibraryAnswer answer;
    answer.query = entry.name;
    trace.takeFailure();
    try {
        Library const library;
        if (!entry.query(library, answer)) {
            answer.outcome = LibraryAnswer::RETURNED_FALSE;
            answer.reason = entry.reason;
        }
    } catch (std::exception const& error) {
        answer.outcome = LibraryAnswer::THREW;
        answer.reason = error.what();
    }
    // The message is written for people, the exception for programs.
    if (std::string const cause = trace.takeFailure();
        !cause.empty() && answer.outcome != LibraryAnswer::RETURNED_TRUE)
        answer.reason = cause;
    if (entry.subject == Subject::NETWORKS && answer.outcome == LibraryAnswer::RETURNED_FALSE)
        if (std::string const tools = missingTools(); !tools.empty())
            answer.reason = tools;
    answer.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
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
            answer.reason = "a tool that the query runs did not end in time";
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
