#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bench {

/** What `ifconfig -a` prints for so many adapters, as net-tools does since 2.0. */
std::string adapterText(unsigned adapters);

/** What `route -n` prints for them: a network each and one gateway. */
std::string routeText(unsigned adapters);

std::string adapterName(unsigned number);

struct BareAdapter {
    std::string_view name;
    std::vector<std::string_view> addresses;
    std::vector<std::string_view> netmasks;
    std::string_view hardwareAddress;
};

/** One pass over the text, for this one style of it; the texts stay where they are. */
std::vector<BareAdapter> scanAdapters(std::string_view text);

}
