#include "tests/app/own_machine_facts.h"
#include "tests/support/Json.h"

#include "tests/support/commands.h"
#include "tests/support/text.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

namespace app_test {

using testkit::Json;
using testkit::linesOf;
using testkit::outputOf;

namespace {

constexpr char LSBLK[] = "lsblk -J -b -o NAME,KNAME,TYPE,SIZE,MAJ:MIN,PKNAME,MOUNTPOINTS,LOG-SEC,"
                         "PHY-SEC,RO,RM,MODEL,SERIAL,TRAN";

/** lsblk(8) repeats a device below each of the devices that it lies on. */
void addDevices(
    Facts& facts, std::map<std::string, std::set<std::string>>& below, Json const& devices)
{
    for (Json const& device : devices) {
        // A device without a medium or a backing file. The program leaves it out.
        if (device.at("size") == 0)
            continue;
        auto const name = device.at("kname").get<std::string>();
        add(facts, name + ": name", device.at("name"));
        // lsblk(8) calls compressed memory a disk.
        add(facts, name + ": type", name.rfind("zram", 0) == 0 ? "zram" : device.at("type"));
        add(facts, name + ": size", device.at("size"));
        add(facts, name + ": number", device.at("maj:min"));
        add(facts, name + ": logical sector", device.at("log-sec"));
        add(facts, name + ": physical sector", device.at("phy-sec"));
        add(facts, name + ": read-only", device.at("ro"));
        if (device.at("type") != "part")
            add(facts, name + ": removable", device.at("rm"));
        add(facts, name + ": model", device.at("model"));
        add(facts, name + ": serial", device.at("serial"));
        add(facts, name + ": transport", device.at("tran"));
        std::set<std::string> places;
        for (Json const& place : device.at("mountpoints"))
            if (!place.is_null() && place != "[SWAP]")
                places.insert(place.get<std::string>());
        add(facts, name + ": mounted at", Json(places).dump());
        below[name];
        if (!device.at("pkname").is_null())
            below[name].insert(device.at("pkname").get<std::string>());
        addDevices(facts, below, device.value("children", Json::array()));
    }
}

}

Facts disksByLsblk()
{
    Facts facts;
    std::map<std::string, std::set<std::string>> below;
    addDevices(facts, below, Json::parse(outputOf(LSBLK)).at("blockdevices"));
    for (auto const& [name, devices] : below)
        add(facts, name + ": lies on", Json(devices).dump());
    return facts;
}

Facts disksByProgram()
{
    Json const machine = readByProgram("disks --tree");
    Facts facts;
    for (Json const& disk : machine.at("disks")) {
        auto const name = disk.at("name").get<std::string>();
        // lsblk(8) has the kernel's names of RAID devices.
        add(facts, name + ": name", disk.at(name.rfind("md", 0) == 0 ? "name" : "label"));
        add(facts, name + ": type", disk.at("type"));
        add(facts, name + ": size", disk.at("size_bytes"));
        add(facts, name + ": number", disk.at("device"));
        add(facts, name + ": logical sector", disk.at("logical_sector_bytes"));
        add(facts, name + ": physical sector", disk.at("physical_sector_bytes"));
        add(facts, name + ": read-only", disk.at("read_only"));
        add(facts, name + ": removable", disk.at("removable"));
        add(facts, name + ": model", disk.at("model"));
        add(facts, name + ": serial", disk.at("serial"));
        add(facts, name + ": transport", disk.at("transport"));
        std::set<std::string> places;
        for (Json const& mount : machine.at("mounts"))
            if (mount.at("device") == name)
                places.insert(mount.at("mount_point").get<std::string>());
        add(facts, name + ": mounted at", Json(places).dump());
        auto below = disk.at("slaves").get<std::set<std::string>>();
        if (!disk.at("parent").is_null())
            below.insert(disk.at("parent").get<std::string>());
        add(facts, name + ": lies on", Json(below).dump());
    }
    // lsblk(8) does not report the bus and the serial number of each kind of disk.
    Facts const tool = disksByLsblk();
    for (auto fact = facts.begin(); fact != facts.end();) {
        std::string const word = fact->first.substr(fact->first.rfind(' ') + 1);
        bool const optional = word == "model" || word == "serial" || word == "transport";
        fact = optional && tool.count(fact->first) == 0 ? facts.erase(fact) : std::next(fact);
    }
    return facts;
}

namespace {

/** Without those that another mount hides: df(1) shows the other one in their place. */
Json programsMounts()
{
    Json mounts = Json::array();
    Json const document = readByProgram("mounts");
    for (Json const& mount : document.at("mounts"))
        if (mount.at("hidden_by").is_null())
            mounts.push_back(mount);
    return mounts;
}

/** @return one column of df(1) for a mount point. */
std::string dfColumn(char const* column, std::string const& mountPoint)
{
    auto const lines =
        linesOf(outputOf(std::string("df -B1 --output=") + column + " -- " + quoted(mountPoint)));
    return lines.size() < 2 ? std::string() : withSingleBlanks(lines[1]);
}

}

Facts mountsByDf()
{
    Facts facts;
    for (Json const& mount : programsMounts()) {
        auto const place = mount.at("mount_point").get<std::string>();
        facts[place + ": source"] = dfColumn("source", place);
        facts[place + ": filesystem"] = dfColumn("fstype", place);
        facts[place + ": size"] = dfColumn("size", place);
        if (dfColumn("itotal", place) != "0" && dfColumn("itotal", place) != "-")
            facts[place + ": inodes"] = dfColumn("itotal", place);
    }
    // df(1) lists a device once, at one of its mount points.
    for (std::string const& line : linesOf(outputOf("df --output=target,source")))
        if (size_t const device = line.rfind(" /dev/"); device != std::string::npos)
            facts[line.substr(0, line.find_last_not_of(' ', device) + 1) + ": is listed"] = "yes";
    return facts;
}

Facts mountsByProgram()
{
    Facts facts;
    Facts const tool = mountsByDf();
    for (Json const& mount : programsMounts()) {
        auto const place = mount.at("mount_point").get<std::string>();
        add(facts, place + ": source", mount.at("source"));
        add(facts, place + ": filesystem", mount.at("filesystem"));
        add(facts, place + ": size", mount.at("size_bytes"));
        add(facts, place + ": inodes", mount.at("inodes"));
        if (tool.count(place + ": is listed") != 0)
            facts[place + ": is listed"] = "yes";
    }
    return facts;
}

Figures spaceByDf()
{
    Figures figures;
    for (Json const& mount : programsMounts()) {
        auto const place = mount.at("mount_point").get<std::string>();
        std::pair<char const*, char const*> const columns[] = {{"used", ": used"},
            {"avail", ": available"}, {"iavail", ": free inodes"}, {"pcent", ": percent"}};
        for (auto const& [column, name] : columns) {
            std::string const text = dfColumn(column, place);
            bool const none = text.empty() || text[0] == '-'
                || (column == std::string("iavail") && dfColumn("itotal", place) == "0");
            if (!none)
                figures[place + name] = std::stoull(text);
        }
    }
    return figures;
}

Figures spaceByProgram()
{
    Figures figures;
    for (Json const& mount : programsMounts()) {
        auto const place = mount.at("mount_point").get<std::string>();
        auto const addFigure = [&](char const* name, Json const& value) {
            if (!value.is_null())
                figures[place + name] = value.get<uint64_t>();
        };
        addFigure(": used", mount.at("used_bytes"));
        addFigure(": available", mount.at("available_bytes"));
        addFigure(": free inodes", mount.at("free_inodes"));
        if (mount.at("used_ratio").is_null())
            continue;
        auto const used = mount.at("used_bytes").get<uint64_t>();
        uint64_t const usable = used + mount.at("available_bytes").get<uint64_t>();
        figures[place + ": percent"] = (used * 100 + usable - 1) / usable; // df(1) rounds up.
        constexpr double LAST_DIGIT = 0.0001;
        EXPECT_NEAR(mount.at("used_ratio").get<double>(),
            static_cast<double>(used) / static_cast<double>(usable), LAST_DIGIT / 2 + 1e-9)
            << place;
    }
    return figures;
}

}
