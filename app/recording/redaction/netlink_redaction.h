#pragma once

#include "app/recording/redaction/AddressMap.h"

#include <string>
#include <string_view>

namespace app {

/** @return the message of an answer "netlink REQUEST FAMILY HEX"; empty where the answer is an
 * error or has none. */
std::string netlinkMessage(std::string_view answer);

/** Collects the addresses and networks of a message of rtnetlink(7) with its header. */
void findInNetlink(std::string_view message, AddressMap& addresses);

/** @return the message with other addresses, without attributes that are unknown here. Of a message
 * of an unknown type only the header is left. */
std::string redactedNetlink(std::string_view message, AddressMap& addresses);

}
