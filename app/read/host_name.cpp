#include "app/read/host_name.h"

#include "app/read/kernel_file.h"

#include <array>
#include <unistd.h>

namespace app {

std::optional<std::string> hostName()
{
    std::array<char, 256> name{};
    // The last byte stays 0: a longer name is cut without one.
    if (gethostname(name.data(), name.size() - 1) != 0)
        return std::nullopt;
    return known(name.data());
}

}
