#include "app/read/Reader.h"

#include <cerrno>

namespace app {

void addProblem(
    Machine& machine, Subject subject, std::string const& fact, std::string const& source)
{
    machine.problems.push_back({subject, fact, errorText(errno), source});
}

void addUnreadable(
    Machine& machine, Subject subject, std::string const& fact, UnreadableFiles const& unreadable)
{
    if (unreadable.files.empty())
        return;
    auto const& [path, error] = unreadable.files.front();
    size_t const others = unreadable.files.size() - 1;
    std::string source = path;
    if (others > 0)
        source += " and " + std::to_string(others) + (others == 1 ? " other file" : " other files");
    machine.problems.push_back({subject, fact, errorText(error), source});
}

void addUnknown(Machine& machine, Subject subject, std::string const& fact,
    UnreadableFiles const& unreadable, std::string const& reason, std::string const& source)
{
    if (unreadable.files.empty())
        machine.unavailable.push_back({subject, fact, reason, source});
    else
        addUnreadable(machine, subject, fact, unreadable);
}

std::string absenceIn(std::string const& file)
{
    return exists(file) ? file + " does not have it" : "there is no " + file;
}

std::string leftOut(size_t entries)
{
    return entries == 1 ? "1 entry was left out"
                        : std::to_string(entries) + " entries were left out";
}

}
