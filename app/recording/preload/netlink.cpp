// The answers of rtnetlink(7).

#include "app/recording/preload/answers.h"
#include "app/recording/preload/files.h"
#include "app/recording/preload/stage.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

using preload::answers;
using preload::answersCalls;
using preload::isRecording;
using preload::logAnswer;
using preload::real;

namespace {

using Request = std::pair<unsigned, unsigned>; // Its type and family.

/** A socket of the program for the kernel's routes. */
struct RouteSocket {
    Request request;
    size_t next = 0; // Of the answer's messages.
};

std::map<int, RouteSocket>& sockets()
{
    static std::map<int, RouteSocket> sockets;
    return sockets;
}

RouteSocket* socketOf(int file)
{
    auto const found = sockets().find(file);
    return found != sockets().end() ? &found->second : nullptr;
}

Request requestIn(void const* bytes, size_t size)
{
    nlmsghdr header{};
    rtgenmsg content{};
    std::memcpy(&header, bytes, std::min(size, sizeof header));
    if (size >= NLMSG_LENGTH(sizeof content))
        std::memcpy(&content, static_cast<char const*>(bytes) + NLMSG_HDRLEN, sizeof content);
    return {header.nlmsg_type, content.rtgen_family};
}

std::string hexadecimal(std::string_view bytes)
{
    constexpr char const* DIGITS = "0123456789abcdef";
    std::string text;
    for (char const c : bytes) {
        auto const byte = static_cast<unsigned char>(c);
        text += {DIGITS[byte >> 4U], DIGITS[byte & 15U]};
    }
    return text;
}

/** A router has a million routes, of which the queries use the default ones. */
bool isOfInterest(nlmsghdr const& header, std::string_view content)
{
    rtmsg route{};
    if (header.nlmsg_type != RTM_NEWROUTE || content.size() < sizeof route)
        return true;
    std::memcpy(&route, content.data(), sizeof route);
    return route.rtm_dst_len == 0;
}

void logMessages(Request const& request, std::string_view datagram)
{
    std::string const call =
        "netlink " + std::to_string(request.first) + " " + std::to_string(request.second) + " ";
    nlmsghdr header{};
    while (datagram.size() >= sizeof header) {
        std::memcpy(&header, datagram.data(), sizeof header);
        size_t const size = header.nlmsg_len;
        if (size < sizeof header || size > datagram.size())
            return;
        if (isOfInterest(header, datagram.substr(NLMSG_HDRLEN, size - NLMSG_HDRLEN)))
            logAnswer(call + hexadecimal(datagram.substr(0, size)));
        datagram.remove_prefix(std::min<size_t>(NLMSG_ALIGN(size), datagram.size()));
    }
}

ssize_t answer(RouteSocket& socket, void* out, size_t size, int flags)
{
    auto const found = answers().routes.find(socket.request);
    int const error = found == answers().routes.end() ? EOPNOTSUPP : found->second.error;
    if (error != 0 || socket.next == found->second.messages.size()) {
        errno = error != 0 ? error : EAGAIN;
        return -1;
    }
    std::string const& message = found->second.messages[socket.next++];
    std::memcpy(out, message.data(), std::min(size, message.size()));
    return static_cast<ssize_t>(
        flags & MSG_TRUNC ? message.size() : std::min(size, message.size()));
}

}

ANSWERED int socket(int family, int type, int protocol) noexcept
{
    static auto* const next = real<int(int, int, int)>("socket");
    bool const isRoutes = family == AF_NETLINK && (answersCalls() || isRecording());
    if (isRoutes && answersCalls() && answers().routes.empty()) {
        errno = EAFNOSUPPORT; // As on a kernel without rtnetlink.
        return -1;
    }
    int const file = isRoutes && answersCalls() ? next(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)
                                                : next(family, type, protocol);
    if (isRoutes && file >= 0)
        sockets()[file] = {};
    return file;
}

ANSWERED ssize_t send(int file, void const* bytes, size_t size, int flags)
{
    static auto* const next = real<ssize_t(int, void const*, size_t, int)>("send");
    RouteSocket* const socket = socketOf(file);
    if (socket)
        socket->request = requestIn(bytes, size);
    return socket && answersCalls() ? static_cast<ssize_t>(size) : next(file, bytes, size, flags);
}

ANSWERED ssize_t recv(int file, void* out, size_t size, int flags)
{
    static auto* const next = real<ssize_t(int, void*, size_t, int)>("recv");
    RouteSocket* const socket = socketOf(file);
    ssize_t const count =
        socket && answersCalls() ? answer(*socket, out, size, flags) : next(file, out, size, flags);
    if (socket && isRecording() && count >= 0)
        logMessages(socket->request,
            {static_cast<char const*>(out), std::min(size, static_cast<size_t>(count))});
    return count;
}

/** The number may be that of another file from now on. */
ANSWERED int close(int file)
{
    static auto* const next = real<int(int)>("close");
    sockets().erase(file);
    preload::noteClosed(file);
    return next(file);
}
