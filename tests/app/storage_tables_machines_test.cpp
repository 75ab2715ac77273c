// The tables of the fake machines: disks, their tree, and mounts.

#include "tests/app/MachineTables.h"
#include "tests/support/Json.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

using app_test::MachineTables;
using app_test::ScreenCells;
using app_test::ScreenNotes;
using app_test::ScreenRow;
using app_test::shown;
using testkit::Json;
using Texts = std::vector<std::string>;

TEST_P(MachineTables, ofTheDisksHaveTheFactsOfTheJson)
{
    ScreenNotes const notes(m_document, "disks");
    std::vector<Json> disks;
    for (bool const physical : {true, false})
        for (Json const& disk : m_document.at("disks"))
            if ((disk.at("type") == "disk" || disk.at("type") == "rom") == physical
                && disk.at("parent").is_null() && disk.at("type") != "loop")
                disks.push_back(disk);
    auto const rows = app_test::rowsOf(command("disks").blocks.at(0));
    ASSERT_EQ(rows.size(), disks.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        Json const& disk = disks[i];
        SCOPED_TRACE(disk);
        ScreenCells row(rows[i]);
        row.text("NAME", disk.at("label"));
        row.text("TYPE", disk.at("type"));
        row.size("SIZE", disk.at("size_bytes"));
        row.number("PARTS", disk.at("partitions"));
        row.list("ON", beneath(disk), "");
        row.equals("NOTE", notes.marks(disk.at("name")));
        if (disk.at("type") == "disk" || disk.at("type") == "rom") {
            Json const& kind = disk.at("kind");
            row.text("KIND", kind == "hdd" ? "HDD" : kind == "ssd" ? "SSD" : kind);
            row.text("TRAN", disk.at("transport"));
            row.text("MODEL", disk.at("model"));
        } else {
            for (auto const& [heading, key] : std::map<std::string, std::string>{
                     {"KIND", "kind"}, {"TRAN", "transport"}, {"MODEL", "model"}}) {
                row.equals(heading, "");
                EXPECT_TRUE(disk.at(key).is_null()) << "a device made of others has none";
            }
        }
    }
    notes.compare(command("disks"));
}

TEST_P(MachineTables, ofTheDeviceTreeHaveTheFactsOfTheJson)
{
    ScreenNotes const notes(m_document, "disks");
    using Edges = std::set<std::pair<std::string, std::string>>;
    Edges expected;
    std::map<std::string, Json> disks;
    for (Json const& disk : m_document.at("disks")) {
        std::string const label = shown(disk.at("label"));
        disks[label] = disk;
        Json lower = beneath(disk);
        if (lower.empty() || lower.front() == disk.at("label")) // A damaged /sys has circles.
            lower = {""};
        for (Json const& one : lower)
            expected.insert({shown(one), label});
    }
    Edges edges;
    Texts above;
    std::regex const form(
        "((?:\xE2\x94\x82 |\xE2\x94\x9C\xE2\x94\x80|\xE2\x94\x94\xE2\x94\x80|  )*)(.*)");
    for (ScreenRow screenRow : app_test::rowsOf(command("disks --tree").blocks.at(0))) {
        SCOPED_TRACE(screenRow["NAME"]);
        std::smatch parts;
        std::string const name = screenRow["NAME"];
        ASSERT_TRUE(std::regex_match(name, parts, form));
        std::string const label = parts[2];
        std::string const prefix = parts[1];
        size_t depth = 0;
        for (char const c : prefix)
            depth += (c & 0xC0) != 0x80; // Characters, not bytes.
        above.resize(depth / 2);
        edges.insert({above.empty() ? "" : above.back(), label});
        above.push_back(label);

        ASSERT_EQ(disks.count(label), 1U) << label;
        Json const& disk = disks.at(label);
        Json places = Json::array();
        for (Json const& mount : m_document.at("mounts"))
            if (mount.at("device") == disk.at("name"))
                places.push_back(mount.at("mount_point"));
        ScreenCells row(screenRow);
        (void)row.take("NAME");
        row.text("TYPE", disk.at("type"));
        row.size("SIZE", disk.at("size_bytes"));
        row.list("MOUNTPOINTS", places, "");
        row.equals("NOTE", notes.marks(disk.at("name")));
    }
    EXPECT_EQ(edges, expected);
    notes.compare(command("disks --tree"));
}

TEST_P(MachineTables, ofTheMountsHaveTheFactsOfTheJson)
{
    ScreenNotes const notes(m_document, "mounts");
    auto const rows = app_test::rowsOf(command("mounts").blocks.at(0));
    std::map<std::string, std::string> further;
    size_t next = 0;
    for (Json const& mount : m_document.at("mounts")) {
        SCOPED_TRACE(mount);
        std::string const place = shown(mount.at("mount_point"));
        if (!mount.at("same_as").is_null()) {
            std::string& list = further[shown(mount.at("same_as"))];
            list += (list.empty() ? "" : ", ") + place;
            continue;
        }
        ASSERT_LT(next, rows.size());
        ScreenCells row(rows[next++]);
        row.equals("MOUNTPOINT", place);
        row.text("SOURCE", mount.at("source"));
        row.text("TYPE", mount.at("filesystem"));
        row.equals("MODE", mount.at("read_only") ? "ro" : "rw");
        row.size("SIZE", mount.at("size_bytes"));
        row.size("USED", mount.at("used_bytes"));
        row.size("AVAIL", mount.at("available_bytes"));
        row.percent("USE", mount.at("used_ratio"));
        row.list("DISKS", mount.at("disks"), mount.at("network") ? "none" : "-");
        row.equals("NOTE", notes.marks(mount.at("mount_point")));
    }
    EXPECT_EQ(next, rows.size());
    std::multiset<std::string> expected;
    for (auto const& [place, list] : further)
        expected.insert(place + " is also mounted on " + list + ".");
    std::multiset<std::string> sentences;
    for (auto const& block : command("mounts").blocks)
        for (std::string const& line : block)
            if (line.find(" is also mounted on ") != std::string::npos)
                sentences.insert(line);
    EXPECT_EQ(sentences, expected);
    notes.compare(command("mounts"));
}
