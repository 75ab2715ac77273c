#pragma once

#include "common/basic/processstream/src/generic_pstream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace bench {

/** Bytes for each read of a terminal. */
constexpr unsigned TERMINAL_PIECE = 256;

/** @return a command that prints zero bytes, without a newline: the argument is in MiB. */
inline std::string printing(benchmark::State const& state)
{
    return "exec head -c " + std::to_string(state.range(0) << 20) + " /dev/zero";
}

/** @param read bytes read from `printing`. @throws std::runtime_error when some are missing */
inline void expectPrinted(benchmark::State& state, int64_t read)
{
    int64_t const printed = state.range(0) << 20;
    if (read != printed)
        throw std::runtime_error(
            std::to_string(read) + " bytes of " + std::to_string(printed) + " were read");
    state.SetBytesProcessed(state.iterations() * printed);
}

/** A command without a child process, for a pipe that is never empty. */
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
