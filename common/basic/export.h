#pragma once

/** Marks what the shared library shows to its hosts; everything else is compiled hidden. */
#define DOVREL_EXPORT __attribute__((visibility("default")))
