#pragma once

#include "app/model/Disk.h"

#include <string>

namespace app {

/** Fills in the type that a device's name shows, and the facts that files of /proc have of it: of
 * RAID those of @p mdstat, of an IDE disk its identity. */
void setTypeByName(Disk& disk, std::string const& mdstat);

/** @return whether a device lies on others, by the name that its driver gives it; besides those of
 * device-mapper and md. */
bool isStacked(std::string const& name);

/** Fills in level and parts of a RAID device that it does not have yet. @param mdstat
 * /proc/mdstat, md(4). */
void addRaidFacts(Disk& disk, std::string const& mdstat);

/** @return whether it is a RAM disk, or a device without a medium. */
bool isLeftOut(Disk const& disk);

}
