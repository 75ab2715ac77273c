#pragma once

#include "app/model/Machine.h"
#include "app/write/html_text.h"

namespace app {

/**
 * Writes pictures of the block devices: from each disk to its partitions, the devices that are made
 * of them, and the places where they are mounted. Inline SVG, one picture for each disk, so that a
 * printer can break the page between two.
 *
 * Devices that are alike share a row. A device made of several is drawn in full below the first.
 */
void writeDeviceTrees(Html& html, Machine const& machine);

}
