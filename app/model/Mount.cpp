#include "app/model/Mount.h"

namespace app {

std::optional<double> Mount::usedPercent() const
{
    if (!used || !available || (*used == 0 && *available == 0))
        return std::nullopt;
    // The sum may pass 64 bits.
    return 100.0 * static_cast<double>(*used)
        / (static_cast<double>(*used) + static_cast<double>(*available));
}

}
