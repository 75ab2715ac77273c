#include "app/model/Memory.h"

namespace app {

namespace {

std::optional<uint64_t> less(std::optional<uint64_t> whole, std::optional<uint64_t> part)
{
    return whole && part && *part <= *whole ? std::optional(*whole - *part) : std::nullopt;
}

}

std::optional<uint64_t> Memory::used() const
{
    if (available)
        return less(total, available);
    return less(less(less(total, free), buffers.value_or(0)), caches.value_or(0));
}

std::optional<uint64_t> Memory::swapUsed() const
{
    return less(swapTotal, swapFree);
}

}
