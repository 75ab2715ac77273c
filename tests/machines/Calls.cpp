#include "tests/machines/Calls.h"

#include "tests/machines/build_entry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iomanip>
#include <sstream>

#include <net/if.h>

namespace machines {

namespace {

[[noreturn]] void refuse(std::string const& line)
{
    std::fprintf(stderr, "fake_calls: cannot read the line: %s\n", line.c_str());
    std::_Exit(EXIT_FAILURE);
}

/** @return 0 where it is no name of an error. */
int errorNumber(std::string const& name)
{
    constexpr int LAST = 133; // EHWPOISON
    for (int error = 1; error <= LAST; ++error)
        if (char const* const known = strerrorname_np(error); known && name == known)
            return error;
    return 0;
}

unsigned flagsOf(std::string const& names)
{
    static std::map<std::string, unsigned> const FLAGS = {{"up", IFF_UP},
        {"broadcast", IFF_BROADCAST}, {"loopback", IFF_LOOPBACK}, {"pointopoint", IFF_POINTOPOINT},
        {"running", IFF_RUNNING}, {"noarp", IFF_NOARP}, {"promisc", IFF_PROMISC},
        {"master", IFF_MASTER}, {"slave", IFF_SLAVE}, {"multicast", IFF_MULTICAST}, {"none", 0}};
    std::istringstream list(names);
    unsigned flags = 0;
    for (std::string name; std::getline(list, name, ',');) {
        auto const flag = FLAGS.find(name);
        if (flag == FLAGS.end())
            refuse("flag " + name);
        flags |= flag->second;
    }
    return flags;
}

std::vector<uint8_t> bytesOf(std::string const& mac)
{
    constexpr int HEXADECIMAL = 16;
    std::istringstream text(mac);
    std::vector<uint8_t> bytes;
    for (std::string byte; std::getline(text, byte, ':');)
        bytes.push_back(static_cast<uint8_t>(std::stoul(byte, nullptr, HEXADECIMAL)));
    return bytes;
}

void readFilesystem(std::istream& line, Calls& calls)
{
    std::string path;
    std::string word;
    line >> std::quoted(path) >> word;
    Calls::Filesystem& filesystem = calls.filesystems[path];
    filesystem.hangs = word == "hang";
    filesystem.error = errorNumber(word);
    if (filesystem.hangs || filesystem.error != 0)
        return;
    filesystem.figures.push_back(std::stoull(word));
    for (uint64_t figure = 0; line >> figure;)
        filesystem.figures.push_back(figure);
    constexpr size_t FIGURES = 7;
    if (filesystem.figures.size() != FIGURES)
        refuse("statvfs " + path);
    line.clear();
}

void readSector(std::istream& line, Calls& calls)
{
    std::string path;
    std::string size;
    std::string keyword;
    line >> path >> size;
    Calls::Sector& sector = calls.sectors[path];
    sector.error = errorNumber(size);
    if (sector.error == 0)
        sector.size = std::stoi(size);
    if (int bus = 0; line >> keyword >> bus)
        sector.bus = bus;
    line.clear();
}

void readAdapter(std::istream& line, Calls& calls)
{
    std::string name;
    std::string flags;
    std::string mac;
    Calls::Adapter adapter;
    line >> name >> adapter.index >> flags;
    adapter.flags = flagsOf(flags);
    if (line >> mac)
        adapter.mac = bytesOf(mac);
    line.clear();
    calls.adapters.emplace_back(name, adapter);
}

void readAddress(std::istream& line, Calls& calls)
{
    Calls::Address address;
    std::string keyword;
    char slash = '/';
    line >> address.name;
    line >> std::ws;
    std::getline(line, address.address, slash);
    line >> address.prefix;
    if (!(line >> keyword >> address.other))
        line.clear();
    calls.addresses.push_back(address);
}

void readLine(std::string const& text, Calls& calls)
{
    using Read = std::function<void(std::istream&, Calls&)>;
    static std::map<std::string, Read> const READERS = {
        {"adapter", readAdapter},
        {"address", readAddress},
        {"sector", readSector},
        {"statvfs", readFilesystem},
        {"hostname", [](std::istream& line, Calls& out) { line >> out.hostName; }},
        {"hypervisor", [](std::istream& line, Calls& out) { line >> out.hypervisor.emplace(); }},
        {"processors",
            [](std::istream& line, Calls& out) {
                line >> out.processorsOnline >> out.processorsConfigured;
            }},
        {"time", [](std::istream& line, Calls& out) { line >> out.time.emplace(); }},
        {"uname", [](std::istream& line, Calls& out) { line >> out.release >> out.architecture; }},
    };
    std::istringstream line(text);
    std::string keyword;
    line >> keyword;
    auto const reader = READERS.find(keyword);
    if (reader == READERS.end())
        refuse(text);
    try {
        reader->second(line, calls);
    } catch (std::exception const&) {
        refuse(text);
    }
    if (!line)
        refuse(text);
}

Calls readCalls()
{
    Calls calls;
    std::ifstream file(CALLS_FILE);
    for (std::string line; std::getline(file, line);)
        readLine(line, calls);
    return calls;
}

}

Calls const& calls()
{
    static Calls const calls = readCalls();
    return calls;
}

}
