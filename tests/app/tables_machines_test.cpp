// The tables of the fake machines but those of the storage.

#include "tests/app/MachineTables.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <regex>

using app_test::CommandText;
using app_test::MachineTables;
using app_test::ScreenCells;
using app_test::ScreenNotes;
using app_test::shown;
using testkit::Json;
using Texts = std::vector<std::string>;

namespace {

constexpr uint64_t UNITS_OF_A_MEGA = 1'000'000;

/** The share of a part; null where one of the two is unknown. */
Json shareOf(Json const& part, Json const& whole)
{
    if (part.is_null() || whole.is_null())
        return {};
    return part.get<double>() / whole.get<double>();
}

void compareAdapterRow(ScreenCells& row, Json const& adapter, Json const& address)
{
    row.text("NAME", adapter.at("name"));
    row.text("KIND", adapter.at("kind"));
    Json const& state = adapter.at("state");
    row.equals("STATE", state == "no_carrier" ? "no carrier" : state.is_null() ? "-" : state);
    Json const length = address.is_null() ? Json() : address.at("prefix_length");
    row.equals("ADDRESS",
        address.is_null() ? "none"
                          : address.at("address").get<std::string>()
                + (length.is_null() ? "" : "/" + length.dump()));
    row.equals("SCOPE", address.is_null() ? "" : shown(address.at("scope")));
    // JSON has null for an adapter without a hardware address too.
    std::string const mac = row.take("MAC");
    if (adapter.at("mac").is_null())
        EXPECT_THAT(mac, testing::AnyOf("-", "none"));
    else
        EXPECT_EQ(Json(mac), adapter.at("mac"));
    row.number("MBIT", adapter.at("speed_bits_per_second"), UNITS_OF_A_MEGA);
    row.number("MTU", adapter.at("mtu_bytes"));
    row.list("GATEWAY", adapter.at("gateways"), "none");
}

}

TEST_P(MachineTables, ofTheSystemHaveTheFactsOfTheJson)
{
    Json const& system = m_document.at("system");
    ScreenCells facts(app_test::labelsIn(command("system").blocks.at(0)));
    facts.equals("SYSTEM", "");
    for (auto const& [label, key] : std::map<std::string, std::string>{{"Host name", "host_name"},
             {"Vendor", "vendor"}, {"Product", "product"}, {"Version", "version"},
             {"Virtual machine", "virtual_machine"}, {"Container", "container"},
             {"Operating system", "os"}, {"Kernel", "kernel"}, {"Architecture", "architecture"}})
        facts.text(label, system.at(key));
    std::string firmware;
    for (char const* const key : {"vendor", "version", "date"})
        if (Json const& part = system.at("firmware").at(key); !part.is_null())
            firmware += (firmware.empty() ? "" : " ") + shown(part);
    facts.equals("Firmware", firmware.empty() ? "-" : firmware);
    facts.time("Booted", system.at("boot_time"));
    std::string const uptime = facts.take("Uptime");
    std::smatch parts;
    if (Json const& seconds = system.at("uptime_seconds"); seconds.is_null()) {
        EXPECT_EQ(uptime, "-");
    } else {
        ASSERT_TRUE(
            std::regex_match(uptime, parts, std::regex("(?:([0-9]+) days? )?([0-9]+):([0-9]{2})")));
        auto const days = parts[1].matched ? std::stoull(parts[1]) : 0;
        EXPECT_EQ((days * 24 + std::stoull(parts[2])) * 60 + std::stoull(parts[3]),
            seconds.get<uint64_t>() / 60);
    }
    ScreenNotes(m_document, "system").compare(command("system"));
}

TEST_P(MachineTables, ofTheProcessorsHaveTheFactsOfTheJson)
{
    Json const& processors = m_document.at("processors");
    ScreenNotes const notes(m_document, "processors");
    auto const rows = app_test::rowsOf(command("cpus").blocks.at(0));
    ASSERT_EQ(rows.size(), processors.at("list").size());
    for (size_t i = 0; i < rows.size(); ++i) {
        Json const& processor = processors.at("list").at(i);
        SCOPED_TRACE(processor);
        ScreenCells row(rows[i]);
        row.number("CPU", processor.at("number"));
        row.number("MIN-MHZ", processor.at("lowest_hertz"), UNITS_OF_A_MEGA);
        row.number("MHZ", processor.at("current_hertz"), UNITS_OF_A_MEGA);
        row.number("MAX-MHZ", processor.at("highest_hertz"), UNITS_OF_A_MEGA);
        row.percent("LOAD", processor.at("load_ratio"));
        row.equals("NOTE", notes.marks(processor.at("number").dump()));
    }
    ScreenCells facts(app_test::labelsIn(command("cpus").blocks.at(1)));
    facts.number("PROCESSORS", processors.at("count"));
    facts.text("Model", processors.at("model"));
    facts.number("Sockets", processors.at("sockets"));
    facts.number("Cores", processors.at("cores"));
    facts.number("NUMA nodes", processors.at("numa_nodes"));
    facts.percent("Load of all", processors.at("load_ratio"));
    notes.compare(command("cpus"));
}

