#include "tests/common/basic/random_addresses.h"

#include <cstring>
#include <random>

namespace testkit {

namespace {

template <size_t SIZE> void fill(void* bytes, std::mt19937& random)
{
    constexpr unsigned char OFTEN[] = {0, 0, 0, 1, 0x7F, 0x80, 0xFF, 0xFF};
    unsigned char made[SIZE];
    bool const isAnything = random() % 4 == 0;
    bool const isNearZero = !isAnything && random() % 2 == 0;
    for (unsigned char& byte : made) {
        bool const isZero = isNearZero && &byte != &made[SIZE - 1];
        byte = isZero    ? 0
            : isAnything ? static_cast<unsigned char>(random() % 256)
                         : OFTEN[random() % sizeof OFTEN];
    }
    std::memcpy(bytes, made, SIZE);
}

}

std::vector<dovrel::ip_address> randomAddresses(size_t count)
{
    std::mt19937 random(20140513);
    std::vector<dovrel::ip_address> addresses;
    for (size_t i = 0; i < count; ++i) {
        switch (random() % 5) {
        case 0: {
            addresses.emplace_back(dovrel::string());
            break;
        }
        case 1:
        case 2: {
            sockaddr_in ipv4{};
            ipv4.sin_family = AF_INET;
            ipv4.sin_port = static_cast<in_port_t>(random() % 3);
            fill<4>(&ipv4.sin_addr, random);
            addresses.emplace_back(ipv4);
            break;
        }
        default: {
            sockaddr_in6 ipv6{};
            ipv6.sin6_family = AF_INET6;
            ipv6.sin6_port = static_cast<in_port_t>(random() % 3);
            ipv6.sin6_scope_id = static_cast<uint32_t>(random() % 2);
            fill<16>(&ipv6.sin6_addr, random);
            addresses.emplace_back(ipv6);
        }
        }
    }
    return addresses;
}

}
