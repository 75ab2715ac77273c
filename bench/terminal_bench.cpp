#include "bench/child_output.h"
#include "common/basic/processstream/src/UnixCommand.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <system_error>

// Reads from a full terminal, without a child. With a child, the number of reads without data is
// the result of a race and differs between runs.

namespace {

constexpr unsigned PIECE = bench::TERMINAL_PIECE;

/** The capacity of a terminal, one byte less than 4 KiB. */
constexpr int CONTENTS = 4095;

void expect(bool succeeded, char const* call)
{
    if (!succeeded)
        throw std::system_error(errno, std::generic_category(), call);
}

/** Both sides of a raw pseudo-terminal. Reads do not block. */
class FilledTerminal {
public:
    FilledTerminal()
    {
        m_master = posix_openpt(O_RDWR | O_NONBLOCK | O_CLOEXEC);
        expect(m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0, "posix_openpt");
        char name[64];
        expect(ptsname_r(m_master, name, sizeof name) == 0, "ptsname_r");
        m_slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        expect(m_slave >= 0 && dovrel::makeTermRaw(m_slave), name);
    }
    FilledTerminal(FilledTerminal const&) = delete;
    FilledTerminal& operator=(FilledTerminal const&) = delete;
    ~FilledTerminal()
    {
        close(m_slave);
        close(m_master);
    }

    int reader() const { return m_master; }

    /** Fills the terminal. Returns when the reader can read all bytes. */
    void fill() const
    {
        static char const zeros[CONTENTS] = {};
        expect(write(m_slave, zeros, sizeof zeros) == CONTENTS, "write to the terminal");
        for (int available = 0; available < CONTENTS; sched_yield())
            expect(ioctl(m_master, FIONREAD, &available) == 0, "FIONREAD");
    }

private:
    int m_master = -1;
    int m_slave = -1;
};

/** Measures @p readAll on a full terminal. @p readAll returns the number of bytes read. */
template <class Read>
void timeReading(benchmark::State& state, FilledTerminal const& terminal, Read readAll)
{
    using Clock = std::chrono::steady_clock;
    for (auto round : state) {
        terminal.fill();
        auto const start = Clock::now();
        int const size = readAll();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        if (size != CONTENTS) {
            state.SkipWithError("the terminal was not read to its end");
            break;
        }
    }
}

void readDovrel(benchmark::State& state)
{
    FilledTerminal const terminal;
    dovrel::UnixPipe pipe;
    pipe.setDescriptor(terminal.reader());
    bench::NoChild command(pipe);
    pipestreambuf buffer(command, pipe, std::ios_base::openmode());
    std::istream stream(&buffer);
    timeReading(state, terminal, [&stream] {
        int total = 0;
        char piece[PIECE];
        while (total + static_cast<int>(PIECE) <= CONTENTS && stream.read(piece, PIECE))
            total += PIECE;
        stream.read(piece, CONTENTS - total);
        benchmark::DoNotOptimize(piece);
        return total + static_cast<int>(stream.gcount());
    });
}

void readBare(benchmark::State& state)
{
    FilledTerminal const terminal;
    timeReading(state, terminal, [&terminal] {
        int total = 0;
        char piece[PIECE];
        while (total < CONTENTS) {
            ssize_t const size = read(terminal.reader(), piece, sizeof piece);
            if (size <= 0)
                break;
            total += static_cast<int>(size);
        }
        benchmark::DoNotOptimize(piece);
        return total;
    });
}

}

BENCHMARK(readDovrel)->Name("read_terminal/dovrel")->UseManualTime();
BENCHMARK(readBare)->Name("read_terminal/bare")->UseManualTime();
