#pragma once

#include "common/basic/export.h"
#include "sysinfo/SystemInformation.h"

/**
 * The entries for hosts that load the library at run time: look both names up with dlsym(3).
 *
 * `libopen` makes a new service object, exactly as `sysinfo::SystemInformation::create()` does,
 * that the caller owns and must hand back to `libclose` before it unloads the library. @throws
 * std::bad_alloc
 */
extern "C" DOVREL_EXPORT sysinfo::SystemInformation* libopen();

/** Deletes @p object; null is ignored. */
extern "C" DOVREL_EXPORT void libclose(sysinfo::SystemInformation* object);
