#pragma once

namespace testkit {

/** A fault: the n-th call of a function of the C library fails. */
struct Fault {
    /** The function's name; MEMORY for an allocation. */
    char const* call;

    /** The value of `errno`; ONE_BYTE makes a read or write transfer one byte. */
    int error;

    /** Counted from 1. */
    unsigned nth;

    /** The number of calls in a row that fail. */
    unsigned times = 1;
};

constexpr char MEMORY[] = "memory";
constexpr int ONE_BYTE = -1;
constexpr Fault NO_FAULT{"", 0, 0, 0};

/**
 * Makes calls of the library fail, as Fault describes, and counts them.
 *
 * The test program defines these functions. The dynamic linker prefers its definitions to the C
 * library's, also for calls from libraries. Calls of a child between fork(2) and exec(3) count too.
 * Some have stand-ins, so that ordinary files can be devices: `ioctl` reports sectors of 512 bytes
 * and the file's size as the SCSI bus number, `statvfs` the same figures for every path, the sleep
 * of one second ends at once and replaces /proc/stat by /proc/stat.then, and a wait for a child
 * ends with the child.
 *
 * An allocation is malloc(3), calloc(3) or realloc(3), which the C library and `operator new` call.
 * A sanitizer has its own malloc(3), which the C library calls; there an allocation is `operator
 * new` alone.
 */
class FaultCalls {
public:
    FaultCalls();

    /** The faults begin. @param cause a fault of the machine, besides the injected one. */
    void begin(Fault const& fault, Fault const& cause) noexcept;

    /** Calls up to `resume` are neither counted nor made to fail. */
    void pause() noexcept;
    void resume() noexcept;

    /** The faults end. */
    void end() noexcept;

    /** @return the number of calls since `begin`, failed ones included. */
    unsigned countOf(char const* call) const noexcept;

    /** @return allocated minus freed blocks of the program, as allocations are defined above. */
    static long liveBlocks() noexcept;

    // For the functions.

    /** Counts the call. @return the error that it is to fail with; 0 if it is not to fail. */
    int errorOf(char const* call) noexcept;

    /** The same. @return whether it is to fail; sets `errno`. */
    bool fails(char const* call) noexcept;

private:
    struct State;

    State* m_state; // In memory that children share, because their calls count too.
};

extern FaultCalls faultCalls;

}
