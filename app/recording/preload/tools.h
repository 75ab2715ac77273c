#pragma once

#include <string>
#include <vector>

namespace preload {

/** @return whether tools are recorded, or answered from a recording that has tools. */
bool standsForTools();

/**
 * Ends this process as the tool would have ended, with its output on descriptors 1 and 2.
 *
 * The folder `tools` has, by a hash of the arguments, NAME.command (the arguments, a NUL byte
 * behind each), NAME.out, NAME.err, and where the tool ended NAME.status: "STATUS SECONDS
 * OUTPUT_SIZE ERRORS_SIZE" with the status of waitpid(2). While a machine is recorded, a tool that
 * the folder does not have is run. A tool that did not end is waited for.
 */
[[noreturn]] void becomeTool(std::vector<std::string> const& command, char* const* environment);

}
