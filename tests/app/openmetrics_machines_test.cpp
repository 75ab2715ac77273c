// The metrics of the fake machines, compared with their JSON and with the table in app/README.md.

#include "tests/app/MetricsText.h"
#include "tests/app/recorded_machines.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <regex>
#include <set>

namespace {

using app_test::MetricsText;
using app_test::recorded;
using testkit::Json;
using LabelTexts = std::map<std::string, std::string>;

/** A string of JSON as a label has it: the format cannot escape control characters. */
std::string labelText(std::string const& text)
{
    static std::regex const controls("[\\x00-\\x09\\x0B-\\x1F\\x7F]|\xC2[\x80-\x9F]");
    return std::regex_replace(text, controls, "\xEF\xBF\xBD");
}

/** The labels of a JSON object's facts, by the label's name and the fact's key. */
LabelTexts labelsOf(Json const& item, std::map<std::string, std::string> const& keys)
{
    LabelTexts labels;
    for (auto const& [label, key] : keys) {
        Json const& fact = item.at(key);
        std::string const text = fact.is_string() ? fact.get<std::string>() : fact.dump();
        if (!fact.is_null() && !text.empty())
            labels[label] = labelText(text);
    }
    return labels;
}

/** Seconds since 1970 of a local time in UTC. */
Json secondsOf(Json const& time)
{
    if (time.is_null())
        return time;
    std::tm parts{};
    auto const text = time.get<std::string>();
    char const* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S+00:00", &parts);
    EXPECT_TRUE(rest && *rest == '\0') << time;
    return timegm(&parts);
}

/** The samples of a machine that no fact of its JSON has been compared with yet. */
class Comparison {
public:
    explicit Comparison(MetricsText const& metrics)
    {
        for (auto const& [name, family] : metrics.families())
            for (auto const& sample : family.samples)
                m_samples[{name, sample.labels}] = sample.value;
    }

    /** Expects a sample with the fact's value, or none where it is null. */
    void compare(
        std::string const& name, LabelTexts const& labels, Json const& fact, double unit = 1)
    {
        if (!m_compared.insert({name, labels}).second)
            return; // An item whose labels an earlier one has.
        auto const sample = m_samples.find({name, labels});
        if (fact.is_null()) {
            EXPECT_EQ(sample, m_samples.end()) << name << Json(labels);
            return;
        }
        ASSERT_NE(sample, m_samples.end()) << name << Json(labels);
        double const value = fact.is_boolean() ? fact.get<bool>() : fact.get<double>();
        EXPECT_DOUBLE_EQ(sample->second, value * unit) << name << Json(labels);
        m_samples.erase(sample);
    }

    /** Compares facts of an item, by the name of the metric. */
    void compareAll(std::map<std::string, std::string> const& keys, LabelTexts const& labels,
        Json const& item, double unit = 1)
    {
        for (auto const& [name, key] : keys)
            compare(name, labels, item.at(key), unit);
    }

    void info(std::string const& name, LabelTexts const& labels)
    {
        compare(name, labels, labels.empty() ? Json() : Json(1));
    }

    /** One of the states is 1. */
    void states(std::string const& name, std::string const& label,
        std::vector<std::string> const& all, LabelTexts labels, Json const& state)
    {
        for (std::string const& one : all) {
            labels[label] = one;
            compare(name, labels, state.is_null() ? Json() : Json(state == one));
        }
    }

