#pragma once

#include "tests/app/Program.h"

#include <string>
#include <vector>

namespace app_test {

/** A machine with nothing of its own in /etc and /tmp but the files of a recovery engine, which
 * does what the test says. Its time zone is UTC. */
class RecoveryMachine {
public:
    RecoveryMachine();

    /** Writes status.ini as the engine does: aside first, then in the place of the one before. */
    void status(std::string const& text) const;

    /** Makes what the engine writes of a restore.
     * @param times further lines of the section "main", each with its newline. */
    static std::string restore(std::string const& operation, std::string const& times,
        unsigned filesDone, unsigned megabytesDone);

    void removeStatus() const;

    /** Lets nobody open status.ini any more. */
    void hideStatus() const;

    /** Writes DRAnswer.ini. */
    void answers(std::string const& text) const;

    /** Writes /tmp/percent. */
    void percent(std::string const& text) const;

    /** @return a run of the program on this machine. */
    Program program(std::vector<std::string> arguments) const;

private:
    Folder m_folder;
};

/** The engine's way to write a moment: "24-03-2026 14:05:09", in UTC. */
std::string engineTime(long long secondsFromNow);

}
