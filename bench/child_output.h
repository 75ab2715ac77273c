#pragma once

#include "common/basic/processstream/src/generic_pstream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace bench {

/** The bytes that a reader of a terminal asks for at a time. */
constexpr unsigned TERMINAL_PIECE = 256;

/** Prints as many MiB of zeros as the benchmark's argument says: no newline, which ends a piece. */
inline std::string printing(benchmark::State const& state)
{
    return "exec head -c " + std::to_string(state.range(0) << 20) + " /dev/zero";
}

/** @param read of what `printing` printed. @throws std::runtime_error where some is missing */
inline void expectPrinted(benchmark::State& state, int64_t read)
{
    int64_t const printed = state.range(0) << 20;
    if (read != printed)
        throw std::runtime_error(
            std::to_string(read) + " bytes of " + std::to_string(printed) + " were read");
    state.SetBytesProcessed(state.iterations() * printed);
}

/** Nobody whom a stream buffer could ask: for a pipe that never is found empty. */
class NoChild : public Command {
public:
    explicit NoChild(Pipe& pipe) : m_pipe(pipe) { }
    int uncachedExitCode() override { return 0; }
    Pipe& stdInOut() override { return m_pipe; }
    Pipe& stdErr() override { return m_pipe; }

private:
    Pipe& m_pipe;
};

}
