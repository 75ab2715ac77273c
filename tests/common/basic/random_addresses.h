#pragma once

#include "common/basic/ip_address.h"

#include <vector>

namespace testkit {

/**
 * Addresses of both families, and some that are none, the same ones in every run.
 *
 * A byte is one of few values, so that equal ones and ones that differ late in their order are
 * among neighbours.
 */
std::vector<dovrel::ip_address> randomAddresses(size_t count);

}
