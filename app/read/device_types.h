#pragma once

#include "app/model/Disk.h"

#include <string>

namespace app {

/** Fills in the type that the name of a device shows; a DISK stays one. */
void setTypeByName(Disk& disk);

/** Fills in whether a disk is virtual by its name, and the transport of one of the network, as
 * their devices are on no bus. */
void setVirtualByName(Disk& disk);

/** Fills in level and parts of a RAID device that it does not have yet. @param mdstat
 * /proc/mdstat, md(4). */
void addRaidFacts(Disk& disk, std::string const& mdstat);

/** @return whether it is a RAM disk, or a device without a medium. */
bool isLeftOut(Disk const& disk);

}
