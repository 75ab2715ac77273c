#pragma once

/** Exports a name from the shared library; all other names are hidden. */
#define DOVREL_EXPORT __attribute__((visibility("default")))
