#include "app/recording/Answers.h"

#include "app/recording/answer_line.h"

#include <functional>
#include <new>
#include <sstream>
#include <stdexcept>

#include <net/if.h>
#include <regex.h>

namespace app {

namespace {

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
            throw std::runtime_error("no flag is called " + name);
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

/** @throws std::logic_error where it is no text of pairs of hexadecimal digits */
std::string bytesOfHexadecimal(std::string const& text)
{
    constexpr int HEXADECIMAL = 16;
    if (text.size() % 2 != 0 || text.find_first_not_of("0123456789abcdefABCDEF") != text.npos)
        throw std::invalid_argument(text);
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(std::stoul(text.substr(i, 2), nullptr, HEXADECIMAL));
    return bytes;
}

/** The words of a line behind its keyword. A word that is not there is an error of the line. */
class Words {
public:
    explicit Words(std::vector<std::string> words) : m_words(std::move(words)) { }

    std::string const& keyword() const { return m_words.at(0); }
    bool done() const { return m_next == m_words.size(); }
    std::string const& text() { return m_words.at(m_next++); }
    long number() { return std::stol(text()); }
    unsigned count() { return static_cast<unsigned>(std::stoul(text())); }
    uint64_t large() { return std::stoull(text()); }

    /** @return the number of an error, and goes on behind it; 0 where the next word is none. */
    int error()
    {
        int const number = errorNumber(m_words.at(m_next));
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
    constexpr unsigned IPV4_BITS = 32;
    constexpr unsigned IPV6_BITS = 128;
    unsigned long const prefix = std::stoul(text.substr(slash + 1));
    if (prefix > (address.address.find(':') == std::string::npos ? IPV4_BITS : IPV6_BITS))
        throw std::out_of_range(text);
    address.prefix = static_cast<unsigned>(prefix);
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
        {"zone",
            [](Words& words, Answers& out) {
                if (out.timeZone = words.text(); !isTimeZoneRule(out.timeZone))
                    throw std::invalid_argument(out.timeZone);
            }},
        {"uname",
            [](Words& words, Answers& out) {
                out.release = words.text();
                out.architecture = words.text();
            }},
    };
    return readers;
}

}

bool isTimeZoneRule(std::string const& text)
{
    constexpr size_t MOST_BYTES = 128;
    std::string const name = "(<[A-Za-z0-9+-]{3,}>|[A-Za-z]{3,})";
    std::string const time = "[+-]?[0-9]{1,3}(:[0-9]{2}){0,2}";
    std::string const day = ",(J[0-9]{1,3}|[0-9]{1,3}|M[0-9]{1,2}\\.[1-5]\\.[0-6])";
    std::string const date = day + "(/" + time + ")?";
    std::string const rule =
        "^" + name + time + "(" + name + "(" + time + ")?(" + date + date + ")?)?$";
    if (text.size() > MOST_BYTES || text.find('\0') != std::string::npos)
        return false;
    regex_t expression; // Of the C library: GCC 12 warns of std::regex with the sanitizers.
    if (regcomp(&expression, rule.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
        throw std::bad_alloc();
    bool const isRule = regexec(&expression, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&expression);
    return isRule;
}

void addAnswer(std::string const& line, Answers& answers)
{
    try {
        Words words(wordsOfLine(line));
        readers().at(words.keyword())(words, answers);
        if (words.done())
            return;
    } catch (std::logic_error const&) {
        // A word is missing, or is no number.
    }
    throw std::runtime_error("no call has this answer");
}

}
