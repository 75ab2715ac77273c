#pragma once

#include "common/basic/export.h"

/** Bytes of each text that `getsysinfo` writes, terminating zero included. */
#define GETSYSINFO_TEXT_SIZE 48

/**
 * Identifies the machine: system vendor, product name and product version, each terminated and of
 * at most `GETSYSINFO_TEXT_SIZE` bytes, and the hypervisor that it runs under as a code (0 none to
 * 11, see `sysinfo::SystemInformation::HypervisorType`).
 *
 * The symbol is weak, so that a host can bring its own. This one reports failure: texts empty, code
 * 0.
 *
 * @return 0 on success, anything else where the machine could not be identified.
 */
extern "C" DOVREL_EXPORT int getsysinfo(char* vendor, char* product, char* version, int* code);
