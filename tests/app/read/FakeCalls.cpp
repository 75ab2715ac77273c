#include "tests/app/read/FakeCalls.h"

#include "common/platform/getsysinfo.h"
#include "tests/support/SystemCalls.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <dlfcn.h>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace app_read_test {

namespace {

FakeCalls* current = nullptr;

/** The kernel's end of a netlink socket that has sent no request yet. */
int kernelEnd = -1;

int failWith(int error)
{
    errno = error;
    return -1;
}

/** An entry with the memory that it points to. */
struct Entry {
    ifaddrs list{};
    std::string name;
    sockaddr_storage address{};
    sockaddr_storage mask{};
};

void setBits(unsigned char* bytes, unsigned count)
{
    for (unsigned bit = 0; bit < count; ++bit)
        bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] | (0x80U >> (bit % 8)));
}

template <class Socket, class Raw>
bool setAddress(Entry& entry, FakeAddress const& fake, int family, Raw Socket::*member)
{
    Socket address{};
    if (inet_pton(family, fake.address.c_str(), &(address.*member)) != 1)
        return false;
    Socket mask{};
    setBits(reinterpret_cast<unsigned char*>(&(mask.*member)), fake.prefixLength);
    std::memcpy(&entry.address, &address, sizeof(address));
    std::memcpy(&entry.mask, &mask, sizeof(mask));
    entry.address.ss_family = static_cast<sa_family_t>(family);
    entry.list.ifa_netmask = reinterpret_cast<sockaddr*>(&entry.mask);
    return true;
}

void setMac(Entry& entry, FakeAddress const& fake)
{
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_hatype = static_cast<unsigned short>(fake.hardware);
    link.sll_ifindex = fake.index;
    std::string const& text = fake.address;
    for (size_t i = 0; i < text.size() && link.sll_halen < sizeof(link.sll_addr); i += 3)
        link.sll_addr[link.sll_halen++] =
            static_cast<unsigned char>(std::stoul(text.substr(i, 2), nullptr, 16));
    std::memcpy(&entry.address, &link, sizeof(link));
}

void fill(Entry& entry, FakeAddress const& fake)
{
    entry.name = fake.name;
    entry.list.ifa_name = entry.name.data();
    entry.list.ifa_flags = fake.flags;
    if (fake.address.empty())
        return;
    if (!setAddress(entry, fake, AF_INET, &sockaddr_in::sin_addr)
        && !setAddress(entry, fake, AF_INET6, &sockaddr_in6::sin6_addr))
        setMac(entry, fake);
    entry.list.ifa_addr = reinterpret_cast<sockaddr*>(&entry.address);
}

}

FakeCalls::FakeCalls()
{
    current = this;
}

FakeCalls::~FakeCalls()
{
    current = nullptr;
}

}

using app_read_test::current;
using app_read_test::Entry;
using app_read_test::failWith;
using app_read_test::kernelEnd;

