#include "sysinfo/parsers/ifconfig_output.h"

#include <algorithm>
#include <array>
#include <utility>

namespace sysinfo {

namespace {

/** What ends a word, by the character's code. */
constexpr auto SEPARATORS = [] {
    std::array<bool, 256> separators{};
    for (char const c : {' ', '\t', '\n', '\r', '/'})
        separators[static_cast<unsigned char>(c)] = true;
    return separators;
}();

/** In one pass: what comes together by a replacement is not replaced. */
void replaceEach(std::string& line, std::string_view what, std::string_view by)
{
    size_t at = 0;
    while ((at = line.find(what, at)) != std::string::npos) {
        line.replace(at, what.size(), by);
        at += by.size();
    }
}

/** Hands out the words of a line; two separators in a row have an empty word between them. */
class Words {
public:
    explicit Words(std::string_view line)
        : m_next(line.data()), m_end(line.data() + line.size()) { }

    bool isAtEnd() const { return m_atEnd; }

    std::string_view next()
    {
        char const* const first = m_next;
        char const* at = first;
        while (at != m_end && !isSeparator(*at))
            ++at;
        m_atEnd = at == m_end;
        m_next = m_atEnd ? at : at + 1;
        return {first, static_cast<size_t>(at - first)};
    }

private:
    static bool isSeparator(char c) { return SEPARATORS[static_cast<unsigned char>(c)]; }

    char const* m_next;
    char const* m_end;
    bool m_atEnd = false;
};

void readAdapterLine(std::string_view line, AdapterText& adapter)
{
    Words words(line);
    std::string_view keyword = words.next();
    while (!words.isAtEnd()) {
        std::string_view const value = words.next();
        if (keyword == "inet" || keyword == "inet6")
            adapter.addresses.emplace_back(value);
        else if (keyword == "netmask" || keyword == "Mask")
            adapter.netmasks.emplace_back(value);
        else if (keyword == "ether" || keyword == "HWaddr")
            adapter.hardwareAddresses.emplace_back(value);
        keyword = value;
    }
}

}

AdapterText readAdapters(std::istream& output, std::function<void(std::string const&)> const& found,
    std::function<void(AdapterText const&)> const& ended)
{
    constexpr char NAME_ENDS[] = " \t\r\n\v:";
    AdapterText adapter;
    for (std::string line; std::getline(output, line);) {
        if (line.empty())
            continue;
        size_t const nameEnd = line.find_first_of(NAME_ENDS);
        if (nameEnd != 0) {
            if (!adapter.name.empty())
                ended(adapter);
            adapter.name.assign(line, 0, std::min(nameEnd, line.find('\0')));
            adapter.addresses.clear();
            adapter.netmasks.clear();
            adapter.hardwareAddresses.clear();
            found(adapter.name);
        }
        if (line.find(':') != std::string::npos) { // Else there is nothing to replace.
            replaceEach(line, "addr:", "");
            replaceEach(line, "Mask:", "Mask ");
        }
        readAdapterLine(line, adapter);
    }
    return adapter;
}

}
