#pragma once

#include "app/model/Machine.h"
#include "app/read/TimedChild.h"

#include <chrono>
#include <optional>
#include <string>

namespace app {

/** @return the memory devices of the output of `dmidecode -t 17`, dmidecode(8). */
std::vector<MemoryModule> parseModules(std::string const& text);

/** Reads the memory modules through dmidecode, in a child process. */
class ModuleQuery {
public:
    explicit ModuleQuery(std::chrono::steady_clock::duration limit);

    /** Waits for the tool and fills the modules in. Why there are none is a fact that is
     * unavailable, as the tool needs root and firmware that lists them. */
    void finish(Machine& machine);

private:
    std::chrono::steady_clock::time_point const m_deadline;
    std::optional<TimedChild> m_child; // None where the tool would be refused.
};

}
