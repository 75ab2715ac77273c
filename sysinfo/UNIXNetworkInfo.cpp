#include "common/basic/NetworkError.h"
#include "common/basic/text_cast.h"
#include "sysinfo/UNIXSystemInformation.h"

#include <locale>
#include <sstream>

using dovrel::ip_address;
using dovrel::string;

namespace sysinfo {

namespace {

bool isHexadecimal(std::wstring const& text)
{
    return text.starts_with(L"0x")
        || text.find_first_not_of(L"0123456789abcdefABCDEF") == std::wstring::npos;
}

string textOf(ip_address const& address)
{
    try {
        return address.toStringInternal();
    } catch (dovrel::NetworkError const&) {
        return L"<invalid>";
    }
}

/** Joins the elements with commas; @p text converts each to a string. */
template <class Element, class Text> string join(std::vector<Element> const& elements, Text text)
{
    string all;
    for (size_t i = 0; i < elements.size(); ++i) {
        if (i > 0)
            all += string(L",");
        all += text(elements[i]);
    }
    return all;
}

}

UNIXSystemInformation::UNIXNetworkInfo::UNIXNetworkInfo() = default;

UNIXSystemInformation::UNIXNetworkInfo::UNIXNetworkInfo(string name, string hostname,
    dovrel::macaddress_cpp const& mac, std::vector<ip_address> ipAddrs,
    std::vector<string> netmasks, std::vector<ip_address> dnsAddrs)
    : m_name(std::move(name)), m_hostname(std::move(hostname)), m_mac(mac),
      m_ipAddrs(std::move(ipAddrs)), m_netmasks(std::move(netmasks)),
      m_dnsAddrs(std::move(dnsAddrs))
{
}

UNIXSystemInformation::UNIXNetworkInfo::~UNIXNetworkInfo() = default;

string UNIXSystemInformation::UNIXNetworkInfo::toString() const
{
    return m_name + L" (" + dovrel::str_cast(m_mac) + L") [" + join(m_ipAddrs, textOf) + L"] ["
        + join(m_netmasks, [](string const& mask) { return mask; }) + L"]";
}

SystemInformation::NetworkInfo* UNIXSystemInformation::UNIXNetworkInfo::clone() const
{
    return new UNIXNetworkInfo(*this);
}

void UNIXSystemInformation::UNIXNetworkInfo::destroy()
{
    dovrel::deleteUnlessNull(this);
}

string UNIXSystemInformation::UNIXNetworkInfo::convertMask(string const& mask)
{
    std::wstring const text = mask.c_str();
    if (!isHexadecimal(text))
        return mask;
    std::wistringstream stream(text);
    stream.imbue(std::locale::classic());
    unsigned int value = 0;
    // "0x" alone, for example, is no number.
    if (!(stream >> std::hex >> value))
        return mask;
    return ip_address::fromIPv4Integer(value, ip_address::host_order).toStringInternal();
}

}
