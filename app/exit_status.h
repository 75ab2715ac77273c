#pragma once

namespace app {

/**
 * What the program's end tells a script; part of its interface, listed in the help and in
 * README.md.
 *
 * The numbers from 64 on are those of sysexits(3), so that they do not collide with what later
 * commands may want to tell.
 */
enum ExitStatus : int {
    EXIT_STATUS_OK = 0,
    EXIT_STATUS_QUERY_FAILED = 1,
    EXIT_STATUS_NO_RECOVERY = 2,
    EXIT_STATUS_USAGE = 64,
    EXIT_STATUS_LIBRARY = 69,
    EXIT_STATUS_INTERNAL = 70,
    EXIT_STATUS_OUTPUT = 74,
    EXIT_STATUS_INTERRUPTED = 130 // What a shell makes of Ctrl-C.
};

}
