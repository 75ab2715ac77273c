#include "tests/machines/RunningMachine.h"

#include "tests/machines/build_entry.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemFailure.h"
#include "tests/support/capabilities.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace machines {

RealRoot::RealRoot()
{
    testkit::machine.leave();
}

RealRoot::~RealRoot()
{
    testkit::machine.enter();
    testkit::obeyFilePermissions(true);
}

RunningMachine::RunningMachine()
{
    if (mkfifo(RUNNING_FIFO, 0644) != 0)
        testkit::fail("mkfifo", RUNNING_FIFO);
    // Linux opens a FIFO in both directions without waiting for the other end, fifo(7).
    m_writer = open(RUNNING_FIFO, O_RDWR | O_CLOEXEC);
    if (m_writer < 0)
        testkit::fail("open", RUNNING_FIFO);
}

RunningMachine::~RunningMachine()
{
    close(m_writer);
}

}
