#pragma once

#include "common/basic/noncopyable.h"
#include "common/basic/processstream/src/UnixCommand.h"

#include <istream>
#include <string>
#include <sys/types.h>
#include <vector>

/** Functions of the tests on a child that runs. */
namespace child {

/** @return all data up to its end; with a remark if that takes longer than ten seconds. */
std::string readAll(Pipe& pipe);

/** @return the rest of the stream. */
std::string readAll(std::istream& stream);

/** @return the data up to the first newline, without it. */
std::string readLine(Pipe& pipe);

/** @return the number that the child prints in its next line. */
pid_t readPid(dovrel::UnixCommand& command);

/** @return the exit status; waits for it for up to ten seconds. @throws ProcessException */
int exitStatusOf(Command& command);

/** @return the standard output of a child that runs @p command. */
std::string outputOf(std::string const& command);

/** Waits until the child has ended, and leaves it unreaped. */
void waitUntilEnded(pid_t pid);

/** Kills a process, and waits for it if it is a child. */
void killAndReap(pid_t pid);

/** Renames a file of the machine while it lives. */
class MissingFile : dovrel::noncopyable_::noncopyable {
public:
    explicit MissingFile(std::string path);
    ~MissingFile();

private:
    std::string m_path;
};

/** @return the descriptors that are open now and not in @p earlier. */
std::vector<int> openedSince(std::vector<int> const& earlier);

}
