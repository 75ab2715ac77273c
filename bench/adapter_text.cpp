#include "bench/adapter_text.h"

namespace bench {

namespace {

std::string hexadecimal(unsigned byte)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    return {DIGITS[byte >> 4 & 0xF], DIGITS[byte & 0xF]};
}

std::string network(unsigned number)
{
    return "10." + std::to_string(number / 250) + '.' + std::to_string(number % 250) + '.';
}

std::string_view takeWord(char const*& at, char const* end)
{
    while (at != end && *at == ' ')
        ++at;
    char const* const start = at;
    while (at != end && *at != ' ' && *at != '\n')
        ++at;
    return {start, static_cast<size_t>(at - start)};
}

}

std::string adapterName(unsigned number)
{
    return "eth" + std::to_string(number);
}

std::string adapterText(unsigned adapters)
{
    std::string text;
    for (unsigned i = 0; i < adapters; ++i) {
        text += adapterName(i) + ": flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500\n";
        text += "        inet " + network(i) + "5  netmask 255.255.255.0  broadcast " + network(i)
            + "255\n";
        text += "        inet6 fe80::20c:29ff:fe3b:" + hexadecimal(i)
            + "  prefixlen 64  scopeid 0x20<link>\n";
        text +=
            "        ether 00:0c:29:3b:58:" + hexadecimal(i) + "  txqueuelen 1000  (Ethernet)\n";
        text += "        RX packets 8061  bytes 1514413 (1.4 MiB)\n"
                "        RX errors 0  dropped 0  overruns 0  frame 0\n"
                "        TX packets 4502  bytes 866622 (846.3 KiB)\n"
                "        TX errors 0  dropped 0 overruns 0  carrier 0  collisions 0\n\n";
    }
    return text;
}

std::string routeText(unsigned adapters)
{
    std::string text = "Kernel IP routing table\n"
                       "Destination     Gateway         Genmask         Flags Metric Ref    Use "
                       "Iface\n"
                       "0.0.0.0         192.168.1.1     0.0.0.0         UG    0      0        0 "
                       "eth0\n";
    for (unsigned i = 0; i < adapters; ++i) {
        std::string destination = network(i) + '0';
        destination.resize(16, ' ');
        text += destination + "0.0.0.0         255.255.255.0   U     0      0        0 "
            + adapterName(i) + '\n';
    }
    return text;
}

std::vector<BareAdapter> scanAdapters(std::string_view text)
{
    std::vector<BareAdapter> adapters;
    char const* at = text.data();
    char const* const end = at + text.size();
    while (at != end) {
        if (*at != ' ' && *at != '\n') {
            std::string_view const word = takeWord(at, end);
            adapters.push_back({word.substr(0, word.find(':')), {}, {}, {}});
        }
        std::string_view keyword;
        while (at != end && *at != '\n') {
            std::string_view const word = takeWord(at, end);
            if (keyword == "inet" || keyword == "inet6")
                adapters.back().addresses.push_back(word);
            else if (keyword == "netmask")
                adapters.back().netmasks.push_back(word);
            else if (keyword == "ether")
                adapters.back().hardwareAddress = word;
            keyword = word;
        }
        if (at != end)
            ++at;
    }
    return adapters;
}

}
