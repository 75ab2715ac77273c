#pragma once

#include "common/basic/export.h"
#include "sysinfo/SystemInformation.h"

/**
 * @return a new service object, as `sysinfo::SystemInformation::create()` does. The caller owns it
 * and passes it to `libclose` before it unloads the library.
 *
 * For hosts that load the library at run time, dlopen(3), and find both functions with dlsym(3).
 *
 * @throws std::bad_alloc
 */
extern "C" DOVREL_EXPORT sysinfo::SystemInformation* libopen();

/** Deletes @p object. Ignores null. */
extern "C" DOVREL_EXPORT void libclose(sysinfo::SystemInformation* object);
