#include "app/recording/preload/Answers.h"

#include "app/recording/answer_line.h"
#include "app/recording/preload/stage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>

#include <net/if.h>

namespace preload {

namespace {

[[noreturn]] void refuse(std::string const& line)
{
    std::fprintf(stderr, "dovrel-sysinfo: cannot read the line: %s\n", line.c_str());
    std::_Exit(EXIT_FAILURE);
}

/** @param names a list, or the number as 0x... */
unsigned flagsOf(std::string const& names)
{
    if (names.rfind("0x", 0) == 0)
        return static_cast<unsigned>(std::stoul(names, nullptr, 0));
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

std::string bytesOfHexadecimal(std::string const& text)
{
    constexpr int HEXADECIMAL = 16;
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        bytes += static_cast<char>(std::stoul(text.substr(i, 2), nullptr, HEXADECIMAL));
    return bytes;
}

/** The words of a line behind its keyword. A word that is not there is an error of the line. */
class Words {
public:
    explicit Words(std::vector<std::string> words) : m_words(std::move(words)) { }

    bool done() const { return m_next == m_words.size(); }
    std::string const& text() { return m_words.at(m_next++); }
    long number() { return std::stol(text()); }
    unsigned count() { return static_cast<unsigned>(std::stoul(text())); }
    uint64_t large() { return std::stoull(text()); }

    /** @return the number of an error, and goes on behind it; 0 where the next word is none. */
    int error()
    {
        int const number = app::errorNumber(m_words.at(m_next));
        m_next += number != 0 ? 1 : 0;
        return number;
    }

private:
    std::vector<std::string> m_words;
    size_t m_next = 1;
};

void readFilesystem(Words& words, Answers& out)
{
    Answers::Filesystem& filesystem = out.filesystems[words.text()];
    filesystem.error = words.error();
    if (filesystem.error != 0)
        return;
    std::string const first = words.text();
    filesystem.hangs = first == "hang";
    if (filesystem.hangs)
        return;
    filesystem.figures = {std::stoull(first)};
    constexpr size_t FIGURES = 7;
    while (filesystem.figures.size() < FIGURES)
        filesystem.figures.push_back(words.large());
}

void readSector(Words& words, Answers& out)
{
    Answers::Sector& sector = out.sectors[words.text()];
    sector.error = words.error();
    if (sector.error == 0)
        sector.size = static_cast<int>(words.number());
    if (!words.done() && words.text() == "bus")
        sector.bus = static_cast<int>(words.number());
}

void readAdapter(Words& words, Answers& out)
{
    std::string const name = words.text();
    Answers::Adapter adapter;
    adapter.index = static_cast<int>(words.number());
    adapter.flags = flagsOf(words.text());
    if (!words.done())
        adapter.mac = bytesOf(words.text());
    out.adapters.emplace_back(name, adapter);
}

void readAddress(Words& words, Answers& out)
{
    Answers::Address address;
    address.name = words.text();
    std::string const text = words.text();
    size_t const slash = text.find('/');
    address.address = text.substr(0, slash);
    address.prefix = static_cast<unsigned>(std::stoul(text.substr(slash + 1)));
    if (!words.done()) {
        words.text(); // "broadcast" or "peer".
        address.other = words.text();
    }
    out.addresses.push_back(address);
}

void readRefusal(Words& words, Answers& out)
{
    std::string const call = words.text();
    Answers::Refusal& refusal = out.refusals[words.text()];
    int& error = call == "open" ? refusal.open : call == "read" ? refusal.read : refusal.list;
    error = words.error();
}

/** One message of an answer, or its error. A request without messages has a line without them. */
void readRoutes(Words& words, Answers& out)
{
    unsigned const type = words.count();
    Answers::Routes& routes = out.routes[{type, words.count()}];
    if (words.done())
        return;
    routes.error = words.error();
    if (routes.error == 0)
        routes.messages.push_back(bytesOfHexadecimal(words.text()));
}

std::map<std::string, std::function<void(Words&, Answers&)>> const& readers()
{
    static std::map<std::string, std::function<void(Words&, Answers&)>> const readers = {
        {"adapter", readAdapter},
        {"adapters", [](Words& words, Answers& out) { out.adaptersError = words.error(); }},
        {"address", readAddress},
        {"sector", readSector},
        {"statvfs", readFilesystem},
        {"refuses", readRefusal},
        {"netlink", readRoutes},
        {"lists",
            [](Words& words, Answers& out) {
                auto& names = out.orders[words.text()];
                while (!words.done())
                    names.push_back(words.text());
            }},
        {"device",
            [](Words& words, Answers& out) {
                auto& device = out.blockDevices[words.text()];
                device.first = words.count();
                device.second = words.count();
            }},
        {"lies-on",
            [](Words& words, Answers& out) {
                auto& device = out.fileDevices[words.text()];
                device.first = words.count();
                device.second = words.count();
            }},
        {"hostname", [](Words& words, Answers& out) { out.hostName = words.text(); }},
        {"hypervisor",
            [](Words& words, Answers& out) { out.hypervisor = static_cast<int>(words.number()); }},
        {"processors",
            [](Words& words, Answers& out) {
                out.processorsOnline = words.number();
                out.processorsConfigured = words.number();
            }},
        {"time", [](Words& words, Answers& out) { out.time = std::stoll(words.text()); }},
        {"uname",
            [](Words& words, Answers& out) {
                out.release = words.text();
                out.architecture = words.text();
            }},
    };
    return readers;
}

void readLine(std::string const& line, Answers& out)
{
    try {
        std::vector<std::string> const words = app::wordsOfLine(line);
        Words rest(words);
        readers().at(words.at(0))(rest, out);
        if (!rest.done())
            refuse(line);
    } catch (std::exception const&) {
        refuse(line);
    }
}

Answers readAnswers()
{
    AnswersAreRead const pass;
    Answers out;
    std::ifstream file(stage().answers + "/answers");
    for (std::string line; std::getline(file, line);)
        readLine(line, out);
    return out;
}

}

Answers const& answers()
{
    static Answers const answers = readAnswers();
    return answers;
}

}
