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

class LineView : public RecoveryView {
public:
    int show(std::optional<Recovery> const& recovery) override
    {
        std::string line = recovery ? recoveryLine(*recovery) : WAITING;
        if (line == m_last)
            return 0;
        m_last = std::move(line);
        return writeWhole(STDOUT_FILENO, m_last + "\n");
    }

    int end(std::optional<Recovery> const& recovery, int64_t now) override
    {
        return recovery ? writeWhole(STDOUT_FILENO, recoveryOutcome(*recovery, now) + "\n") : 0;
    }

    int close() override { return 0; }

private:
    std::string m_last;
};

class JsonView : public RecoveryView {
public:
    int show(std::optional<Recovery> const& recovery) override
    {
        // Lines differ in their times alone too.
        if (m_last && *m_last == recovery)
            return 0;
        m_last = recovery;
        return writeWhole(STDOUT_FILENO, recoveryJsonLine(recovery, std::time(nullptr)) + "\n");
    }

    int showGone() override { return show(std::nullopt); }

    /** The last object has the end. */
    int end(std::optional<Recovery> const& /*recovery*/, int64_t /*now*/) override { return 0; }

    int close() override { return 0; }

private:
    std::optional<std::optional<Recovery>> m_last;
};

/** Nothing of the terminal is changed: no escape sequence is needed, and none left behind by a
 * program that is killed. */
class BarView : public RecoveryView {
public:
    int show(std::optional<Recovery> const& recovery) override
    {
        bool const blocks = localeIsUtf8();
        size_t const columns = usableColumns();
        std::string const line = recovery
            ? recoveryBar(*recovery, columns, std::time(nullptr), blocks)
            : std::string(WAITING).substr(0, columns);
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
        return writeWhole(STDOUT_FILENO, recoveryOutcome(*recovery, now) + "\n");
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
