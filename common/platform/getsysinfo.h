#pragma once

#include "common/basic/export.h"

/** Bytes of each text that `getsysinfo` writes, terminating zero included. */
#define GETSYSINFO_TEXT_SIZE 48

/**
 * Identifies the machine: system vendor, product name and product version, each terminated and of
 * at most `GETSYSINFO_TEXT_SIZE` bytes, and the hypervisor that it runs under as a code (0 none to
 * 11, 8 for one that is not known by name; see `sysinfo::SystemInformation::HypervisorType`).
 *
 * The texts are the firmware's, /sys/class/dmi/id (the kernel's ABI/testing/sysfs-class-dmi): empty
 * where it does not tell them, cut before a character of UTF-8 that does not fit. The code comes
 * from the same and from the processor's hypervisor leaf, CPUID 0x40000000.
 *
 * The symbol is weak, so that a host can bring its own.
 *
 * @return 0 on success; anything else, with empty texts and code 0, where neither source can be
 * read.
 */
extern "C" DOVREL_EXPORT int getsysinfo(char* vendor, char* product, char* version, int* code);