    /** @return the families of the other samples. */
    std::set<std::string> others() const
    {
        std::set<std::string> names;
        for (auto const& [key, value] : m_samples)
            names.insert(key.first);
        return names;
    }

private:
    using Key = std::pair<std::string, LabelTexts>;
    std::map<Key, double> m_samples;
    std::set<Key> m_compared;
};

void compareSystem(Comparison& metrics, Json const& system)
{
    LabelTexts machine = labelsOf(system,
        {{"vendor", "vendor"}, {"product", "product"}, {"version", "version"},
            {"virtual_machine", "virtual_machine"}, {"container", "container"}});
    machine.merge(labelsOf(system.at("firmware"),
        {{"firmware_vendor", "vendor"}, {"firmware_version", "version"},
            {"firmware_date", "date"}}));
    metrics.info("dovrel_machine_info", machine);
    metrics.info("dovrel_os_info",
        labelsOf(system,
            {{"host_name", "host_name"}, {"os", "os"}, {"kernel", "kernel"},
                {"architecture", "architecture"}}));
    metrics.compare("dovrel_boot_timestamp_seconds", {}, secondsOf(system.at("boot_time")));
    metrics.compare("dovrel_uptime_seconds", {}, system.at("uptime_seconds"));
}

void compareProcessors(Comparison& metrics, Json const& processors)
{
    metrics.info("dovrel_cpu_model_info", labelsOf(processors, {{"model", "model"}}));
    metrics.compareAll(
        {{"dovrel_cpus", "count"}, {"dovrel_cpu_sockets", "sockets"}, {"dovrel_cpu_cores", "cores"},
            {"dovrel_numa_nodes", "numa_nodes"}, {"dovrel_all_cpus_load_ratio", "load_ratio"}},
        {}, processors);
    for (Json const& processor : processors.at("list")) {
        LabelTexts const cpu = labelsOf(processor, {{"cpu", "number"}});
        metrics.info("dovrel_cpu_info",
            labelsOf(processor,
                {{"cpu", "number"}, {"socket", "socket"}, {"core", "core"},
                    {"numa_node", "numa_node"}}));
        metrics.compare("dovrel_cpu_load_ratio", cpu, processor.at("load_ratio"));
        metrics.compareAll({{"dovrel_cpu_lowest_hertz", "lowest_hertz"},
                               {"dovrel_cpu_current_hertz", "current_hertz"},
                               {"dovrel_cpu_highest_hertz", "highest_hertz"}},
            cpu, processor);
    }
}

void compareMemory(Comparison& metrics, Json const& memory)
{
    metrics.compareAll(
        {{"dovrel_memory_total_bytes", "total_bytes"}, {"dovrel_memory_used_bytes", "used_bytes"},
            {"dovrel_memory_available_bytes", "available_bytes"},
            {"dovrel_memory_free_bytes", "free_bytes"},
            {"dovrel_memory_buffers_bytes", "buffers_bytes"},
            {"dovrel_memory_caches_bytes", "caches_bytes"},
            {"dovrel_swap_total_bytes", "swap_total_bytes"},
            {"dovrel_swap_used_bytes", "swap_used_bytes"}},
        {}, memory);
    for (Json const& module : memory.at("modules")) {
        metrics.info(
            "dovrel_memory_module_info", labelsOf(module, {{"slot", "slot"}, {"type", "type"}}));
        metrics.compareAll(
            {{"dovrel_memory_module_size_bytes", "size_bytes"},
                {"dovrel_memory_module_transfers_per_second", "transfers_per_second"}},
            labelsOf(module, {{"slot", "slot"}}), module);
    }
}

void compareDisk(Comparison& metrics, Json const& disk)
{
    LabelTexts const device = labelsOf(disk, {{"device", "name"}});
    metrics.info("dovrel_disk_info",
        labelsOf(disk,
            {{"device", "name"}, {"label", "label"}, {"type", "type"}, {"kind", "kind"},
                {"transport", "transport"}, {"model", "model"}, {"serial", "serial"},
                {"parent", "parent"}, {"number", "device"}}));
    metrics.compareAll(
        {{"dovrel_disk_size_bytes", "size_bytes"}, {"dovrel_disk_partitions", "partitions"},
            {"dovrel_disk_read_only", "read_only"}, {"dovrel_disk_removable", "removable"},
            {"dovrel_disk_logical_sector_bytes", "logical_sector_bytes"},
            {"dovrel_disk_physical_sector_bytes", "physical_sector_bytes"}},
        device, disk);
    for (Json const& slave : disk.at("slaves")) {
        LabelTexts labels = device;
        labels["slave"] = labelText(slave);
        metrics.info("dovrel_disk_slave_info", labels);
    }
}

void compareMount(Comparison& metrics, Json const& mount)
{
    std::map<std::string, std::string> const keys = {
        {"mountpoint", "mount_point"}, {"fstype", "filesystem"}, {"source", "source"}};
    LabelTexts const place = labelsOf(mount, keys);
    LabelTexts labels = labelsOf(mount,
        {{"device", "device"}, {"network", "network"}, {"same_as", "same_as"},
            {"hidden_by", "hidden_by"}});
    labels.insert(place.begin(), place.end());
    metrics.info("dovrel_filesystem_info", labels);
    for (Json const& disk : mount.at("disks")) {
        labels = place;
        labels["device"] = labelText(disk);
        metrics.info("dovrel_filesystem_disk_info", labels);
    }
    metrics.compareAll(
        {{"dovrel_filesystem_read_only", "read_only"},
            {"dovrel_filesystem_size_bytes", "size_bytes"},
            {"dovrel_filesystem_used_bytes", "used_bytes"},
            {"dovrel_filesystem_available_bytes", "available_bytes"},
            {"dovrel_filesystem_used_ratio", "used_ratio"}, {"dovrel_filesystem_inodes", "inodes"},
            {"dovrel_filesystem_free_inodes", "free_inodes"}},
        place, mount);
}

void compareAdapter(Comparison& metrics, Json const& adapter)
{
    constexpr double BYTES_OF_A_BIT = 0.125;
    LabelTexts const name = labelsOf(adapter, {{"adapter", "name"}});
    metrics.info("dovrel_adapter_info",
        labelsOf(adapter, {{"adapter", "name"}, {"kind", "kind"}, {"mac", "mac"}}));
    metrics.states(
        "dovrel_adapter_state", "state", {"up", "down", "no_carrier"}, name, adapter.at("state"));
    metrics.compare("dovrel_adapter_speed_bytes_per_second", name,
        adapter.at("speed_bits_per_second"), BYTES_OF_A_BIT);
    metrics.compare("dovrel_adapter_mtu_bytes", name, adapter.at("mtu_bytes"));
    for (Json const& address : adapter.at("addresses")) {
        LabelTexts labels = labelsOf(address,
            {{"address", "address"}, {"prefix_length", "prefix_length"}, {"scope", "scope"}});
        labels.insert(name.begin(), name.end());
        metrics.info("dovrel_adapter_address_info", labels);
    }
    for (Json const& gateway : adapter.at("gateways")) {
        LabelTexts labels = name;
        labels["gateway"] = labelText(gateway);
        metrics.info("dovrel_adapter_gateway_info", labels);
    }
}

void compareRecovery(Comparison& metrics, Json const& recovery)
{
    metrics.states("dovrel_recovery_phase", "phase",
        {"idle", "early", "restoring", "final_sync", "later"}, {}, recovery.at("state"));
    metrics.compareAll(
        {{"dovrel_recovery_operation", "operation"}, {"dovrel_recovery_files_done", "files_done"},
            {"dovrel_recovery_files_planned", "files_total"}},
        {}, recovery);
    metrics.compareAll({{"dovrel_recovery_done_bytes", "bytes_done"},
                           {"dovrel_recovery_planned_bytes", "bytes_total"},
                           {"dovrel_recovery_rate_bytes_per_second", "bytes_per_second"}},
        {}, recovery);
    metrics.compare("dovrel_recovery_progress_ratio", {}, recovery.at("done_ratio"));
    for (std::string const part : {"recover", "restore"})
        for (std::string const end : {"start", "end"})
            metrics.compare("dovrel_" + (part == "recover" ? "recovery" : part) + "_" + end
                    + "_timestamp_seconds",
                {}, secondsOf(recovery.at(part + "_" + end)));
}

class MachineMetrics : public testing::TestWithParam<char const*> { };

}

