#pragma once

#include "common/basic/ip_address.h"

#include <vector>

namespace testkit {

/**
 * @return IPv4, IPv6 and invalid addresses, the same in every run. Their bytes have few values, so
 * that some neighbours are equal and some differ only in a late byte.
 */
std::vector<dovrel::ip_address> randomAddresses(size_t count);

}
