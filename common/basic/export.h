#pragma once

/** Exports a name from the shared library; all other names are hidden. */
#define DOVREL_EXPORT __attribute__((visibility("default")))

/** Hides a member of a class that is exported. */
#define DOVREL_HIDDEN __attribute__((visibility("hidden")))
