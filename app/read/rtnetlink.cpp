#include "app/read/rtnetlink.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace app {

namespace {

using Bytes = std::string_view;

/** Of the kernel's <linux/rtnetlink.h> and <linux/nexthop.h>, which older headers do not have. */
constexpr unsigned short ATTRIBUTE_VIA = 18;
constexpr unsigned short ATTRIBUTE_OBJECT = 30;
constexpr unsigned short NEW_OBJECT = 104;
constexpr unsigned short GET_OBJECT = 106;

struct ObjectHeader {
    unsigned char family;
    unsigned char rest[3];
    unsigned flags;
};

struct GroupMember {
    unsigned number;
    unsigned char rest[4];
};

/** @return the object at the beginning; the bytes need not be aligned. Zeros where they end. */
template <class Object> Object objectAt(Bytes bytes)
{
    Object object{};
    std::memcpy(&object, bytes.data(), std::min(sizeof(object), bytes.size()));
    return object;
}

size_t lengthOf(nlmsghdr const& header)
{
    return header.nlmsg_len;
}

size_t lengthOf(rtattr const& header)
{
    return header.rta_len;
}

size_t lengthOf(rtnexthop const& header)
{
    return header.rtnh_len;
}

/** Messages, attributes and next hops follow each other in one way: a header with the length of the
 * whole, the content, and padding. Ends at the first one that is cut short. */
template <class Header, class Use> void forEach(Bytes bytes, Use const& use)
{
    constexpr size_t ALIGNMENT = 4;
    while (bytes.size() >= sizeof(Header)) {
        auto const header = objectAt<Header>(bytes);
        size_t const length = lengthOf(header);
        if (length < sizeof(Header) || length > bytes.size())
            return;
        use(header, bytes.substr(sizeof(Header), length - sizeof(Header)));
        bytes.remove_prefix(
            std::min(bytes.size(), (length + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT));
    }
}

/** @return an empty string where the bytes are no address. */
std::string addressText(int family, Bytes bytes)
{
    size_t const size = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    std::array<char, INET6_ADDRSTRLEN> text{};
    bool const isAddress = (family == AF_INET || family == AF_INET6) && bytes.size() == size;
    if (isAddress)
        inet_ntop(family, bytes.data(), text.data(), text.size());
    return text.data();
}

/** The attributes of a route, or of one of its next hops. */
struct RouteAttributes {
    unsigned table;
    unsigned adapter;
    std::string gateway;
    unsigned object = 0;
    Bytes hops;

    RouteAttributes(int family, unsigned ownTable, unsigned ownAdapter, Bytes attributes)
        : table(ownTable), adapter(ownAdapter)
    {
        forEach<rtattr>(attributes, [&](rtattr const& header, Bytes value) {
            switch (header.rta_type) {
            case RTA_TABLE:
                table = objectAt<unsigned>(value);
                break;
            case RTA_OIF:
                adapter = objectAt<unsigned>(value);
                break;
            case RTA_GATEWAY:
                gateway = addressText(family, value);
                break;
            case ATTRIBUTE_VIA: {
                auto const other = objectAt<uint16_t>(value);
                gateway = addressText(other, value.substr(std::min(value.size(), sizeof(other))));
                break;
            }
            case RTA_MULTIPATH:
                hops = value;
                break;
            case ATTRIBUTE_OBJECT:
                object = objectAt<unsigned>(value);
                break;
            default:
                break;
            }
        });
    }
};

bool isDefaultRoute(rtmsg const& route)
{
    bool const isIp = route.rtm_family == AF_INET || route.rtm_family == AF_INET6;
    return isIp && route.rtm_dst_len == 0 && route.rtm_type == RTN_UNICAST
        && (route.rtm_flags & RTM_F_CLONED) == 0;
}

std::string scopeText(unsigned char scope)
{
    switch (scope) {
    case RT_SCOPE_UNIVERSE:
        return "global";
    case RT_SCOPE_SITE:
        return "site";
    case RT_SCOPE_LINK:
        return "link";
    case RT_SCOPE_HOST:
        return "host";
    default:
        return std::to_string(scope);
    }
}

/** A socket for one dump of the kernel's. */
class RouteSocket {
public:
    enum End { DONE, CHANGED, FAILED };

    RouteSocket() : m_file(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) { }
    RouteSocket(RouteSocket const&) = delete;
    RouteSocket& operator=(RouteSocket const&) = delete;
    ~RouteSocket()
    {
        int const error = errno;
        if (m_file >= 0)
            close(m_file);
        errno = error;
    }

    /** Requests all objects and hands each datagram over. @return CHANGED where the kernel's list
     * changed in between; FAILED with errno. */
    template <class Use> End dump(uint16_t type, Use const& use)
    {
        if (m_file < 0 || !request(type))
            return FAILED;
        std::string buffer(LARGEST_DATAGRAM, '\0');
        bool changed = false;
        for (;;) {
            ssize_t const count = recv(m_file, buffer.data(), buffer.size(), MSG_TRUNC);
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0 || static_cast<size_t>(count) > buffer.size()) {
                errno = count < 0 ? errno : EIO;
                return FAILED;
            }
            Bytes const datagram(buffer.data(), static_cast<size_t>(count));
            bool done = false;
            int error = 0;
            forEach<nlmsghdr>(datagram, [&](nlmsghdr const& header, Bytes content) {
                changed = changed || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
                done = done || header.nlmsg_type == NLMSG_DONE;
                if (header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR)
                    error = std::min(error, objectAt<int>(content));
            });
            if (error != 0) {
                errno = -error;
                return FAILED;
            }
            use(datagram);
            if (done)
                return changed ? CHANGED : DONE;
        }
    }

private:
    static constexpr size_t LARGEST_DATAGRAM = 65536;

    bool request(uint16_t type) const
    {
        // The kernel answers at once; a loss must not block all the same.
        timeval const limit = {2, 0};
        setsockopt(m_file, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        // The content is zeros: all families, no filter.
        struct {
            nlmsghdr header;
            ObjectHeader content;
        } request{};
        request.header.nlmsg_len =
            NLMSG_LENGTH(type == GET_OBJECT ? sizeof(request.content) : sizeof(rtgenmsg));
        request.header.nlmsg_type = type;
        request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        return send(m_file, &request, request.header.nlmsg_len, 0) >= 0;
    }

    int const m_file;
};

template <class Object>
std::optional<std::vector<Object>> read(uint16_t type, std::vector<Object> (*objectsIn)(Bytes))
{
    constexpr int ATTEMPTS = 5;
    for (int attempt = 1;; ++attempt) {
        std::vector<Object> objects;
        auto const end = RouteSocket().dump(type, [&](Bytes datagram) {
            for (Object& object : objectsIn(datagram))
                objects.push_back(std::move(object));
        });
        if (end == RouteSocket::FAILED)
            return std::nullopt;
        if (end == RouteSocket::DONE || attempt == ATTEMPTS)
            return objects;
    }
}

}

std::vector<NextHop> nextHopsIn(std::string_view messages)
{
    std::vector<NextHop> hops;
    auto const add = [&](RouteAttributes const& attributes) {
        if (!attributes.gateway.empty())
            hops.push_back({attributes.adapter, attributes.gateway});
    };
    forEach<nlmsghdr>(messages, [&](nlmsghdr const& header, Bytes content) {
        auto const route = objectAt<rtmsg>(content);
        if (header.nlmsg_type != RTM_NEWROUTE || content.size() < sizeof(route)
            || !isDefaultRoute(route))
            return;
        RouteAttributes const whole(
            route.rtm_family, route.rtm_table, 0, content.substr(sizeof(route)));
        if (whole.table != RT_TABLE_MAIN)
            return;
        add(whole);
        // Most kernels give the gateways of the object, too.
        if (whole.object != 0 && whole.gateway.empty() && whole.hops.empty())
            hops.push_back({0, "", whole.object});
        forEach<rtnexthop>(whole.hops, [&](rtnexthop const& hop, Bytes attributes) {
            add(RouteAttributes(route.rtm_family, RT_TABLE_MAIN,
                static_cast<unsigned>(hop.rtnh_ifindex), attributes));
        });
    });
    return hops;
}

std::vector<NextHopObject> nextHopObjectsIn(std::string_view messages)
{
    enum { NUMBER = 1, GROUP = 2, ADAPTER = 5, GATEWAY = 6 };
    std::vector<NextHopObject> objects;
    forEach<nlmsghdr>(messages, [&](nlmsghdr const& header, Bytes content) {
        auto const entry = objectAt<ObjectHeader>(content);
        if (header.nlmsg_type != NEW_OBJECT || content.size() < sizeof(entry))
            return;
        NextHopObject object{};
        forEach<rtattr>(content.substr(sizeof(entry)), [&](rtattr const& attribute, Bytes value) {
            switch (attribute.rta_type) {
            case NUMBER:
                object.number = objectAt<unsigned>(value);
                break;
            case GROUP:
                for (; value.size() >= sizeof(GroupMember);
                     value.remove_prefix(sizeof(GroupMember)))
                    object.members.push_back(objectAt<GroupMember>(value).number);
                break;
            case ADAPTER:
                object.hop.adapter = objectAt<unsigned>(value);
                break;
            case GATEWAY:
                object.hop.gateway = addressText(entry.family, value);
                break;
            default:
                break;
            }
        });
        objects.push_back(std::move(object));
    });
    return objects;
}

std::vector<ScopedAddress> scopedAddressesIn(std::string_view messages)
{
    std::vector<ScopedAddress> addresses;
    forEach<nlmsghdr>(messages, [&](nlmsghdr const& header, Bytes content) {
        auto const entry = objectAt<ifaddrmsg>(content);
        if (header.nlmsg_type != RTM_NEWADDR || content.size() < sizeof(entry))
            return;
        std::string local;
        std::string address; // The peer's, where there is a local one.
        forEach<rtattr>(content.substr(sizeof(entry)), [&](rtattr const& attribute, Bytes value) {
            if (attribute.rta_type == IFA_LOCAL)
                local = addressText(entry.ifa_family, value);
            else if (attribute.rta_type == IFA_ADDRESS)
                address = addressText(entry.ifa_family, value);
        });
        std::string const& own = local.empty() ? address : local;
        if (!own.empty())
            addresses.push_back({entry.ifa_index, own, scopeText(entry.ifa_scope)});
    });
    return addresses;
}

std::optional<std::vector<NextHop>> readNextHops()
{
    return read(RTM_GETROUTE, nextHopsIn);
}

std::optional<std::vector<NextHopObject>> readNextHopObjects()
{
    return read(GET_OBJECT, nextHopObjectsIn);
}

std::optional<std::vector<ScopedAddress>> readScopedAddresses()
{
    return read(RTM_GETADDR, scopedAddressesIn);
}

}