// Where files have 64-bit offsets, the headers give stat and statvfs their other names.
#pragma GCC visibility push(default)
extern "C" {

int getifaddrs(ifaddrs** out) noexcept
{
    *out = nullptr;
    if (!current)
        return 0;
    if (current->addressesFail)
        return failWith(EACCES);
    ifaddrs** next = out;
    for (auto const& fake : current->addresses) {
        auto* const entry = new Entry;
        app_read_test::fill(*entry, fake);
        *next = &entry->list;
        next = &entry->list.ifa_next;
    }
    return 0;
}

void freeifaddrs(ifaddrs* list) noexcept
{
    while (list) {
        auto* const entry = reinterpret_cast<Entry*>(list); // Its first member.
        list = list->ifa_next;
        delete entry;
    }
}

int socket(int family, int type, int protocol) noexcept
{
    if (family != AF_NETLINK) {
        static auto const real =
            reinterpret_cast<int (*)(int, int, int)>(dlsym(RTLD_NEXT, "socket"));
        return real(family, type, protocol);
    }
    if (current && current->netlinkFails)
        return failWith(EAFNOSUPPORT);
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return -1;
    kernelEnd = ends[1];
    return ends[0];
}

ssize_t send(int file, void const* bytes, size_t size, int flags)
{
    static auto const real =
        reinterpret_cast<ssize_t (*)(int, void const*, size_t, int)>(dlsym(RTLD_NEXT, "send"));
    if (kernelEnd < 0)
        return real(file, bytes, size, flags);
    nlmsghdr request{};
    std::memcpy(&request, bytes, std::min(size, sizeof(request)));
    std::map<unsigned, std::vector<std::string>> const none;
    auto const& objects = current ? current->netlink : none;
    auto const found = objects.find(request.nlmsg_type);
    nlmsghdr done{};
    done.nlmsg_len = sizeof(done);
    done.nlmsg_type = NLMSG_DONE;
    std::string const end(reinterpret_cast<char const*>(&done), sizeof(done));
    auto const datagrams = found == objects.end() ? std::vector<std::string>{end} : found->second;
    for (std::string const& datagram : datagrams)
        real(kernelEnd, datagram.data(), datagram.size(), 0);
    close(kernelEnd); // What was sent stays readable.
    kernelEnd = -1;
    return static_cast<ssize_t>(size);
}

int statvfs(char const* path, struct statvfs* out) noexcept
{
    if (!current)
        return failWith(EIO);
    while (current->hangingFilesystems.count(path) != 0)
        pause();
    if (current->crashingFilesystems.count(path) != 0)
        std::raise(SIGKILL);
    auto const found = current->filesystems.find(path);
    if (found == current->filesystems.end())
        return failWith(EIO);
    *out = found->second;
    return 0;
}

dirent* readdir(DIR* folder)
{
    static auto const real = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir64"));
    static std::map<DIR*, unsigned> entries;
    if (!current || !current->entriesBeforeFailure) {
        entries.clear();
    } else if (entries[folder]++ >= *current->entriesBeforeFailure) {
        entries.erase(folder);
        errno = EIO;
        return nullptr;
    }
    return real(folder);
}

int stat(char const* path, struct stat* out) noexcept
{
    if (current) {
        *out = {};
        if (auto const node = current->blockDevices.find(path);
            node != current->blockDevices.end()) {
            out->st_mode = S_IFBLK;
            out->st_rdev = node->second;
            return 0;
        }
        if (auto const file = current->devicesOfFiles.find(path);
            file != current->devicesOfFiles.end()) {
            out->st_mode = S_IFDIR;
            out->st_dev = file->second;
            return 0;
        }
    }
    static auto const real =
        reinterpret_cast<int (*)(char const*, struct stat*)>(dlsym(RTLD_NEXT, "stat64"));
    return real ? real(path, out) : failWith(ENOSYS);
}

int gethostname(char* name, size_t size) noexcept
{
    if (!current || current->hostNameFails)
        return failWith(EFAULT);
    std::memcpy(name, current->hostName.c_str(), std::min(size, current->hostName.size() + 1));
    return 0;
}

int uname(utsname* out) noexcept
{
    if (!current || current->unameFails)
        return failWith(EFAULT);
    *out = {};
    std::snprintf(out->release, sizeof(out->release), "%s", current->kernelRelease.c_str());
    std::snprintf(out->machine, sizeof(out->machine), "x86_64");
    return 0;
}

uid_t geteuid() noexcept
{
    return current ? current->user : 0;
}

int clock_gettime(clockid_t clock, timespec* out) noexcept
{
    static auto const real =
        reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
    if (clock != CLOCK_MONOTONIC || !current || !current->steadyTime) {
        int const result = real(clock, out);
        if (result == 0 && clock == CLOCK_MONOTONIC)
            testkit::SystemCalls::recordReading(*out);
        return result;
    }
    auto const seconds = std::chrono::floor<std::chrono::seconds>(*current->steadyTime);
    out->tv_sec = static_cast<std::time_t>(seconds.count());
    out->tv_nsec = static_cast<long>((*current->steadyTime - seconds).count());
    return 0;
}

int nanosleep(timespec const* length, timespec* left)
{
    static auto const real =
        reinterpret_cast<int (*)(timespec const*, timespec*)>(dlsym(RTLD_NEXT, "nanosleep"));
    if (!current || !current->steadyTime)
        return real(length, left);
    *current->steadyTime +=
        std::chrono::seconds(length->tv_sec) + std::chrono::nanoseconds(length->tv_nsec);
    return 0;
}

int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    return current && current->identify ? current->identify(vendor, product, version, code) : -1;
}
}
#pragma GCC visibility pop
