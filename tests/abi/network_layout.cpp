#include "common/basic/NetworkError.h"
#include "common/basic/inet_address.h"
#include "tests/abi/layout.h"
#include "tests/abi/object_bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace layout {

void expectAddresses(Addresses const& figures)
{
    EXPECT_EQ(sizeof(dovrel::ip_address), figures.size);
    EXPECT_EQ(sizeof(dovrel::inet_address), figures.size);
    EXPECT_EQ(sizeof(dovrel::ip_address::InsertFunctor), sizeof(void*));
    EXPECT_EQ(sizeof(dovrel::ip_address::byteorder_t), 4U);
    dovrel::inet_address const address{dovrel::string(L"10.0.0.1:443")};
    EXPECT_EQ(offsetOf(address.sockaddr(), address), figures.storage);
    EXPECT_EQ(sizeof address.sockaddr(), 128U);
    EXPECT_EQ(offsetOf(static_cast<dovrel::ip_address const&>(address), address), 0U);
}

void expectNetworkError(NetworkErrorFields const& figures)
{
    EXPECT_EQ(sizeof(dovrel::NetworkError), figures.size);
    dovrel::NetworkError const error(-6);
    EXPECT_EQ(partAt<int>(error, figures.code), -6);
    EXPECT_EQ(offsetOf(error.toString(), error), figures.text);
}

void expectUNIXNetworkInfo(NetworkInfoFields const& offsets)
{
    dovrel::macaddress_cpp mac;
    for (unsigned i = 0; i < dovrel::macaddress_cpp::SIZE; ++i)
        mac[i] = static_cast<uint8_t>(0xA0 + i);
    std::vector<dovrel::ip_address> const two(2);
    std::vector<dovrel::ip_address> const three(3);
    UNIXNetworkInfo const record(L"eth0", L"machine", mac, two, {L"255.0.0.0"}, three);
    EXPECT_EQ(
        offsetOf(
            static_cast<dovrel::Cloneable<SystemInformation::NetworkInfo> const&>(record), record),
        offsets.cloneable);
    EXPECT_EQ(partAt<dovrel::string>(record, offsets.name), dovrel::string(L"eth0"));
    EXPECT_EQ(partAt<dovrel::string>(record, offsets.hostname), dovrel::string(L"machine"));
    EXPECT_TRUE(partAt<dovrel::macaddress_cpp>(record, offsets.mac) == mac);
    using AddressList = std::vector<dovrel::ip_address>;
    size_t const list = sizeof(AddressList);
    EXPECT_EQ(partAt<AddressList>(record, offsets.lists).size(), 2U);
    EXPECT_EQ(partAt<std::vector<dovrel::string>>(record, offsets.lists + list).size(), 1U);
    EXPECT_EQ(partAt<AddressList>(record, offsets.lists + 2 * list).size(), 3U);
    EXPECT_TRUE(partAt<AddressList>(record, offsets.lists + 3 * list).empty());
    EXPECT_EQ(sizeof record, offsets.lists + 4 * list);
}

}
