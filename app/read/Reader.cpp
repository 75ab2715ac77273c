#include "app/read/Reader.h"

#include <cerrno>
#include <cstring>

namespace app {

void addProblem(
    Machine& machine, Subject subject, std::string const& fact, std::string const& source)
{
    machine.problems.push_back({subject, fact, std::strerror(errno), source});
}

std::string leftOut(size_t entries)
{
    return entries == 1 ? "1 entry was left out"
                        : std::to_string(entries) + " entries were left out";
}

}
