#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bench {

/** @return the output of `ifconfig -a` of net-tools 2.0 or later. */
std::string adapterText(unsigned adapters);

/** @return the output of `route -n`: a network for each adapter, and one gateway. */
std::string routeText(unsigned adapters);

std::string adapterName(unsigned number);

struct BareAdapter {
    std::string_view name;
    std::vector<std::string_view> addresses;
    std::vector<std::string_view> netmasks;
    std::string_view hardwareAddress;
};

/** Parses the output of net-tools 2.0 in one pass. The results point into @p text. */
std::vector<BareAdapter> scanAdapters(std::string_view text);

}
