#pragma once

#include "common/basic/export.h"

/** Size in bytes of each string that `getsysinfo` writes, including the terminating zero. */
#define DOVREL_GETSYSINFO_TEXT_SIZE 48

/**
 * Identifies the machine: system vendor, product name, product version, and the hypervisor that it
 * runs under.
 *
 * Each string is terminated and takes at most `DOVREL_GETSYSINFO_TEXT_SIZE` bytes. @p code is a
 * value of `sysinfo::SystemInformation::HypervisorType`: 0 for no hypervisor, 8 for an unknown one.
 *
 * The strings come from the firmware, /sys/class/dmi/id (the kernel's ABI/testing/sysfs-class-dmi).
 * A string is empty if the firmware does not provide it. A string that is too long is cut between
 * two UTF-8 characters. The code is derived from the firmware's strings and from the processor's
 * hypervisor leaves, CPUID 0x40000000 and up.
 *
 * At most 4,096 bytes of each string are read, as much as the kernel writes. Takes some reads of
 * the kernel's files, without a wait. Any number of threads may call it at once.
 *
 * The symbol is weak, so that a host can define its own function.
 *
 * @return 0 on success; another value, with empty strings and code 0, if neither source can be
 * read.
 */
extern "C" DOVREL_EXPORT int getsysinfo(char* vendor, char* product, char* version, int* code);
