#include "app/watch/RecoveryView.h"

#include "app/write/display.h"
#include "app/write/json.h"
#include "app/write/names.h"
#include "app/write/recovery_line.h"
#include "app/write/standard_streams.h"

#include <algorithm>
#include <ctime>
#include <unistd.h>
#include <utility>

namespace app {

namespace {

constexpr char const* WAITING = "waiting for a recovery to start";

bool isWaiting(std::optional<Recovery> const& recovery)
{
    return !recovery || recovery->phase() == RecoveryPhase::IDLE;
}

class ChangeView : public RecoveryView {
public:
    int show(Machine const& machine) override
    {
        // The average falls with the clock where nothing is restored: that is no change. The
        // library reports the present time where a restore has no end.
        Machine withoutClock = machine;
        withoutClock.time = 0;
        if (withoutClock.recovery)
            withoutClock.recovery->megabytesPerSecond.reset();
        for (Difference& difference : withoutClock.differences)
            difference.library.reset();
        std::string change = text(withoutClock);
        if (change == m_last)
            return 0;
        m_last = std::move(change);
        return write(text(machine));
    }

    int close() override { return 0; }

private:
    virtual std::string text(Machine const& machine) const = 0;
    virtual int write(std::string const& line) const = 0;

    std::string m_last;
};

/** Writes a sentence to standard output. */
int writeSentence(std::string const& text)
{
    std::string lines;
    for (std::string const& line : wrapped(text, terminalLayout(STDOUT_FILENO), 0, 0))
        lines += line + "\n";
    return writeWhole(STDOUT_FILENO, lines);
}

class LineView : public ChangeView {
    std::string text(Machine const& machine) const override
    {
        return isWaiting(machine.recovery) ? WAITING : recoveryLine(*machine.recovery);
    }

    int write(std::string const& line) const override { return writeSentence(line); }

public:
    int end(std::optional<Recovery> const& recovery, int64_t now) override
    {
        return recovery ? writeSentence(recoveryOutcome(*recovery, now)) : 0;
    }
};

class JsonView : public ChangeView {
    std::string text(Machine const& machine) const override { return jsonLine(machine); }

    int write(std::string const& line) const override
    {
        return writeWhole(STDOUT_FILENO, line + "\n");
    }

public:
    int showRest(Machine const& machine) override { return show(machine); }

    /** The last object has the end. */
    int end(std::optional<Recovery> const& /*recovery*/, int64_t /*now*/) override { return 0; }
};

/** Nothing of the terminal is changed: no escape sequence is needed, and none left behind by a
 * program that is killed. */
class BarView : public RecoveryView {
public:
    int show(Machine const& machine) override
    {
        auto const& recovery = machine.recovery;
        bool const blocks = localeIsUtf8();
        size_t const columns = usableColumns();
        std::string const line = isWaiting(recovery)
            ? std::string(WAITING).substr(0, columns)
            : recoveryBar(*recovery, columns, std::time(nullptr), blocks);
        size_t const width = displayWidth(line);
        // Blanks over what stands there, but not into the next line of a narrower terminal.
        size_t const over = std::min(m_drawn, columns);
        std::string const rest(over > width ? over - width : 0, ' ');
        m_drawn = width;
        m_open = true;
        return writeWhole(STDOUT_FILENO, "\r" + line + rest);
    }

    int end(std::optional<Recovery> const& recovery, int64_t now) override
    {
        int const error = close();
        if (error != 0 || !recovery)
            return error;
        return writeSentence(recoveryOutcome(*recovery, now));
    }

    int close() override
    {
        return std::exchange(m_open, false) ? writeWhole(STDOUT_FILENO, "\n") : 0;
    }

private:
    /** Two columns stay free for the "^C" that a terminal echoes, and the last one: some terminals
     * go on to the next line as soon as it is written. */
    static size_t usableColumns()
    {
        constexpr size_t FREE = 3;
        return std::max(terminalColumns(STDOUT_FILENO), FREE + 1) - FREE;
    }

    size_t m_drawn = 0; // Columns that stand there.
    bool m_open = false;
};

}

std::unique_ptr<RecoveryView> makeRecoveryView(ViewKind kind)
{
    switch (kind) {
    case ViewKind::LINES:
        return std::make_unique<LineView>();
    case ViewKind::JSON:
        return std::make_unique<JsonView>();
    case ViewKind::BAR:
        break;
    }
    return std::make_unique<BarView>();
}

}
