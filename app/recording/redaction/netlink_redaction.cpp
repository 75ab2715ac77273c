#include "app/recording/redaction/netlink_redaction.h"

#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/lines.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <linux/rtnetlink.h>
#include <optional>
#include <sys/socket.h>

namespace app {

namespace {

using Bytes = std::string_view;

constexpr size_t ALIGNMENT = 4;
constexpr unsigned short TYPE_BITS = 0x3FFF; ///< without "nested" and "network byte order"

// Of kernel headers that may be newer than this machine's.
constexpr unsigned short NEXT_HOP_MESSAGE = 104;
constexpr size_t NEXT_HOP_HEADER = 8;

/** What an attribute holds. */
enum class Content {
    PLAIN,
    ADDRESS,
    HARDWARE,
    VIA, ///< a family and an address
    HOPS
};

struct Attribute {
    unsigned short type;
    Content content;
};

/** What is known of a type of message. */
struct Message {
    unsigned short type;
    size_t header; ///< bytes before the attributes; they begin with the family
    std::initializer_list<Attribute> attributes;
};

/** rtnetlink(7), <linux/rtnetlink.h>, <linux/if_addr.h>, <linux/nexthop.h>, <linux/if_link.h>. */
Message const MESSAGES[] = {
    {RTM_NEWROUTE, sizeof(rtmsg),
        {{1, Content::ADDRESS}, {2, Content::ADDRESS}, {3, Content::PLAIN}, {4, Content::PLAIN},
            {5, Content::ADDRESS}, {6, Content::PLAIN}, {7, Content::ADDRESS}, {8, Content::PLAIN},
            {9, Content::HOPS}, {11, Content::PLAIN}, {12, Content::PLAIN}, {15, Content::PLAIN},
            {16, Content::PLAIN}, {18, Content::VIA}, {20, Content::PLAIN}, {23, Content::PLAIN},
            {30, Content::PLAIN}}},
    {RTM_NEWADDR, sizeof(ifaddrmsg),
        {{1, Content::ADDRESS}, {2, Content::ADDRESS}, {3, Content::PLAIN}, {4, Content::ADDRESS},
            {5, Content::ADDRESS}, {6, Content::PLAIN}, {7, Content::ADDRESS}, {8, Content::PLAIN},
            {9, Content::PLAIN}, {11, Content::PLAIN}}},
    {RTM_NEWLINK, sizeof(ifinfomsg),
        {{1, Content::HARDWARE}, {2, Content::HARDWARE}, {3, Content::PLAIN}, {4, Content::PLAIN},
            {5, Content::PLAIN}, {6, Content::PLAIN}, {10, Content::PLAIN}, {13, Content::PLAIN},
            {16, Content::PLAIN}, {17, Content::PLAIN}, {33, Content::PLAIN}}},
    {NEXT_HOP_MESSAGE, NEXT_HOP_HEADER,
        {{1, Content::PLAIN}, {2, Content::PLAIN}, {3, Content::PLAIN}, {4, Content::PLAIN},
            {5, Content::PLAIN}, {6, Content::ADDRESS}, {9, Content::PLAIN}, {10, Content::PLAIN}}},
    {NLMSG_DONE, sizeof(int), {}},
    {NLMSG_ERROR, sizeof(int), {}},
};

template <class Object> Object objectAt(Bytes bytes)
{
    Object object{};
    std::memcpy(&object, bytes.data(), std::min(sizeof(object), bytes.size()));
    return object;
}

template <class Object> void append(std::string& bytes, Object const& object)
{
    bytes.append(reinterpret_cast<char const*>(&object), sizeof(object));
}

void pad(std::string& bytes)
{
    bytes.resize((bytes.size() + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT);
}

size_t addressSize(unsigned family)
{
    return family == AF_INET ? sizeof(uint32_t) : family == AF_INET6 ? 16 : 0;
}

/** Writes the attributes again. The functions get each address. */
class Rewriter {
public:
    std::function<std::string(std::string const&, unsigned attribute)> ip;
    std::function<std::string(std::string const&)> hardware;

    std::string attributes(Message const& message, unsigned family, Bytes bytes) const
    {
        std::string result;
        while (bytes.size() >= sizeof(rtattr)) {
            auto header = objectAt<rtattr>(bytes);
            size_t const length = header.rta_len;
            if (length < sizeof(header) || length > bytes.size())
                break;
            Bytes const value = bytes.substr(sizeof(header), length - sizeof(header));
            if (auto const other = content(message, header.rta_type & TYPE_BITS, family, value)) {
                header.rta_len = static_cast<unsigned short>(sizeof(header) + other->size());
                append(result, header);
                result += *other;
                pad(result);
            }
            bytes.remove_prefix(std::min(bytes.size(), RTA_ALIGN(length)));
        }
        return result;
    }

private:
    /** @return nothing for an attribute that is dropped. */
    std::optional<std::string> content(
        Message const& message, unsigned type, unsigned family, Bytes value) const
    {
        for (Attribute const& known : message.attributes) {
            if (known.type != type)
                continue;
            switch (known.content) {
            case Content::PLAIN:
                return std::string(value);
            case Content::ADDRESS:
                return address(family, value, type);
            case Content::HARDWARE:
                // A tunnel's hardware address is its IP address.
                if (value.size() == addressSize(AF_INET) || value.size() == addressSize(AF_INET6))
                    return ip(std::string(value), 0);
                return hardware(std::string(value));
            case Content::VIA:
                return via(value, type);
            case Content::HOPS:
                return hops(message, family, value);
            }
        }
        return std::nullopt;
    }

    std::optional<std::string> address(unsigned family, Bytes value, unsigned attribute) const
    {
        bool const isAddress = value.size() == addressSize(family) && !value.empty();
        return isAddress ? std::optional(ip(std::string(value), attribute)) : std::nullopt;
    }

    std::optional<std::string> via(Bytes value, unsigned attribute) const
    {
        constexpr size_t FAMILY = sizeof(uint16_t);
        if (value.size() < FAMILY)
            return std::nullopt;
        auto const other = address(objectAt<uint16_t>(value), value.substr(FAMILY), attribute);
        return other ? std::optional(std::string(value.substr(0, FAMILY)) + *other) : std::nullopt;
    }

    std::string hops(Message const& message, unsigned family, Bytes bytes) const
    {
        std::string result;
        while (bytes.size() >= sizeof(rtnexthop)) {
            auto hop = objectAt<rtnexthop>(bytes);
            size_t const length = hop.rtnh_len;
            if (length < sizeof(hop) || length > bytes.size())
                break;
            std::string const inner =
                attributes(message, family, bytes.substr(sizeof(hop), length - sizeof(hop)));
            hop.rtnh_len = static_cast<unsigned short>(sizeof(hop) + inner.size());
            append(result, hop);
            result += inner;
            pad(result);
            bytes.remove_prefix(std::min(bytes.size(), RTNH_ALIGN(length)));
        }
        return result;
    }
};

std::string rewritten(Bytes message, Rewriter const& rewriter)
{
    auto header = objectAt<nlmsghdr>(message);
    Bytes const content = message.substr(std::min(message.size(), sizeof(header)));
    std::string result;
    for (Message const& known : MESSAGES)
        if (known.type == header.nlmsg_type && content.size() >= known.header) {
            result = content.substr(0, known.header);
            unsigned const family = static_cast<unsigned char>(content[0]);
            pad(result);
            result += rewriter.attributes(
                known, family, content.substr(std::min(result.size(), content.size())));
        }
    header.nlmsg_len = static_cast<uint32_t>(sizeof(header) + result.size());
    std::string whole;
    append(whole, header);
    return whole + result;
}

}

std::string netlinkMessage(std::string_view answer)
{
    auto const words = wordsIn(answer);
    bool const hasMessage = words.size() == 4 && words[0] == "netlink" && isHex(words[3])
        && words[3].size() >= 2 * sizeof(nlmsghdr);
    return hasMessage ? bytesOf(words[3]) : std::string();
}

void findInNetlink(std::string_view message, AddressMap& addresses)
{
    auto const header = objectAt<nlmsghdr>(message);
    Bytes const content = message.substr(std::min(message.size(), sizeof(header)));
    // Of a route the second byte is the destination's prefix length, of an address its own.
    unsigned const prefix = content.size() > 1 ? static_cast<unsigned char>(content[1]) : 0;
    Rewriter finder;
    finder.ip = [&](std::string const& address, unsigned attribute) {
        addresses.addIp(address);
        bool const isOfRoute = header.nlmsg_type == RTM_NEWROUTE && attribute == RTA_DST;
        if (isOfRoute || header.nlmsg_type == RTM_NEWADDR)
            addresses.addNetwork(address, prefix);
        return address;
    };
    finder.hardware = [&](std::string const& address) {
        addresses.addHardware(address);
        return address;
    };
    rewritten(message, finder);
}

std::string redactedNetlink(std::string_view message, AddressMap& addresses)
{
    Rewriter rewriter;
    rewriter.ip = [&](std::string const& address, unsigned /*attribute*/) {
        return addresses.replacedIp(address);
    };
    rewriter.hardware = [&](std::string const& address) {
        return addresses.replacedHardware(address);
    };
    return rewritten(message, rewriter);
}

}
