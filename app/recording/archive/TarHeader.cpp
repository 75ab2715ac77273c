#include "app/recording/archive/TarHeader.h"

#include <algorithm>

namespace app {

uint64_t checksumOf(TarHeader header)
{
    header.checksum.fill(' ');
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&header);
    uint64_t sum = 0;
    std::for_each_n(bytes, sizeof(header), [&sum](unsigned char byte) { sum += byte; });
    return sum;
}

}