TEST_P(MachineMetrics, haveTheFiguresOfTheJsonAndNoOthers)
{
    std::string const name = GetParam();
    Json const document = app_test::recordedDocument(name);
    MetricsText const text(recorded(name + ".prom"));
    Comparison metrics(text);

    if (!document.at("system").is_null())
        compareSystem(metrics, document.at("system"));
    if (!document.at("processors").is_null())
        compareProcessors(metrics, document.at("processors"));
    if (!document.at("memory").is_null())
        compareMemory(metrics, document.at("memory"));
    for (Json const& disk : document.at("disks"))
        compareDisk(metrics, disk);
    for (Json const& mount : document.at("mounts"))
        compareMount(metrics, mount);
    if (!document.at("networks").is_null()) {
        Json const& networks = document.at("networks");
        metrics.info("dovrel_network_info", labelsOf(networks, {{"host_name", "host_name"}}));
        for (Json const& address : networks.at("name_servers"))
            metrics.info("dovrel_name_server_info", {{"address", labelText(address)}});
        for (Json const& adapter : networks.at("adapters"))
            compareAdapter(metrics, adapter);
    }
    if (!document.at("recovery").is_null() && document.at("recovery").at("state") != "none")
        compareRecovery(metrics, document.at("recovery"));
    std::map<std::string, int> problems;
    for (char const* const subject :
        {"system", "processors", "memory", "disks", "mounts", "networks", "recovery"})
        problems[subject] = 0;
    for (Json const& problem : document.at("problems"))
        ++problems[problem.at("subject")];
    for (auto const& [subject, count] : problems)
        metrics.compare("dovrel_problems", {{"subject", subject}}, count);

    std::set<std::string> const others = {"dovrel_query_duration_seconds", "dovrel_query_success",
        "dovrel_read_timestamp_seconds", "dovrel_recovery_running"};
    EXPECT_THAT(others, testing::IsSupersetOf(metrics.others()));
    EXPECT_EQ(text.families().at("dovrel_query_success").samples.size(), 7U);
}

