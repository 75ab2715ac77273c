#pragma once

#include "common/basic/processstream/src/UnixCommand.h"

#include <string>
#include <sys/types.h>
#include <vector>

/** What the tests ask of a living child. */
namespace child {

/** @return all data up to its end; a text that says so where that takes more than ten seconds. */
std::string everythingFrom(Pipe& pipe);

/** @return the data up to the first newline, without it. */
std::string lineFrom(Pipe& pipe);

/** @return the exit status, waited for up to ten seconds. @throws ProcessException */
int statusOf(Command& command);

/** Kills a process, and waits for it where it is a child. */
void end(pid_t pid);

/** Moves a file of the machine away while it lives. */
class MissingFile {
public:
    explicit MissingFile(std::string path);
    MissingFile(MissingFile const&) = delete;
    MissingFile& operator=(MissingFile const&) = delete;
    ~MissingFile();

private:
    std::string m_path;
};

/** The descriptors of @p later that are not in @p earlier; both are sorted. */
std::vector<int> addedTo(std::vector<int> const& earlier, std::vector<int> const& later);

}
