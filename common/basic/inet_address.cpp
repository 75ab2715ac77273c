#include "common/basic/inet_address.h"

#include "common/basic/NetworkError.h"
#include "common/basic/text_cast.h"

#include <arpa/inet.h>
#include <cstring>

namespace dovrel {

namespace {

using NameCall = int (*)(int, ::sockaddr*, socklen_t*);

sockaddr_storage nameOf(int socket, NameCall call)
{
    sockaddr_storage name{};
    socklen_t size = sizeof name;
    int const result = call(socket, reinterpret_cast<::sockaddr*>(&name), &size);
    // Kept: the code is the result of the call, not errno.
    if (result != 0)
        throw NetworkError(result);
    return name;
}

}

inet_address::inet_address(string const& text)
{
    std::wstring const whole = text.c_str();
    size_t const colon = whole.rfind(L':');
    if (colon == std::wstring::npos) {
        invalidate();
        return;
    }
    sockaddr() = ip_address(string(whole.substr(0, colon).c_str())).sockaddr();
    constexpr int NONE = -1;
    int const port = literal_cast<int>(whole.substr(colon + 1).c_str(), NONE);
    if (port == NONE)
        invalidate();
    else
        storePort(static_cast<unsigned short>(port));
}

inet_address::inet_address(unsigned short port, string const& address) : ip_address(address)
{
    storePort(port);
}

inet_address::inet_address(unsigned short port, unsigned short family)
{
    sockaddr().ss_family = family; // All bytes of the wildcard address are zero in both families.
    // The port has the same offset in both families; it is stored for any family.
    reinterpret_cast<sockaddr_in&>(sockaddr()).sin_port = htons(port);
}

inet_address::~inet_address() = default;

string inet_address::toStringInternal() const
{
    string const address = ip_address::toStringInternal();
    return str_cast(port(), address, string(L":"));
}

inet_address inet_address::getPeerName(int socket)
{
    return inet_address(nameOf(socket, ::getpeername));
}

inet_address inet_address::getSockName(int socket)
{
    return inet_address(nameOf(socket, ::getsockname));
}

unsigned short inet_address::port() const noexcept
{
    if (ipv4())
        return ntohs(reinterpret_cast<sockaddr_in const&>(sockaddr()).sin_port);
    if (ipv6())
        return ntohs(reinterpret_cast<sockaddr_in6 const&>(sockaddr()).sin6_port);
    return 0;
}

bool inet_address::isEqual(inet_address const& other) const noexcept
{
    return valid() && other.valid() && ipv4() == other.ipv4()
        && std::memcmp(&sockaddr(), &other.sockaddr(), sizeof(sockaddr_storage)) == 0;
}

bool inet_address::isLess(inet_address const& other) const noexcept
{
    if (ip_address::isLess(other))
        return true;
    return ip_address::isEqual(other) && port() < other.port();
}

}