INSTANTIATE_TEST_SUITE_P(All, MachineMetrics, testing::ValuesIn(app_test::RECORDED_MACHINES),
    [](auto const& test) { return std::string(test.param); });

TEST(OpenMetricsTable, hasEveryMetricOfTheMachinesWithItsLabelsAndItsHelp)
{
    std::map<std::string, std::string> documented;
    std::string const page = testkit::contentsOf(DOVREL_SOURCE_FOLDER "/app/README.md");
    std::regex const row("\\| `(dovrel_[a-z_]+)` \\| ([a-z_`, ]*?) ?\\| (.*) \\|");
    std::smatch cells;
    for (std::string const& line : testkit::linesOf(page))
        if (std::regex_match(line, cells, row))
            documented[cells[1]] = std::string(cells[2]) + " | " + std::string(cells[3]);

    std::map<std::string, std::string> written;
    std::map<std::string, std::set<std::string>> labels;
    for (std::string const machine : app_test::RECORDED_MACHINES) {
        MetricsText const text(recorded(machine + ".prom"));
        for (auto const& [name, family] : text.families()) {
            written[name] = family.help;
            for (auto const& sample : family.samples)
                for (auto const& [label, value] : sample.labels)
                    labels[name].insert(label);
        }
    }
    for (auto& [name, text] : written) {
        std::string list;
        for (std::string const& label : labels[name])
            list += (list.empty() ? "`" : ", `") + label + "`";
        // Help is a sentence; a cell has no full stop.
        text = list + " | " + text.substr(0, text.size() - 1);
    }
    EXPECT_EQ(documented, written);
}