TEST_P(MachineTables, ofTheMemoryHaveTheFactsOfTheJson)
{
    Json const& memory = m_document.at("memory");
    if (memory.is_null()) {
        EXPECT_THAT(command("memory").blocks, testing::IsEmpty());
        return;
    }
    auto const rows = app_test::rowsOf(command("memory").blocks.at(0));
    bool const noSwap = memory.at("swap_total_bytes") == 0;
    static Texts const names = {
        "Total", "Used", "Available", "Free", "Buffers", "Caches", "Swap", "Swap used"};
    static Texts const keys = {
        "total", "used", "available", "free", "buffers", "caches", "swap_total", "swap_used"};
    ASSERT_EQ(rows.size(), names.size() - (noSwap ? 1 : 0));
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(names[i]);
        bool const isWhole = names[i] == "Total" || names[i] == "Swap";
        char const* const whole = i < 6 ? "total_bytes" : "swap_total_bytes";
        Json const& bytes = memory.at(keys.at(i) + "_bytes");
        ScreenCells row(rows[i]);
        row.equals("MEMORY", names[i]);
        if (noSwap && names[i] == "Swap")
            row.equals("SIZE", "none");
        else
            row.size("SIZE", bytes);
        if (isWhole)
            row.equals("SHARE", "");
        else
            row.percent("SHARE", shareOf(bytes, memory.at(whole)));
    }
    Json const& modules = memory.at("modules");
    if (modules.is_array() && !modules.empty()) {
        auto const moduleRows = app_test::rowsOf(command("memory").blocks.at(1));
        ASSERT_EQ(moduleRows.size(), modules.size());
        for (size_t i = 0; i < modules.size(); ++i) {
            Json const& module = modules.at(i);
            SCOPED_TRACE(module);
            ScreenCells row(moduleRows[i]);
            row.text("MODULE", module.at("slot"));
            bool const empty = module.at("size_bytes") == 0;
            Json const& speed = module.at("transfers_per_second");
            if (empty)
                row.equals("SIZE", "empty");
            else
                row.size("SIZE", module.at("size_bytes"));
            row.equals("TYPE", empty ? "" : module.at("type").is_null() ? "-" : module.at("type"));
            if (empty || speed.is_null())
                row.equals("SPEED", empty ? "" : "-");
            else
                row.equals(
                    "SPEED", std::to_string(speed.get<uint64_t>() / UNITS_OF_A_MEGA) + " MT/s");
        }
    }
    ScreenNotes(m_document, "memory").compare(command("memory"));
}

TEST_P(MachineTables, ofTheNetworksHaveTheFactsOfTheJson)
{
    Json const& networks = m_document.at("networks");
    ScreenNotes const notes(m_document, "networks");
    auto const rows = app_test::rowsOf(command("networks").blocks.at(0));
    size_t next = 0;
    for (Json const& adapter : networks.at("adapters")) {
        Json addresses = adapter.at("addresses");
        if (addresses.empty())
            addresses.push_back(nullptr);
        for (Json const& address : addresses) {
            SCOPED_TRACE(adapter.at("name"));
            ASSERT_LT(next, rows.size());
            ScreenCells row(rows[next++]);
            compareAdapterRow(row, adapter, address);
            row.equals("NOTE", notes.marks(adapter.at("name")));
        }
    }
    EXPECT_EQ(next, rows.size());
    ScreenCells facts(app_test::labelsIn(command("networks").blocks.at(1)));
    facts.text("HOST NAME", networks.at("host_name"));
    facts.list("Name servers", networks.at("name_servers"), "none");
    notes.compare(command("networks"));
}

TEST_P(MachineTables, ofTheRecoveryHaveTheFactsOfTheJson)
{
    Json const& recovery = m_document.at("recovery");
    CommandText const& text = command("recovery");
    if (recovery.is_null()) {
        EXPECT_THAT(text.blocks, testing::IsEmpty());
        return;
    }
    if (recovery.at("state") == "none") {
        EXPECT_THAT(text.blocks,
            testing::ElementsAre(
                testing::ElementsAre("no recovery has been started on this machine")));
        return;
    }
    ScreenCells facts(app_test::labelsIn(text.blocks.at(0)));
    facts.equals("RECOVERY", "");
    // The recoveries of these machines are over.
    facts.equals("State", "finished");
    facts.equals("Progress",
        std::to_string(std::lround(recovery.at("done_ratio").get<double>() * 100)) + " %");
    facts.equals(
        "Files", recovery.at("files_done").dump() + " of " + recovery.at("files_total").dump());
    auto const megabytes = [&recovery](char const* key) {
        constexpr uint64_t BYTES_OF_ONE = 1 << 20;
        return std::to_string(recovery.at(key).get<uint64_t>() / BYTES_OF_ONE);
    };
    facts.equals("MB", megabytes("bytes_done") + " of " + megabytes("bytes_total"));
    facts.equals("Rate", megabytes("bytes_per_second") + " MB/s");
    facts.time("Recovery started", recovery.at("recover_start"));
    facts.time("Recovery ended", recovery.at("recover_end"));
    facts.time("Restore started", recovery.at("restore_start"));
    facts.time("Restore ended", recovery.at("restore_end"));
}

TEST_P(MachineTables, haveTheErrorsAndTheStatusOfTheJson)
{
    Json const documents = Json::parse(app_test::recorded(m_name + ".json"));
    for (auto const& [name, text] : m_commands) {
        SCOPED_TRACE(name);
        Json const& document = documents.at("dovrel-sysinfo" + (name.empty() ? "" : " " + name));
        EXPECT_EQ(Json(text.errors), document.at("errors"));
        EXPECT_EQ(Json(text.status), document.at("status"));
    }
}

INSTANTIATE_TEST_SUITE_P(All, MachineTables, testing::ValuesIn(app_test::RECORDED_MACHINES),
    [](auto const& test) { return std::string(test.param); });
