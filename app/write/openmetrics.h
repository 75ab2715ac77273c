#pragma once

#include "app/model/Machine.h"

#include <ostream>

namespace app {

/**
 * Writes the facts as metrics for monitoring; README.md lists them.
 *
 * The text is both OpenMetrics 1.0 and the text format of Prometheus, which the textfile collector
 * of the node exporter reads. Names begin with "dovrel_", units are base units: bytes, seconds,
 * hertz, and ratios from 0 to 1. Texts are labels of metrics whose names end in "_info" and whose
 * value is 1.
 *
 * An unknown fact has no sample, or lacks its label. The text is UTF-8 in every locale: bytes of a
 * name that are no UTF-8, and control characters but the newline, become U+FFFD. Of two items that
 * have the same labels then, the first is written.
 */
void writeOpenMetrics(Machine const& machine, std::ostream& out);

}
