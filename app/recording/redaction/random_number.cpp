#include "app/recording/redaction/random_number.h"

#include <cerrno>
#include <fstream>
#include <sys/random.h>
#include <system_error>

namespace app {

namespace {

uint32_t randomNumber()
{
    uint32_t number = 0;
    ssize_t count = 0;
    do
        count = getrandom(&number, sizeof(number), 0);
    while (count < 0 && errno == EINTR);
    if (count == static_cast<ssize_t>(sizeof(number)))
        return number;
    std::ifstream device("/dev/urandom", std::ios::binary);
    device.read(reinterpret_cast<char*>(&number), sizeof(number));
    if (!device)
        throw std::system_error(ENOSYS, std::generic_category(), "getrandom");
    return number;
}

}

uint32_t randomBelow(uint32_t limit)
{
    // The numbers of the last, incomplete round would make the first ones more likely.
    uint32_t const rest = (UINT32_MAX % limit + 1) % limit;
    for (;;)
        if (uint32_t const number = randomNumber(); number <= UINT32_MAX - rest)
            return number % limit;
}

}
